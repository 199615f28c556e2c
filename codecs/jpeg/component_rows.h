#pragma once

#include <algorithm>
#include <cstdint>

#include "codecs/jpeg/jpeg_kernels.h"

// Row operations as they are defined, for samples of 8 and of 16 bits.
namespace talv::jpeg {
/// T.81 table H.1: `a` is the sample on the left, `b` the one above, `c` the one above left.
inline int32_t PredictSample(int predictor, int32_t a, int32_t b, int32_t c)
{
    switch (predictor) {
        case 1:
            return a;
        case 2:
            return b;
        case 3:
            return c;
        case 4:
            return a + b - c;
        case 5:
            return a + ((b - c) >> 1);
        case 6:
            return b + ((a - c) >> 1);
        default:
            return (a + b) >> 1;
    }
}

/// A run of a lossless row; see `JpegKernels::predict`.
template <int kPredictor>
void PredictRow(const uint16_t* differences, uint16_t* row, const uint16_t* above, int count)
{
    int32_t left = row[-1];
    int32_t corner = kPredictor == 1 ? 0 : above[-1];
    for (int x = 0; x < count; ++x) {
        const int32_t up = kPredictor == 1 ? 0 : above[x];
        left = (PredictSample(kPredictor, left, up, corner) + differences[x]) & 0xFFFF;
        row[x] = static_cast<uint16_t>(left);
        corner = up;
    }
}

/// Words that three components take in turns to a row of each.
inline void SplitThree(const uint16_t* in, uint16_t* first, uint16_t* second, uint16_t* third, int count)
{
    for (int x = 0; x < count; ++x) {
        first[x] = in[3 * x];
        second[x] = in[3 * x + 1];
        third[x] = in[3 * x + 2];
    }
}

/// Two samples for one: 3/4 of the nearer and 1/4 of the next one, rounded up and down in turn so that flat
/// noise keeps its mean; the outermost samples stand alone.
template <typename Sample>
void WidenRow(const Sample* in, Sample* out, int width)
{
    for (int x = 0; x < width; ++x) {
        const int left = in[x > 0 ? x - 1 : 0];
        const int right = in[x < width - 1 ? x + 1 : x];
        out[2 * x] = static_cast<Sample>((3 * in[x] + left + 1) >> 2);
        out[2 * x + 1] = static_cast<Sample>((3 * in[x] + right + 2) >> 2);
    }
}

/// The same in both directions: weights 9, 3, 3, 1 of 16.
template <typename Sample>
void WidenRowBetween(const Sample* near, const Sample* far, Sample* out, int width)
{
    const auto column = [near, far](int x) { return 3 * near[x] + far[x]; };
    for (int x = 0; x < width; ++x) {
        const int left = column(x > 0 ? x - 1 : 0);
        const int right = column(x < width - 1 ? x + 1 : x);
        out[2 * x] = static_cast<Sample>((3 * column(x) + left + 8) >> 4);
        out[2 * x + 1] = static_cast<Sample>((3 * column(x) + right + 7) >> 4);
    }
}

/// A row between two, as wide as they are: 3/4 of `near` and 1/4 of `far`, rounded up in every second row.
template <typename Sample>
void MixRows(const Sample* near, const Sample* far, Sample* out, int width, int odd)
{
    for (int x = 0; x < width; ++x) out[x] = static_cast<Sample>((3 * near[x] + far[x] + 1 + odd) >> 2);
}

/// Samples of `kBits` to 8-bit blue, green, red.
template <int kBits, typename Sample>
void YccRowToBgr(const Sample* y, const Sample* cb, const Sample* cr, uint8_t* out, int width)
{
    constexpr int kHalf = 1 << (kBits - 1);
    constexpr int kRound = 1 << 13;
    const auto store = [](int value) {
        return static_cast<uint8_t>(std::clamp(value, 0, (1 << kBits) - 1) >> (kBits - 8));
    };
    for (int x = 0; x < width; ++x, out += 3) {
        const int blue = cb[x] - kHalf;
        const int red = cr[x] - kHalf;
        out[0] = store(y[x] + ((blue * kCbToBlue + kRound) >> 14));
        out[1] = store(y[x] + ((kRound - blue * kCbToGreen - red * kCrToGreen) >> 14));
        out[2] = store(y[x] + ((red * kCrToRed + kRound) >> 14));
    }
}

/// Three planes to 8-bit pixels, the first plane in the third byte; samples lose `kShift` low bits.
template <int kShift, typename Sample>
void PlanesToBgr(const Sample* first, const Sample* second, const Sample* third, uint8_t* out, int width)
{
    for (int x = 0; x < width; ++x, out += 3) {
        out[0] = static_cast<uint8_t>(third[x] >> kShift);
        out[1] = static_cast<uint8_t>(second[x] >> kShift);
        out[2] = static_cast<uint8_t>(first[x] >> kShift);
    }
}
}  // namespace talv::jpeg
