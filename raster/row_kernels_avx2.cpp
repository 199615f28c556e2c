#include <immintrin.h>

#include <cstring>

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

/// Four entries side by side.
__m128i LoadEntries(const uint8_t* indices, const uint8_t (*entries)[4])
{
    int32_t words[4];
    for (size_t k = 0; k < 4; ++k) std::memcpy(&words[k], entries[indices[k]], 4);
    return _mm_setr_epi32(words[0], words[1], words[2], words[3]);
}

void LookUp24(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    const __m128i gather = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    size_t i = 0;
    for (; i + 10 <= pixels; i += 8)  // as in Color32To24, a store is 4 bytes longer than its pixels
    {
        Store128(target + 3 * i, _mm_shuffle_epi8(LoadEntries(indices + i, entries), gather));
        Store128(target + 3 * i + 12, _mm_shuffle_epi8(LoadEntries(indices + i + 4, entries), gather));
    }
    kPlainRowKernels.lookUp24(indices + i, entries, target + 3 * i, pixels - i);
}

void LookUp32(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    size_t i = 0;
    for (; i + 8 <= pixels; i += 8) {
        Store128(target + 4 * i, LoadEntries(indices + i, entries));
        Store128(target + 4 * i + 16, LoadEntries(indices + i + 4, entries));
    }
    kPlainRowKernels.lookUp32(indices + i, entries, target + 4 * i, pixels - i);
}

/// Luma of eight pixels, four at the start of each half, as 32-bit numbers.
__m256i Luma8(__m256i bytes, __m256i firstWeights, __m256i thirdWeights)
{
    const __m256i firstAndGreen =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1));
    const __m256i thirdAndGreen =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(2, -1, 1, -1, 5, -1, 4, -1, 8, -1, 7, -1, 11, -1, 10, -1));
    const __m256i sum =
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(bytes, firstAndGreen), firstWeights),
                         _mm256_madd_epi16(_mm256_shuffle_epi8(bytes, thirdAndGreen), thirdWeights));
    return _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(32768)), 16);
}

void Luma24(const uint8_t* source, uint8_t* levels, size_t pixels, bool redFirst)
{
    // The weight of green, 38470, is too large for a signed word: each of the other two brings half of it.
    constexpr int32_t kHalfGreen = 19235 << 16;
    const __m256i red = _mm256_set1_epi32(kHalfGreen | 19595), blue = _mm256_set1_epi32(kHalfGreen | 7471);
    const __m256i first = redFirst ? red : blue, third = redFirst ? blue : red;
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    size_t i = 0;
    for (; i + 32 <= pixels; i += 32) {
        const uint8_t* at = source + 3 * i;
        const __m256i a = Luma8(LoadHalves(at, 12), first, third);
        const __m256i b = Luma8(LoadHalves(at + 24, 12), first, third);
        const __m256i c = Luma8(LoadHalves(at + 48, 12), first, third);
        // The last eight are loaded from 4 bytes before them: their own last load would end behind the
        // pixels.
        const __m256i d = Luma8(_mm256_srli_si256(LoadHalves(at + 68, 12), 4), first, third);
        const __m256i low = _mm256_packus_epi32(a, b), high = _mm256_packus_epi32(c, d);
        // Fours of pixels in the order 0 2 4 6 1 3 5 7.
        Store256(levels + i, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), inOrder));
    }
    kPlainRowKernels.luma24(source + 3 * i, levels + i, pixels - i, redFirst);
}

void SwapColor24(const uint8_t* source, uint8_t* target, size_t pixels)
{
    // 48 bytes hold 16 pixels, of which the 6th and the 11th lie across two of the three registers. Each half
    // of the registers takes 16 pixels. All bytes are read before the first is written.
    const __m256i first =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, -1));
    const __m256i firstFromSecond = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1));
    const __m256i second =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, -1, 4, 3, 2, 7, 6, 5, 10, 9, 8, 13, 12, 11, -1, 15));
    const __m256i secondFromFirst = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(-1, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    const __m256i secondFromThird = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, -1));
    const __m256i third =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(-1, 3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13));
    const __m256i thirdFromSecond = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    size_t i = 0;
    for (; i + 32 <= pixels; i += 32) {
        const __m256i a = LoadHalves(source + 3 * i, 48), b = LoadHalves(source + 3 * i + 16, 48),
                      c = LoadHalves(source + 3 * i + 32, 48);
        const __m256i x =
            _mm256_or_si256(_mm256_shuffle_epi8(a, first), _mm256_shuffle_epi8(b, firstFromSecond));
        const __m256i y = _mm256_or_si256(_mm256_shuffle_epi8(b, second),
                                          _mm256_or_si256(_mm256_shuffle_epi8(a, secondFromFirst),
                                                          _mm256_shuffle_epi8(c, secondFromThird)));
        const __m256i z =
            _mm256_or_si256(_mm256_shuffle_epi8(c, third), _mm256_shuffle_epi8(b, thirdFromSecond));
        uint8_t* out = target + 3 * i;
        Store256(out, _mm256_permute2x128_si256(x, y, 0x20));
        Store256(out + 32, _mm256_permute2x128_si256(z, x, 0x30));
        Store256(out + 64, _mm256_permute2x128_si256(y, z, 0x31));
    }
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
    kernels->lookUp24 = LookUp24;
    kernels->lookUp32 = LookUp32;
    kernels->luma24 = Luma24;
    kernels->swapColor24 = SwapColor24;
    kernels->narrow16 = Narrow16;
    kernels->swapBytes16 = SwapBytes16;
    kernels->range16 = Range16;
}
}  // namespace talv
