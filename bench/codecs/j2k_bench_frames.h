// Generated frames of the kinds that are stored as JPEG 2000, with the entropy of clinical ones, and their
// streams.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/support/openjpeg_peer.h"

namespace talv::j2k_bench {
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

inline PeerFrame MakeFrame(int width, int height, int components, int bits, bool isSigned)
{
    PeerFrame frame{0, 0, width, height, bits, isSigned, {}};
    frame.components.resize(static_cast<size_t>(components), {1, 1, {}});
    return frame;
}

/// Ultrasound, 640x480: a speckled sector on black with a line of text, in colour with a flow box in it.
inline PeerFrame Ultrasound(bool colour)
{
    PeerFrame frame = MakeFrame(640, 480, colour ? 3 : 1, 8, false);
    Speckle speckle(frame.width, 29, 0.66);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const double dx = x - 320.0, radius = std::hypot(dx, y), noise = speckle.Next(x);
            const bool inside = std::abs(dx) < y * 0.75 && radius < 460 && radius > 40;
            const bool text = y >= 6 && y < 22 && x % 12 < 9 && (x / 3 + y / 3 * 5) % 3 == 0 && x < 400;
            const double grey = text     ? 230
                                : inside ? (64 + 40 * std::sin(radius * 0.04)) * (1 + noise * 0.012) + noise
                                         : 0;
            const bool flow = inside && std::abs(dx) < 45 && y > 210 && y < 300 && noise > -5;
            for (size_t c = 0; c < frame.components.size(); ++c) {
                const double tint = flow && c == 0 ? 70 : flow && c == 2 ? -30 : 0;
                frame.components[c].samples.push_back(
                    static_cast<int32_t>(std::clamp(grey + tint, 0.0, 255.0)));
            }
        }
    }
    return frame;
}

/// Angiography or a radiograph: vessels on a soft background with grain.
inline PeerFrame Vessels(int size, int bits, double grain)
{
    PeerFrame frame = MakeFrame(size, size, 1, bits, false);
    std::mt19937 random(11);
    std::normal_distribution<double> normal(0, grain);
    const double top = (1 << bits) - 1, scale = 1024.0 / size;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double u = x * scale, v = y * scale;
            const double soft = 0.55 + 0.2 * std::sin(u * 0.004) * std::cos(v * 0.005);
            const double vessel =
                std::exp(-std::pow(std::sin(u * 0.012 + 2 * std::sin(v * 0.006)) * 9, 2)) * 0.25;
            frame.components[0].samples.push_back(
                static_cast<int32_t>(std::clamp((soft - vessel) * top + normal(random), 0.0, top)));
        }
    }
    return frame;
}

/// A tomographic slice of signed 16 bits: an elliptic body with organs and noise, constant padding outside.
inline PeerFrame Slice()
{
    PeerFrame frame = MakeFrame(512, 512, 1, 16, true);
    Speckle noise(frame.width, 20, 0.4);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const double dx = (x - 256) / 215.0, dy = (y - 256) / 170.0, n = noise.Next(x);
            const double body = dx * dx + dy * dy;
            const double organ = 60 * std::sin(x * 0.05) * std::sin(y * 0.04) + (body > 0.85 ? 180 : 40);
            const bool scanned = std::hypot(x - 256, y - 256) < 256;
            frame.components[0].samples.push_back(!scanned   ? -2000
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

/// The frame as a codestream with the encoder's usual settings; empty when it fails.
inline std::vector<uint8_t> Encode(const PeerFrame& frame, const Encoding& encoding)
{
    opj_cparameters_t parameters = DefaultPeerParameters(frame);
    parameters.irreversible = encoding.lossy;
    parameters.tcp_rates[0] = encoding.ratio;
    if (encoding.tile != 0) {
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = parameters.cp_tdy = encoding.tile;
    }
    return EncodeWithPeer(frame, parameters);
}

struct Case
{
    const char* name;
    PeerFrame (*frame)();
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
