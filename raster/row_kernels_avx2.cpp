#include <immintrin.h>

#include "raster/row_kernels.h"

namespace talv {
namespace {
__m128i Load128(const uint8_t* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__m256i Load256(const uint8_t* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

/// Two runs of 16 bytes, `distance` apart, one in each half: a byte shuffle works within the halves only.
__m256i LoadHalves(const uint8_t* bytes, size_t distance)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(bytes)), Load128(bytes + distance), 1);
}

void Store128(uint8_t* bytes, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

void Store256(uint8_t* bytes, __m256i value)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

void Widen12(const uint8_t* source, uint8_t* words, size_t pairs)
{
    // Every word first gets the two bytes that its sample lies in: b0 b1 for the even ones, b1 b2 for the odd
    // ones.
    const __m256i spread =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11));
    const __m256i low12 = _mm256_set1_epi16(0x0FFF);
    size_t i = 0;
    for (; i + 10 <= pairs; i += 8)  // 8 pairs are 24 bytes, of which the second half loads 4 bytes too many
    {
        const __m256i bytes = _mm256_shuffle_epi8(LoadHalves(source + 3 * i, 12), spread);
        const __m256i even = _mm256_and_si256(bytes, low12);
        const __m256i odd = _mm256_srli_epi16(bytes, 4);
        Store256(words + 4 * i, _mm256_blend_epi16(even, odd, 0xAA));
    }
    kPlainRowKernels.widen12(source + 3 * i, words + 4 * i, pairs - i);
}

void Grey8To24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    const __m128i first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const __m128i third = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i levels = Load128(source + i);
        Store128(target + 3 * i, _mm_shuffle_epi8(levels, first));
        Store128(target + 3 * i + 16, _mm_shuffle_epi8(levels, second));
        Store128(target + 3 * i + 32, _mm_shuffle_epi8(levels, third));
    }
    kPlainRowKernels.grey8To24(source + i, target + 3 * i, pixels - i);
}

void Color24To32(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth)
{
    const __m256i spread =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
    const __m256i fourths = _mm256_set1_epi32(static_cast<int32_t>(uint32_t{fourth} << 24));
    size_t i = 0;
    for (; i + 10 <= pixels; i += 8) {
        const __m256i colors = _mm256_shuffle_epi8(LoadHalves(source + 3 * i, 12), spread);
        Store256(target + 4 * i, _mm256_or_si256(colors, fourths));
    }
    kPlainRowKernels.color24To32(source + 3 * i, target + 4 * i, pixels - i, fourth);
}

void Color32To24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    const __m256i gather =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    size_t i = 0;
    for (; i + 10 <= pixels;
         i += 8)  // each store is 4 bytes longer than its pixels; the next ones overwrite them
    {
        const __m256i colors = _mm256_shuffle_epi8(Load256(source + 4 * i), gather);
        Store128(target + 3 * i, _mm256_castsi256_si128(colors));
        Store128(target + 3 * i + 12, _mm256_extracti128_si256(colors, 1));
    }
    kPlainRowKernels.color32To24(source + 4 * i, target + 3 * i, pixels - i);
}

void SwapColor24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    const __m128i swap = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, -1);
    size_t i = 0;
    for (; i + 6 <= pixels; i += 5)  // 15 of the 16 bytes count
        Store128(target + 3 * i, _mm_shuffle_epi8(Load128(source + 3 * i), swap));
    kPlainRowKernels.swapColor24(source + 3 * i, target + 3 * i, pixels - i);
}

void Narrow16(const uint8_t* words, uint8_t* target, size_t pixels, int32_t shift)
{
    const __m128i count = _mm_cvtsi32_si128(shift);
    const __m256i lowByte = _mm256_set1_epi16(255);
    size_t i = 0;
    for (; i + 32 <= pixels; i += 32) {
        const __m256i first = _mm256_and_si256(_mm256_srl_epi16(Load256(words + 2 * i), count), lowByte);
        const __m256i second =
            _mm256_and_si256(_mm256_srl_epi16(Load256(words + 2 * i + 32), count), lowByte);
        const __m256i mixed = _mm256_packus_epi16(first, second);  // quarters in the order 0 2 1 3
        Store256(target + i, _mm256_permute4x64_epi64(mixed, 0xD8));
    }
    kPlainRowKernels.narrow16(words + 2 * i, target + i, pixels - i, shift);
}

void SwapBytes16(const uint8_t* words, uint8_t* target, size_t count)
{
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i value = Load256(words + 2 * i);
        Store256(target + 2 * i, _mm256_or_si256(_mm256_slli_epi16(value, 8), _mm256_srli_epi16(value, 8)));
    }
    kPlainRowKernels.swapBytes16(words + 2 * i, target + 2 * i, count - i);
}

void Range16(const uint8_t* words, size_t count, int32_t shift, uint16_t mask, uint16_t* smallest,
             uint16_t* largest)
{
    const __m256i bits = _mm256_set1_epi16(static_cast<int16_t>(mask));
    const __m128i shiftCount = _mm_cvtsi32_si128(shift);
    __m256i low = _mm256_set1_epi16(static_cast<int16_t>(*smallest));
    __m256i high = _mm256_set1_epi16(static_cast<int16_t>(*largest));
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i value = _mm256_and_si256(_mm256_srl_epi16(Load256(words + 2 * i), shiftCount), bits);
        low = _mm256_min_epu16(low, value);
        high = _mm256_max_epu16(high, value);
    }
    const __m128i low8 = _mm_min_epu16(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
    const __m128i high8 = _mm_max_epu16(_mm256_castsi256_si128(high), _mm256_extracti128_si256(high, 1));
    *smallest = static_cast<uint16_t>(_mm_cvtsi128_si32(_mm_minpos_epu16(low8)));
    // The largest is the complement of the smallest complement.
    const __m128i complement = _mm_xor_si128(high8, _mm_set1_epi16(-1));
    *largest = static_cast<uint16_t>(~_mm_cvtsi128_si32(_mm_minpos_epu16(complement)));
    kPlainRowKernels.range16(words + 2 * i, count - i, shift, mask, smallest, largest);
}
}  // namespace

void SelectAvx2RowKernels(RowKernels* kernels)
{
    kernels->widen12 = Widen12;
    kernels->grey8To24 = Grey8To24;
    kernels->color24To32 = Color24To32;
    kernels->color32To24 = Color32To24;
    kernels->swapColor24 = SwapColor24;
    kernels->narrow16 = Narrow16;
    kernels->swapBytes16 = SwapBytes16;
    kernels->range16 = Range16;
}
}  // namespace talv
