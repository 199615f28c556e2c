#include "image/image_kernels.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace talv {
namespace {
void SwapRgb(const uint8_t* source, uint8_t* target, size_t pixels)
{
    for (size_t i = 0; i < 3 * pixels; i += 3) {
        const uint8_t first = source[i], second = source[i + 1], third = source[i + 2];
        target[i] = third;
        target[i + 1] = second;
        target[i + 2] = first;
    }
}

void FlipWords(const uint8_t* source, uint8_t* target, size_t words, uint16_t flip)
{
    for (size_t i = 0; i < 2 * words; i += 2) {
        target[i] = static_cast<uint8_t>(source[i] ^ (flip & 0xFF));
        target[i + 1] = static_cast<uint8_t>(source[i + 1] ^ flip >> 8);
    }
}

void SwapWords(uint8_t* words, size_t count)
{
    for (size_t i = 0; i < 2 * count; i += 2) std::swap(words[i], words[i + 1]);
}

void ScaleBytes(const uint8_t* source, uint8_t* target, size_t count, uint8_t smallest, uint8_t largest)
{
    for (size_t i = 0; i < count; ++i) {
        const uint8_t byte = source[i];
        target[i] = static_cast<uint8_t>(byte <= smallest  ? 0
                                         : byte >= largest ? 255
                                                           : (byte - smallest) * 255 / (largest - smallest));
    }
}

void Extend(ValueRange* range, uint32_t value)
{
    range->smallest = std::min(range->smallest, value);
    range->largest = std::max(range->largest, value);
}

void RangeOfBytes(const uint8_t* bytes, size_t count, ValueRange* range)
{
    for (size_t i = 0; i < count; ++i) Extend(range, bytes[i]);
}

void RangeOfWords(const uint8_t* words, size_t count, WordValue value, ValueRange* range)
{
    for (size_t i = 0; i < 2 * count; i += 2) {
        const auto moved = static_cast<uint16_t>((words[i] | words[i + 1] << 8) + value.offset);
        Extend(range, uint32_t{moved} >> value.shift & value.mask);
    }
}

void Interleave2(const uint8_t* first, const uint8_t* second, uint8_t* target, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        target[2 * i] = first[i];
        target[2 * i + 1] = second[i];
    }
}

void Interleave3(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* target,
                 size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        target[3 * i] = first[i];
        target[3 * i + 1] = second[i];
        target[3 * i + 2] = third[i];
    }
}

uint8_t ThousandthsToByte(int32_t thousandths)
{
    return static_cast<uint8_t>(std::clamp(thousandths / 1000, 0, 255));
}

// Kept: full-range YBR data would be expected to go through the full-range matrix of PS3.3 C.7.6.3.1.2; the
// studio-range one of ITU-R BT.601 is used. Pinned by YbrToRgb.UsesTheStudioRangeMatrix.
void ConvertYbr(uint8_t* first, uint8_t* second, uint8_t* third)
{
    const int32_t luma = std::max(*first - 16, 0) * 1164;
    const int32_t blueness = *second - 128, redness = *third - 128;
    *first = ThousandthsToByte(luma + 1596 * redness);
    *second = ThousandthsToByte(luma - 391 * blueness - 813 * redness);
    *third = ThousandthsToByte(luma + 2018 * blueness);
}

void YbrToRgb(uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    for (size_t i = 0; i < count; ++i) ConvertYbr(first + i, second + i, third + i);
}

void YbrPixelsToBgr(uint8_t* samples, size_t pixels)
{
    for (size_t i = 0; i < 3 * pixels; i += 3) {
        ConvertYbr(samples + i, samples + i + 1, samples + i + 2);
        std::swap(samples[i], samples[i + 2]);
    }
}

void CopyPastCaches(const uint8_t* source, uint8_t* target, size_t count)
{
    std::memcpy(target, source, count);
}
}  // namespace

const ImageKernels kPlainImageKernels = {SwapRgb,      FlipWords,      SwapWords,     ScaleBytes,
                                         RangeOfBytes, RangeOfWords,   Interleave2,   Interleave3,
                                         YbrToRgb,     YbrPixelsToBgr, CopyPastCaches};

ImageKernels SelectImageKernels(SimdLevel level)
{
    ImageKernels kernels = kPlainImageKernels;
    if (level >= SimdLevel::sse2) SelectSse2ImageKernels(&kernels);
    if (level >= SimdLevel::avx2) SelectAvx2ImageKernels(&kernels);
    if (level >= SimdLevel::avx512) SelectAvx512ImageKernels(&kernels);
    return kernels;
}

const ImageKernels& BestImageKernels()
{
    static const ImageKernels kernels = SelectImageKernels(DetectedSimdLevel());
    return kernels;
}
}  // namespace talv
