#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "image/image_kernels.h"

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

// Five pixels lie in 15 of the 16 bytes; the last byte is stored as it was and belongs to the next round.
void SwapRgb(const uint8_t* source, uint8_t* target, size_t pixels)
{
    const __m128i first = _mm_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, 0);
    const __m128i second = _mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, -1);
    const __m128i third = _mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
    size_t i = 0;
    for (; i + 6 <= pixels; i += 5) {
        const __m128i value = Load(source + 3 * i);
        const __m128i fromThird = _mm_and_si128(_mm_srli_si128(value, 2), first);
        const __m128i fromFirst = _mm_and_si128(_mm_slli_si128(value, 2), third);
        Store(target + 3 * i, _mm_or_si128(_mm_or_si128(fromThird, fromFirst), _mm_and_si128(value, second)));
    }
    kPlainImageKernels.swapRgb(source + 3 * i, target + 3 * i, pixels - i);
}

void FlipWords(const uint8_t* source, uint8_t* target, size_t words, uint16_t flip)
{
    const __m128i flips = _mm_set1_epi16(static_cast<short>(flip));
    size_t i = 0;
    for (; i + 8 <= words; i += 8) Store(target + 2 * i, _mm_xor_si128(Load(source + 2 * i), flips));
    kPlainImageKernels.flipWords(source + 2 * i, target + 2 * i, words - i, flip);
}

void SwapWords(uint8_t* words, size_t count)
{
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i value = Load(words + 2 * i);
        Store(words + 2 * i, _mm_or_si128(_mm_slli_epi16(value, 8), _mm_srli_epi16(value, 8)));
    }
    kPlainImageKernels.swapWords(words + 2 * i, count - i);
}

/// Eight values (byte - smallest) as 255-folds, over `spread`. n * (65536 / spread) >> 16 is n / spread or
/// one less.
__m128i DivideWords(__m128i folds, __m128i reciprocal, __m128i spread, __m128i mostRest)
{
    const __m128i quotient = _mm_mulhi_epu16(folds, reciprocal);
    const __m128i rest = _mm_sub_epi16(folds, _mm_mullo_epi16(quotient, spread));
    return _mm_sub_epi16(quotient, _mm_cmpgt_epi16(rest, mostRest));
}

void ScaleBytes(const uint8_t* source, uint8_t* target, size_t count, uint8_t smallest, uint8_t largest)
{
    const int spread = largest - smallest;
    if (spread < 2) return kPlainImageKernels.scaleBytes(source, target, count, smallest, largest);
    const __m128i zero = _mm_setzero_si128(), start = _mm_set1_epi8(static_cast<char>(smallest));
    const __m128i most = _mm_set1_epi8(static_cast<char>(spread));
    const __m128i divisor = _mm_set1_epi16(static_cast<short>(spread));
    const __m128i mostRest = _mm_set1_epi16(static_cast<short>(spread - 1));
    const __m128i reciprocal = _mm_set1_epi16(static_cast<short>(65536 / spread));
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i above = _mm_min_epu8(_mm_subs_epu8(Load(source + i), start), most);
        const __m128i low = _mm_sub_epi16(_mm_unpacklo_epi8(zero, above), _mm_unpacklo_epi8(above, zero));
        const __m128i high = _mm_sub_epi16(_mm_unpackhi_epi8(zero, above), _mm_unpackhi_epi8(above, zero));
        Store(target + i, _mm_packus_epi16(DivideWords(low, reciprocal, divisor, mostRest),
                                           DivideWords(high, reciprocal, divisor, mostRest)));
    }
    kPlainImageKernels.scaleBytes(source + i, target + i, count - i, smallest, largest);
}

void RangeOfBytes(const uint8_t* bytes, size_t count, ValueRange* range)
{
    __m128i smallest = _mm_set1_epi8(-1), largest = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i value = Load(bytes + i);
        smallest = _mm_min_epu8(smallest, value);
        largest = _mm_max_epu8(largest, value);
    }
    if (i != 0) {
        uint8_t lanes[32];
        Store(lanes, smallest);
        Store(lanes + 16, largest);
        kPlainImageKernels.rangeOfBytes(lanes, sizeof lanes, range);
    }
    kPlainImageKernels.rangeOfBytes(bytes + i, count - i, range);
}

void RangeOfWords(const uint8_t* words, size_t count, WordValue value, ValueRange* range)
{
    const __m128i offset = _mm_set1_epi16(static_cast<short>(value.offset));
    const __m128i mask = _mm_set1_epi16(static_cast<short>(value.mask));
    const __m128i shift = _mm_cvtsi32_si128(value.shift);
    const __m128i signBit = _mm_set1_epi16(-0x8000);  // the level has comparisons of signed words only
    __m128i smallest = _mm_set1_epi16(0x7FFF), largest = signBit;
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i moved = _mm_add_epi16(Load(words + 2 * i), offset);
        const __m128i taken = _mm_xor_si128(_mm_and_si128(_mm_srl_epi16(moved, shift), mask), signBit);
        smallest = _mm_min_epi16(smallest, taken);
        largest = _mm_max_epi16(largest, taken);
    }
    if (i != 0) {
        uint8_t lanes[32];
        Store(lanes, _mm_xor_si128(smallest, signBit));
        Store(lanes + 16, _mm_xor_si128(largest, signBit));
        kPlainImageKernels.rangeOfWords(lanes, 16, {0, 0xFFFF, 0}, range);
    }
    kPlainImageKernels.rangeOfWords(words + 2 * i, count - i, value, range);
}

void Interleave2(const uint8_t* first, const uint8_t* second, uint8_t* target, size_t count)
{
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i a = Load(first + i), b = Load(second + i);
        Store(target + 2 * i, _mm_unpacklo_epi8(a, b));
        Store(target + 2 * i + 16, _mm_unpackhi_epi8(a, b));
    }
    kPlainImageKernels.interleave2(first + i, second + i, target + 2 * i, count - i);
}

/// Eight sums of products in thousandths, cut to 0..255. A non-negative sum over 1000 is the sum over 8,
/// which fits 16 bits once saturated, over 125; n * 33555 >> 22 is n / 125 for every n below 59074.
__m128i ThousandthsToWords(__m128i low, __m128i high)
{
    const __m128i eighths = _mm_packs_epi32(_mm_srai_epi32(low, 3), _mm_srai_epi32(high, 3));
    const __m128i positive = _mm_max_epi16(eighths, _mm_setzero_si128());
    return _mm_srli_epi16(_mm_mulhi_epu16(positive, _mm_set1_epi16(static_cast<short>(33555))), 6);
}

__m128i Factors(short even, short odd)
{
    return _mm_setr_epi16(even, odd, even, odd, even, odd, even, odd);
}

/// Eight pixels, a sample a word.
void YbrWordsToRgb(__m128i* first, __m128i* second, __m128i* third)
{
    const __m128i luma = _mm_subs_epu16(*first, _mm_set1_epi16(16));
    const __m128i middle = _mm_set1_epi16(128);
    const __m128i blueness = _mm_sub_epi16(*second, middle), redness = _mm_sub_epi16(*third, middle);
    const __m128i forRed = Factors(1164, 1596), forGreen = Factors(1164, -391), forBlue = Factors(1164, 2018);
    const __m128i fromRedness = Factors(-813, 0), zero = _mm_setzero_si128();

    const __m128i lumaRedLow = _mm_unpacklo_epi16(luma, redness),
                  lumaRedHigh = _mm_unpackhi_epi16(luma, redness);
    const __m128i lumaBlueLow = _mm_unpacklo_epi16(luma, blueness),
                  lumaBlueHigh = _mm_unpackhi_epi16(luma, blueness);
    const __m128i redLow = _mm_unpacklo_epi16(redness, zero), redHigh = _mm_unpackhi_epi16(redness, zero);
    *first = ThousandthsToWords(_mm_madd_epi16(lumaRedLow, forRed), _mm_madd_epi16(lumaRedHigh, forRed));
    *second = ThousandthsToWords(
        _mm_add_epi32(_mm_madd_epi16(lumaBlueLow, forGreen), _mm_madd_epi16(redLow, fromRedness)),
        _mm_add_epi32(_mm_madd_epi16(lumaBlueHigh, forGreen), _mm_madd_epi16(redHigh, fromRedness)));
    *third = ThousandthsToWords(_mm_madd_epi16(lumaBlueLow, forBlue), _mm_madd_epi16(lumaBlueHigh, forBlue));
}

void YbrToRgb(uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i a = Load(first + i), b = Load(second + i), c = Load(third + i);
        __m128i aLow = _mm_unpacklo_epi8(a, zero), bLow = _mm_unpacklo_epi8(b, zero),
                cLow = _mm_unpacklo_epi8(c, zero);
        __m128i aHigh = _mm_unpackhi_epi8(a, zero), bHigh = _mm_unpackhi_epi8(b, zero),
                cHigh = _mm_unpackhi_epi8(c, zero);
        YbrWordsToRgb(&aLow, &bLow, &cLow);
        YbrWordsToRgb(&aHigh, &bHigh, &cHigh);
        Store(first + i, _mm_packus_epi16(aLow, aHigh));
        Store(second + i, _mm_packus_epi16(bLow, bHigh));
        Store(third + i, _mm_packus_epi16(cLow, cHigh));
    }
    kPlainImageKernels.ybrToRgb(first + i, second + i, third + i, count - i);
}

// The samples take the way through three short planes, which stay in the nearest cache.
void YbrPixelsToBgr(uint8_t* samples, size_t pixels)
{
    constexpr size_t kBlock = 512;
    uint8_t planes[3][kBlock];
    for (size_t done = 0; done < pixels; done += kBlock) {
        const size_t count = pixels - done < kBlock ? pixels - done : kBlock;
        uint8_t* const block = samples + 3 * done;
        for (size_t i = 0; i < count; ++i)
            for (size_t k = 0; k < 3; ++k) planes[k][i] = block[3 * i + k];
        YbrToRgb(planes[0], planes[1], planes[2], count);
        for (size_t i = 0; i < count; ++i)
            for (size_t k = 0; k < 3; ++k) block[3 * i + k] = planes[2 - k][i];
    }
}
// Whole cache lines only: a line that is stored in part would be read first.
void CopyPastCaches(const uint8_t* source, uint8_t* target, size_t count)
{
    constexpr size_t kLine = 64;
    const size_t misaligned = reinterpret_cast<uintptr_t>(target) % kLine;
    const size_t head = std::min(count, misaligned == 0 ? 0 : kLine - misaligned);
    std::memcpy(target, source, head);
    size_t i = head;
    for (; i + kLine <= count; i += kLine)
        for (size_t part = 0; part < kLine; part += 16)
            _mm_stream_si128(reinterpret_cast<__m128i*>(target + i + part), Load(source + i + part));
    std::memcpy(target + i, source + i, count - i);
}
}  // namespace

void SelectSse2ImageKernels(ImageKernels* kernels)
{
    kernels->swapRgb = SwapRgb;
    kernels->flipWords = FlipWords;
    kernels->swapWords = SwapWords;
    kernels->scaleBytes = ScaleBytes;
    kernels->rangeOfBytes = RangeOfBytes;
    kernels->rangeOfWords = RangeOfWords;
    kernels->interleave2 = Interleave2;
    kernels->ybrToRgb = YbrToRgb;
    kernels->ybrPixelsToBgr = YbrPixelsToBgr;
    kernels->copyPastCaches = CopyPastCaches;
}
}  // namespace talv
