#include <emmintrin.h>

#include "raster/row_kernels.h"

namespace talv {
namespace {
__m128i Load(const uint8_t* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

void Store(uint8_t* bytes, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

/// Two runs of 8 bytes side by side.
__m128i LoadTwo(const uint8_t* first, const uint8_t* second)
{
    return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(first)),
                              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(second)));
}

void Widen12(const uint8_t* source, uint8_t* words, size_t pairs)
{
    // Sample k of the four in each half moves up by 4 k bits to the start of word k.
    const __m128i firsts = _mm_set1_epi64x(0x0FFF);
    size_t i = 0;
    for (; i + 5 <= pairs; i += 4)  // 4 pairs are 12 bytes, of which the second half loads 2 too many
    {
        const __m128i packed = LoadTwo(source + 3 * i, source + 3 * i + 6);
        const __m128i a = _mm_and_si128(packed, firsts);
        const __m128i b = _mm_and_si128(_mm_slli_epi64(packed, 4), _mm_slli_epi64(firsts, 16));
        const __m128i c = _mm_and_si128(_mm_slli_epi64(packed, 8), _mm_slli_epi64(firsts, 32));
        const __m128i d = _mm_and_si128(_mm_slli_epi64(packed, 12), _mm_slli_epi64(firsts, 48));
        Store(words + 4 * i, _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)));
    }
    kPlainRowKernels.widen12(source + 3 * i, words + 4 * i, pairs - i);
}

void Grey8To32(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth)
{
    const __m128i fourths = _mm_set1_epi8(static_cast<char>(fourth));
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i levels = Load(source + i);
        const __m128i lowTwice = _mm_unpacklo_epi8(levels, levels),
                      highTwice = _mm_unpackhi_epi8(levels, levels);
        const __m128i lowLast = _mm_unpacklo_epi8(levels, fourths),
                      highLast = _mm_unpackhi_epi8(levels, fourths);
        uint8_t* out = target + 4 * i;
        Store(out, _mm_unpacklo_epi16(lowTwice, lowLast));
        Store(out + 16, _mm_unpackhi_epi16(lowTwice, lowLast));
        Store(out + 32, _mm_unpacklo_epi16(highTwice, highLast));
        Store(out + 48, _mm_unpackhi_epi16(highTwice, highLast));
    }
    kPlainRowKernels.grey8To32(source + i, target + 4 * i, pixels - i, fourth);
}

void Narrow16(const uint8_t* words, uint8_t* target, size_t pixels, int32_t shift)
{
    const __m128i count = _mm_cvtsi32_si128(shift);
    const __m128i lowByte = _mm_set1_epi16(255);
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i first = _mm_and_si128(_mm_srl_epi16(Load(words + 2 * i), count), lowByte);
        const __m128i second = _mm_and_si128(_mm_srl_epi16(Load(words + 2 * i + 16), count), lowByte);
        Store(target + i, _mm_packus_epi16(first, second));
    }
    kPlainRowKernels.narrow16(words + 2 * i, target + i, pixels - i, shift);
}

void SwapBytes16(const uint8_t* words, uint8_t* target, size_t count)
{
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i value = Load(words + 2 * i);
        Store(target + 2 * i, _mm_or_si128(_mm_slli_epi16(value, 8), _mm_srli_epi16(value, 8)));
    }
    kPlainRowKernels.swapBytes16(words + 2 * i, target + 2 * i, count - i);
}

void Range16(const uint8_t* words, size_t count, int32_t shift, uint16_t mask, uint16_t* smallest,
             uint16_t* largest)
{
    // Only signed words can be compared: the sign bit is flipped on the way in and back on the way out.
    const __m128i flip = _mm_set1_epi16(INT16_MIN);
    const __m128i bits = _mm_set1_epi16(static_cast<int16_t>(mask));
    const __m128i shiftCount = _mm_cvtsi32_si128(shift);
    __m128i low = _mm_set1_epi16(static_cast<int16_t>(*smallest ^ 0x8000));
    __m128i high = _mm_set1_epi16(static_cast<int16_t>(*largest ^ 0x8000));
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i raw = _mm_and_si128(_mm_srl_epi16(Load(words + 2 * i), shiftCount), bits);
        const __m128i value = _mm_xor_si128(raw, flip);
        low = _mm_min_epi16(low, value);
        high = _mm_max_epi16(high, value);
    }
    alignas(16) uint16_t lows[8], highs[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(lows), _mm_xor_si128(low, flip));
    _mm_store_si128(reinterpret_cast<__m128i*>(highs), _mm_xor_si128(high, flip));
    for (int32_t lane = 0; lane < 8; ++lane) {
        if (lows[lane] < *smallest) *smallest = lows[lane];
        if (highs[lane] > *largest) *largest = highs[lane];
    }
    kPlainRowKernels.range16(words + 2 * i, count - i, shift, mask, smallest, largest);
}
}  // namespace

void SelectSse2RowKernels(RowKernels* kernels)
{
    kernels->widen12 = Widen12;
    kernels->grey8To32 = Grey8To32;
    kernels->narrow16 = Narrow16;
    kernels->swapBytes16 = SwapBytes16;
    kernels->range16 = Range16;
}
}  // namespace talv
