#include "raster/row_kernels.h"

#include <algorithm>
#include <cstring>

namespace talv {
namespace {
uint16_t WordAt(const uint8_t* words, size_t index)
{
    return static_cast<uint16_t>(words[2 * index] | words[2 * index + 1] << 8);
}

void Widen12(const uint8_t* source, uint8_t* words, size_t pairs)
{
    for (size_t i = 0; i < pairs; ++i, source += 3, words += 4) {
        words[0] = source[0];
        words[1] = source[1] & 15;
        words[2] = static_cast<uint8_t>(source[1] >> 4 | source[2] << 4);
        words[3] = source[2] >> 4;
    }
}

void Grey8To24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i, target += 3) target[0] = target[1] = target[2] = source[i];
}

void Grey8To32(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth)
{
    for (size_t i = 0; i < pixels; ++i, target += 4) {
        target[0] = target[1] = target[2] = source[i];
        target[3] = fourth;
    }
}

void Color24To32(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth)
{
    for (size_t i = 0; i < pixels; ++i, source += 3, target += 4) {
        target[0] = source[0];
        target[1] = source[1];
        target[2] = source[2];
        target[3] = fourth;
    }
}

void Color32To24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i, source += 4, target += 3) {
        target[0] = source[0];
        target[1] = source[1];
        target[2] = source[2];
    }
}

void LookUp24(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i) std::memcpy(target + 3 * i, entries[indices[i]], 3);
}

void LookUp32(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i) std::memcpy(target + 4 * i, entries[indices[i]], 4);
}

void Luma24(const uint8_t* source, uint8_t* levels, size_t pixels, bool redFirst)
{
    const size_t red = redFirst ? 0 : 2, blue = 2 - red;
    for (size_t i = 0; i < pixels; ++i, source += 3)
        levels[i] = static_cast<uint8_t>(Luma(source[red], source[1], source[blue]));
}

void SwapColor24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < pixels; ++i, source += 3, target += 3) {
        const uint8_t first = source[0];
        target[0] = source[2];
        target[1] = source[1];
        target[2] = first;
    }
}

void Narrow16(const uint8_t* words, uint8_t* target, size_t pixels, int32_t shift)
{
    for (size_t i = 0; i < pixels; ++i) target[i] = static_cast<uint8_t>(WordAt(words, i) >> shift);
}

void SwapBytes16(const uint8_t* words, uint8_t* target, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        target[2 * i] = words[2 * i + 1];
        target[2 * i + 1] = words[2 * i];
    }
}

void Range16(const uint8_t* words, size_t count, int32_t shift, uint16_t mask, uint16_t* smallest,
             uint16_t* largest)
{
    for (size_t i = 0; i < count; ++i) {
        const auto value = static_cast<uint16_t>(WordAt(words, i) >> shift & mask);
        *smallest = std::min(*smallest, value);
        *largest = std::max(*largest, value);
    }
}
}  // namespace

const RowKernels kPlainRowKernels = {Widen12,  Grey8To24, Grey8To32,   Color24To32, Color32To24, LookUp24,
                                     LookUp32, Luma24,    SwapColor24, Narrow16,    SwapBytes16, Range16};

RowKernels SelectRowKernels(SimdLevel level)
{
    RowKernels kernels = kPlainRowKernels;
    if (level >= SimdLevel::sse2) SelectSse2RowKernels(&kernels);
    if (level >= SimdLevel::avx2) SelectAvx2RowKernels(&kernels);
    if (level >= SimdLevel::avx512) SelectAvx512RowKernels(&kernels);
    return kernels;
}

const RowKernels& BestRowKernels()
{
    static const RowKernels kernels = SelectRowKernels(DetectedSimdLevel());
    return kernels;
}
}  // namespace talv
