// Generated frames of the kinds that are stored as JPEG 2000, with the entropy of clinical ones, and their
// streams.

#pragma once

#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace talv::j2k_bench {
struct Frame
{
    int width, height, components, bits;
    bool isSigned;
    std::vector<int32_t> samples;  ///< plane after plane
};

/// Noise of mean 0 that is smooth over a few samples: speckle of `deviation` and `smoothness` 0 to 1.
class Speckle
{
  public:
    Speckle(int width, double deviation, double smoothness)
        : above_(static_cast<size_t>(width)), normal_(0, deviation), smoothness_(smoothness)
    {}
    double Next(int x)
    {
        double& above = above_[static_cast<size_t>(x)];
        left_ = smoothness_ * 0.5 * (left_ + above) + (1 - smoothness_) * normal_(random_);
        above = left_;
        return left_;
    }

  private:
    std::mt19937 random_{7};
    std::vector<double> above_;
    std::normal_distribution<double> normal_;
    double smoothness_, left_ = 0;
};

/// Ultrasound, 640x480: a speckled sector on black with a line of text, in colour with a flow box in it.
inline Frame Ultrasound(bool colour)
{
    Frame frame{640, 480, colour ? 3 : 1, 8, false, {}};
    const size_t plane = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
    frame.samples.resize(plane * static_cast<size_t>(frame.components));
    Speckle speckle(frame.width, 62, 0.62);
    std::mt19937 random(3);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const double dx = x - 320.0, radius = std::hypot(dx, y), noise = speckle.Next(x);
            const bool inside = std::abs(dx) < y * 0.75 && radius < 460 && radius > 40;
            const bool text = y >= 6 && y < 22 && x % 12 < 9 && (x / 3 + y / 3 * 5) % 3 == 0 && x < 400;
            const double grey = text     ? 230
                                : inside ? (64 + 40 * std::sin(radius * 0.04)) * (1 + noise * 0.012) + noise
                                         : 0;
            const bool flow = inside && std::abs(dx) < 45 && y > 210 && y < 300 && noise > -9;
            const size_t i = static_cast<size_t>(y * frame.width + x);
            for (int c = 0; c < frame.components; ++c) {
                const double tint = flow && c == 0 ? 70 : flow && c == 2 ? -30 : 0;
                frame.samples[i + static_cast<size_t>(c) * plane] =
                    static_cast<int32_t>(std::clamp(grey + tint, 0.0, 255.0));
            }
        }
    }
    return frame;
}

/// Angiography or a radiograph: vessels on a soft background with grain.
inline Frame Vessels(int size, int bits, double grain)
{
    Frame frame{size, size, 1, bits, false, {}};
    std::mt19937 random(11);
    std::normal_distribution<double> normal(0, grain);
    const double top = (1 << bits) - 1, scale = 1024.0 / size;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double u = x * scale, v = y * scale;
            const double soft = 0.55 + 0.2 * std::sin(u * 0.004) * std::cos(v * 0.005);
            const double vessel =
                std::exp(-std::pow(std::sin(u * 0.012 + 2 * std::sin(v * 0.006)) * 9, 2)) * 0.25;
            frame.samples.push_back(
                static_cast<int32_t>(std::clamp((soft - vessel) * top + normal(random), 0.0, top)));
        }
    }
    return frame;
}

/// A tomographic slice of signed 16 bits: an elliptic body with organs and noise, constant padding outside.
inline Frame Slice()
{
    Frame frame{512, 512, 1, 16, true, {}};
    Speckle noise(frame.width, 52, 0.35);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const double dx = (x - 256) / 215.0, dy = (y - 256) / 170.0, n = noise.Next(x);
            const double body = dx * dx + dy * dy;
            const double organ = 60 * std::sin(x * 0.05) * std::sin(y * 0.04) + (body > 0.85 ? 180 : 40);
            const bool scanned = std::hypot(x - 256, y - 256) < 256;
            frame.samples.push_back(!scanned   ? -2000
                                    : body < 1 ? static_cast<int32_t>(organ + n)
                                               : static_cast<int32_t>(-1000 + n * 0.4));
        }
    }
    return frame;
}

struct Encoding
{
    bool lossy = false;
    float ratio = 0;  ///< compressed to one part of the frame's bits
    int tile = 0;     ///< width and height of the tiles, 0 for one tile
};

inline opj_image_t* PeerImage(const Frame& frame)
{
    opj_image_cmptparm_t parameters[3] = {};
    for (int c = 0; c < frame.components; ++c) {
        parameters[c].dx = parameters[c].dy = 1;
        parameters[c].w = static_cast<OPJ_UINT32>(frame.width);
        parameters[c].h = static_cast<OPJ_UINT32>(frame.height);
        parameters[c].prec = static_cast<OPJ_UINT32>(frame.bits);
        parameters[c].sgnd = frame.isSigned;
    }
    opj_image_t* image = opj_image_create(static_cast<OPJ_UINT32>(frame.components), parameters,
                                          frame.components == 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY);
    image->x1 = static_cast<OPJ_UINT32>(frame.width);
    image->y1 = static_cast<OPJ_UINT32>(frame.height);
    const size_t plane = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
    for (int c = 0; c < frame.components; ++c)
        std::memcpy(image->comps[c].data, frame.samples.data() + static_cast<size_t>(c) * plane, plane * 4);
    return image;
}

/// The bytes a peer's stream reads or has written.
struct Memory
{
    std::vector<uint8_t>* bytes;
    size_t position;
};

inline opj_stream_t* OpenMemory(Memory* memory, bool forReading)
{
    opj_stream_t* stream = opj_stream_create(1 << 20, forReading);
    opj_stream_set_user_data(stream, memory, nullptr);
    opj_stream_set_user_data_length(stream, memory->bytes->size());
    opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
        auto* m = static_cast<Memory*>(user);
        const size_t left = m->bytes->size() - m->position;
        if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
        count = std::min<OPJ_SIZE_T>(count, left);
        std::memcpy(to, m->bytes->data() + m->position, count);
        m->position += count;
        return count;
    });
    opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
        auto* m = static_cast<Memory*>(user);
        if (m->bytes->size() < m->position + count) m->bytes->resize(m->position + count);
        std::memcpy(m->bytes->data() + m->position, from, count);
        m->position += count;
        return count;
    });
    opj_stream_set_skip_function(stream, [](OPJ_OFF_T count, void* user) -> OPJ_OFF_T {
        static_cast<Memory*>(user)->position += static_cast<size_t>(count);
        return count;
    });
    opj_stream_set_seek_function(stream, [](OPJ_OFF_T position, void* user) -> OPJ_BOOL {
        static_cast<Memory*>(user)->position = static_cast<size_t>(position);
        return OPJ_TRUE;
    });
    return stream;
}

/// The frame as a codestream with the encoder's usual settings; empty when it fails.
inline std::vector<uint8_t> Encode(const Frame& frame, const Encoding& encoding)
{
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.irreversible = encoding.lossy;
    parameters.tcp_mct = frame.components == 3;
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_rates[0] = encoding.ratio;
    if (encoding.tile != 0) {
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = parameters.cp_tdy = encoding.tile;
    }
    std::vector<uint8_t> bytes;
    Memory memory{&bytes, 0};
    opj_image_t* image = PeerImage(frame);
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_stream_t* stream = OpenMemory(&memory, false);
    if (!opj_setup_encoder(codec, &parameters, image) || !opj_start_compress(codec, image, stream) ||
        !opj_encode(codec, stream) || !opj_end_compress(codec, stream))
        bytes.clear();
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return bytes;
}

/// Decodes with the peer; null when it refuses the stream.
inline opj_image_t* DecodeWithPeer(std::vector<uint8_t>& bytes, int threads)
{
    Memory memory{&bytes, 0};
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_stream_t* stream = OpenMemory(&memory, true);
    opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
    opj_image_t* image = nullptr;
    const bool good = opj_setup_decoder(codec, &parameters) &&
                      (threads < 2 || opj_codec_set_threads(codec, threads)) &&
                      opj_read_header(stream, codec, &image) && opj_decode(codec, stream, image);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    if (good) return image;
    if (image != nullptr) opj_image_destroy(image);
    return nullptr;
}

struct Case
{
    const char* name;
    Frame (*frame)();
    Encoding encoding;
};

inline const std::vector<Case>& Cases()
{
    static const auto usRgb = [] { return Ultrasound(true); };
    static const auto usGrey = [] { return Ultrasound(false); };
    static const auto xa8 = [] { return Vessels(1024, 8, 1.65); };
    static const auto xa12 = [] { return Vessels(1024, 12, 20); };
    static const auto dx16 = [] { return Vessels(2048, 16, 17); };
    static const std::vector<Case> cases = {
        {"j2k53_us_rgb", usRgb, {}},
        {"j2k53_us_grey", usGrey, {}},
        {"j2k53_xa8", xa8, {}},
        {"j2k53_xa12", xa12, {}},
        {"j2k53_ct16", Slice, {}},
        {"j2k53_dx16", dx16, {}},
        {"j2k53_dx16_tiled", dx16, {false, 0, 512}},
        {"j2k97_us_rgb_r15", usRgb, {true, 15, 0}},
        {"j2k97_xa8_r10", xa8, {true, 10, 0}},
        {"j2k97_xa12_r10", xa12, {true, 10, 0}},
        {"j2k97_ct16_r8", Slice, {true, 8, 0}},
        {"j2k97_dx16_r20", dx16, {true, 20, 0}},
    };
    return cases;
}
}  // namespace talv::j2k_bench
