// Row operations of the output as plain loops; each level compiles its own copy.

#include "codecs/j2k/j2k_output.h"

namespace talv {
namespace {
// T.800 G.2.2; sums wrap, so that damaged streams stay defined.
void InverseRct(int32_t* __restrict first, int32_t* __restrict second, int32_t* __restrict third,
                size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const auto y = static_cast<uint32_t>(first[i]);
        const auto u = static_cast<uint32_t>(second[i]), v = static_cast<uint32_t>(third[i]);
        const uint32_t green = y - static_cast<uint32_t>(static_cast<int32_t>(u + v) >> 2);
        first[i] = static_cast<int32_t>(v + green);
        second[i] = static_cast<int32_t>(green);
        third[i] = static_cast<int32_t>(u + green);
    }
}

// T.800 G.3.2.
void InverseIct(float* __restrict first, float* __restrict second, float* __restrict third, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const float y = first[i], cb = second[i], cr = third[i];
        first[i] = y + 1.402f * cr;
        second[i] = y - 0.344136f * cb - 0.714136f * cr;
        third[i] = y + 1.772f * cb;
    }
}

inline int32_t Limit(int32_t value, const J2kSampleRange& range)
{
    value = value < range.low ? range.low : value;
    return value > range.high ? range.high : value;
}

void Convert(const int32_t* __restrict from, int32_t* __restrict to, size_t count,
             const J2kSampleRange& range)
{
    const J2kSampleRange r = range;
    // Samples beyond 28 bits come from damaged streams; limited first, nothing below can overflow.
    const int32_t bound = r.leftShift > 0 ? 1 << 20 : 0x3FFFFFFF;  // above 31 bits there is no component
    const int32_t half = r.rightShift > 0 ? 1 << (r.rightShift - 1) : 0;
    for (size_t i = 0; i < count; ++i) {
        int32_t value = from[i] > bound ? bound : from[i];
        value = value < ~bound ? ~bound : value;
        value = (value + half) >> r.rightShift << r.leftShift;
        to[i] = Limit(value + r.offset, r);
    }
}

void ConvertReal(const float* __restrict from, int32_t* __restrict to, size_t count,
                 const J2kSampleRange& range)
{
    const J2kSampleRange r = range;
    const float bound = r.leftShift > 0 ? 1048576.0f : 1073741824.0f;
    for (size_t i = 0; i < count; ++i) {
        // Rounding down of value + 1/2 is what taking the fraction bits off a fixed-point sample does.
        float value = from[i] * r.scale + 0.5f;
        value = value > -bound ? value : -bound;  // not a number becomes the lower bound
        value = value < bound ? value : bound;
        auto whole = static_cast<int32_t>(value);
        whole -= static_cast<float>(whole) > value ? 1 : 0;
        // The offset is added in wrapping arithmetic: a bound plus 2^30 may just pass the top.
        const auto shifted = static_cast<uint32_t>(whole) << r.leftShift;
        to[i] = Limit(static_cast<int32_t>(shifted + static_cast<uint32_t>(r.offset)), r);
    }
}

void Pack8(const int32_t* __restrict from, uint8_t* __restrict to, size_t count)
{
    for (size_t i = 0; i < count; ++i) to[i] = static_cast<uint8_t>(from[i]);
}

void Pack16(const int32_t* __restrict from, uint8_t* __restrict to, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        to[2 * i] = static_cast<uint8_t>(from[i]);
        to[2 * i + 1] = static_cast<uint8_t>(from[i] >> 8);
    }
}

void Pack24(const int32_t* const* planes, uint8_t* __restrict to, size_t count)
{
    const int32_t* __restrict first = planes[0];
    const int32_t* __restrict second = planes[1];
    const int32_t* __restrict third = planes[2];
    for (size_t i = 0; i < count; ++i) {
        to[3 * i] = static_cast<uint8_t>(first[i]);
        to[3 * i + 1] = static_cast<uint8_t>(second[i]);
        to[3 * i + 2] = static_cast<uint8_t>(third[i]);
    }
}

constexpr J2kOutputKernels kOutputKernels = {InverseRct, InverseIct, Convert, ConvertReal,
                                             Pack8,      Pack16,     Pack24};
}  // namespace
}  // namespace talv
