#include "filter/greydisplay/grey_kernels.h"

#include <algorithm>
#include <cstring>

#include "raster/row_kernels.h"

namespace talv {
namespace {
uint32_t Word(const uint8_t* bytes)
{
    return bytes[0] | uint32_t{bytes[1]} << 8;
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    for (size_t i = 0; i < count; ++i) {
        const uint32_t index = Word(words + 2 * i) >> ramp.shift & ramp.mask;
        const int32_t place = index > ramp.base ? static_cast<int32_t>(index - ramp.base) : 0;
        const auto level = static_cast<int32_t>(static_cast<float>(place) * ramp.scale + ramp.offset);
        const auto shown = static_cast<uint8_t>(std::clamp(level, 0, 255));
        const uint8_t pixel[4] = {shown, shown, shown, 0};
        std::memcpy(pixels + 4 * i, pixel, 4);
    }
}

// Two pixels go out with one store.
void LookUp(const uint8_t* words, uint8_t* pixels, size_t count, const uint32_t* entries)
{
    size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        uint32_t two;
        std::memcpy(&two, words + 2 * i, 4);
        const uint64_t shown = entries[two & 0xFFFF] | uint64_t{entries[two >> 16]} << 32;
        std::memcpy(pixels + 4 * i, &shown, 8);
    }
    if (i < count) std::memcpy(pixels + 4 * i, entries + Word(words + 2 * i), 4);
}

/// What `kernel` makes of packed samples once they are words.
template <auto kernel, class Look>
void Unpacked(const uint8_t* packed, uint8_t* pixels, size_t count, Look look)
{
    uint8_t words[2 * kUnpackedSamples];
    for (size_t i = 0; i < count; i += kUnpackedSamples) {
        const size_t taken = std::min(kUnpackedSamples, count - i);
        Unpack12(packed + i / 2 * 3, words, taken);
        kernel(words, pixels + 4 * i, taken, look);
    }
}
}  // namespace

const GreyKernels kPlainGreyKernels = {&Ramp, &Unpacked<&Ramp, const GreyRamp&>, &LookUp,
                                       &Unpacked<&LookUp, const uint32_t*>};

void Unpack12(const uint8_t* packed, uint8_t* words, size_t count)
{
    BestRowKernels().widen12(packed, words, count / 2);
    if (count % 2 == 0) return;
    // The last sample has no partner, and no third byte.
    words[2 * count - 2] = packed[count / 2 * 3];
    words[2 * count - 1] = packed[count / 2 * 3 + 1] & 15;
}

GreyKernels SelectGreyKernels(SimdLevel level)
{
    GreyKernels kernels = kPlainGreyKernels;
    if (level >= SimdLevel::sse2) SelectSse2GreyKernels(&kernels);
    if (level >= SimdLevel::avx2) SelectAvx2GreyKernels(&kernels);
    if (level >= SimdLevel::avx512) SelectAvx512GreyKernels(&kernels);
    return kernels;
}

const GreyKernels& BestGreyKernels()
{
    static const GreyKernels kernels = SelectGreyKernels(DetectedSimdLevel());
    return kernels;
}
}  // namespace talv
