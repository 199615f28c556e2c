#pragma once

// The packaged JPEG 2000 library behind three functions: streams in memory, for tests and benches.

#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace talv {
struct PeerComponent
{
    int stepX, stepY;  ///< image positions a sample stands for
    std::vector<int32_t> samples;
};

/// A picture before it is encoded, placed on the reference grid.
struct PeerFrame
{
    int offsetX, offsetY, width, height;
    int bits;
    bool isSigned;
    std::vector<PeerComponent> components;
};

/// Samples of a component that covers `length` positions from `offset` on.
inline int PeerSamples(int offset, int length, int step)
{
    return (offset + length + step - 1) / step - (offset + step - 1) / step;
}

inline opj_image_t* MakePeerImage(const PeerFrame& frame)
{
    std::vector<opj_image_cmptparm_t> parameters;
    for (const PeerComponent& component : frame.components) {
        opj_image_cmptparm_t p = {};
        p.dx = static_cast<OPJ_UINT32>(component.stepX);
        p.dy = static_cast<OPJ_UINT32>(component.stepY);
        p.x0 = static_cast<OPJ_UINT32>(frame.offsetX);
        p.y0 = static_cast<OPJ_UINT32>(frame.offsetY);
        p.w = static_cast<OPJ_UINT32>(PeerSamples(frame.offsetX, frame.width, component.stepX));
        p.h = static_cast<OPJ_UINT32>(PeerSamples(frame.offsetY, frame.height, component.stepY));
        p.prec = static_cast<OPJ_UINT32>(frame.bits);
        p.sgnd = frame.isSigned;
        parameters.push_back(p);
    }
    opj_image_t* image = opj_image_create(static_cast<OPJ_UINT32>(parameters.size()), parameters.data(),
                                          parameters.size() >= 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY);
    image->x0 = static_cast<OPJ_UINT32>(frame.offsetX);
    image->y0 = static_cast<OPJ_UINT32>(frame.offsetY);
    image->x1 = static_cast<OPJ_UINT32>(frame.offsetX + frame.width);
    image->y1 = static_cast<OPJ_UINT32>(frame.offsetY + frame.height);
    for (size_t c = 0; c < frame.components.size(); ++c)
        std::memcpy(image->comps[c].data, frame.components[c].samples.data(),
                    frame.components[c].samples.size() * 4);
    return image;
}

/// The bytes a peer's stream reads or has written.
struct PeerMemory
{
    std::vector<uint8_t>* bytes;
    size_t position;
};

inline opj_stream_t* OpenPeerMemory(PeerMemory* memory, bool forReading)
{
    opj_stream_t* stream = opj_stream_create(1 << 20, forReading);
    opj_stream_set_user_data(stream, memory, nullptr);
    opj_stream_set_user_data_length(stream, memory->bytes->size());
    opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
        auto* m = static_cast<PeerMemory*>(user);
        const size_t left = m->bytes->size() - m->position;
        if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
        count = std::min<OPJ_SIZE_T>(count, left);
        std::memcpy(to, m->bytes->data() + m->position, count);
        m->position += count;
        return count;
    });
    opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
        auto* m = static_cast<PeerMemory*>(user);
        if (m->bytes->size() < m->position + count) m->bytes->resize(m->position + count);
        std::memcpy(m->bytes->data() + m->position, from, count);
        m->position += count;
        return count;
    });
    opj_stream_set_skip_function(stream, [](OPJ_OFF_T count, void* user) -> OPJ_OFF_T {
        static_cast<PeerMemory*>(user)->position += static_cast<size_t>(count);
        return count;
    });
    opj_stream_set_seek_function(stream, [](OPJ_OFF_T position, void* user) -> OPJ_BOOL {
        static_cast<PeerMemory*>(user)->position = static_cast<size_t>(position);
        return OPJ_TRUE;
    });
    return stream;
}

/// The settings an encoder has unless told otherwise: one layer that holds everything.
inline opj_cparameters_t DefaultPeerParameters(const PeerFrame& frame)
{
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_mct = frame.components.size() == 3 && frame.components[1].stepX == 1;
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    return parameters;
}

/// The frame as a codestream; empty when the peer cannot. `extra` is a list of further options that ends with
/// null.
inline std::vector<uint8_t> EncodeWithPeer(const PeerFrame& frame, opj_cparameters_t parameters,
                                           const char* const* extra = nullptr)
{
    std::vector<uint8_t> bytes;
    PeerMemory memory{&bytes, 0};
    opj_image_t* image = MakePeerImage(frame);
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_stream_t* stream = OpenPeerMemory(&memory, false);
    if (!opj_setup_encoder(codec, &parameters, image) ||
        (extra != nullptr && !opj_encoder_set_extra_options(codec, extra)) ||
        !opj_start_compress(codec, image, stream) || !opj_encode(codec, stream) ||
        !opj_end_compress(codec, stream))
        bytes.clear();
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return bytes;
}

/// Decodes with the peer; null when it refuses the stream.
inline opj_image_t* DecodeWithPeer(std::vector<uint8_t>& bytes, int threads)
{
    PeerMemory memory{&bytes, 0};
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_stream_t* stream = OpenPeerMemory(&memory, true);
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
}  // namespace talv
