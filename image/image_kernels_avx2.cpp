#include <immintrin.h>

#include "image/image_kernels.h"

namespace talv {
namespace {
__m128i Load16(const uint8_t* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
void Store16(uint8_t* bytes, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}
__m256i Load(const uint8_t* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}
void Store(uint8_t* bytes, __m256i value)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

/// For the three 16-byte parts of 16 pixels with first and third byte changed: which byte of the part before,
/// the part itself and the part behind stands at each place, -1 for the other two's places.
struct SwapOrders
{
    alignas(16) int8_t from[3][3][16];  // [part][before, same, behind][place]
};

constexpr SwapOrders MakeSwapOrders()
{
    SwapOrders orders{};
    for (int place = 0; place < 48; ++place) {
        const int source = place + 2 - 2 * (place % 3), part = place / 16;
        for (int i = 0; i < 3; ++i)
            orders.from[part][i][place % 16] =
                static_cast<int8_t>(source / 16 == part - 1 + i ? source % 16 : -1);
    }
    return orders;
}
constexpr SwapOrders kSwap = MakeSwapOrders();

__m128i Order(const int8_t (&places)[16])
{
    return _mm_load_si128(reinterpret_cast<const __m128i*>(places));
}

// Sixteen pixels a round, all loaded before the first is stored. No load meets bytes that two stores wrote,
// which would wait for both.
void SwapRgb(const uint8_t* source, uint8_t* target, size_t pixels)
{
    const auto& orders = kSwap.from;
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i low = Load16(source + 3 * i), middle = Load16(source + 3 * i + 16),
                      high = Load16(source + 3 * i + 32);
        Store16(target + 3 * i, _mm_or_si128(_mm_shuffle_epi8(low, Order(orders[0][1])),
                                             _mm_shuffle_epi8(middle, Order(orders[0][2]))));
        Store16(target + 3 * i + 16, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(low, Order(orders[1][0])),
                                                               _mm_shuffle_epi8(middle, Order(orders[1][1]))),
                                                  _mm_shuffle_epi8(high, Order(orders[1][2]))));
        Store16(target + 3 * i + 32, _mm_or_si128(_mm_shuffle_epi8(middle, Order(orders[2][0])),
                                                  _mm_shuffle_epi8(high, Order(orders[2][1]))));
    }
    kPlainImageKernels.swapRgb(source + 3 * i, target + 3 * i, pixels - i);
}

void FlipWords(const uint8_t* source, uint8_t* target, size_t words, uint16_t flip)
{
    const __m256i flips = _mm256_set1_epi16(static_cast<short>(flip));
    size_t i = 0;
    for (; i + 16 <= words; i += 16) Store(target + 2 * i, _mm256_xor_si256(Load(source + 2 * i), flips));
    kPlainImageKernels.flipWords(source + 2 * i, target + 2 * i, words - i, flip);
}

void SwapWords(uint8_t* words, size_t count)
{
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i value = Load(words + 2 * i);
        Store(words + 2 * i, _mm256_or_si256(_mm256_slli_epi16(value, 8), _mm256_srli_epi16(value, 8)));
    }
    kPlainImageKernels.swapWords(words + 2 * i, count - i);
}

/// Sixteen values (byte - smallest) as 255-folds, over `spread`. n * (65536 / spread) >> 16 is n / spread or
/// one less.
__m256i DivideWords(__m256i folds, __m256i reciprocal, __m256i spread, __m256i mostRest)
{
    const __m256i quotient = _mm256_mulhi_epu16(folds, reciprocal);
    const __m256i rest = _mm256_sub_epi16(folds, _mm256_mullo_epi16(quotient, spread));
    return _mm256_sub_epi16(quotient, _mm256_cmpgt_epi16(rest, mostRest));
}

void ScaleBytes(const uint8_t* source, uint8_t* target, size_t count, uint8_t smallest, uint8_t largest)
{
    const int spread = largest - smallest;
    if (spread < 2) return kPlainImageKernels.scaleBytes(source, target, count, smallest, largest);
    const __m256i zero = _mm256_setzero_si256(), start = _mm256_set1_epi8(static_cast<char>(smallest));
    const __m256i most = _mm256_set1_epi8(static_cast<char>(spread));
    const __m256i divisor = _mm256_set1_epi16(static_cast<short>(spread));
    const __m256i mostRest = _mm256_set1_epi16(static_cast<short>(spread - 1));
    const __m256i reciprocal = _mm256_set1_epi16(static_cast<short>(65536 / spread));
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i above = _mm256_min_epu8(_mm256_subs_epu8(Load(source + i), start), most);
        const __m256i low =
            _mm256_sub_epi16(_mm256_unpacklo_epi8(zero, above), _mm256_unpacklo_epi8(above, zero));
        const __m256i high =
            _mm256_sub_epi16(_mm256_unpackhi_epi8(zero, above), _mm256_unpackhi_epi8(above, zero));
        Store(target + i, _mm256_packus_epi16(DivideWords(low, reciprocal, divisor, mostRest),
                                              DivideWords(high, reciprocal, divisor, mostRest)));
    }
    kPlainImageKernels.scaleBytes(source + i, target + i, count - i, smallest, largest);
}

void RangeOfBytes(const uint8_t* bytes, size_t count, ValueRange* range)
{
    __m256i smallest = _mm256_set1_epi8(-1), largest = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i value = Load(bytes + i);
        smallest = _mm256_min_epu8(smallest, value);
        largest = _mm256_max_epu8(largest, value);
    }
    if (i != 0) {
        uint8_t lanes[64];
        Store(lanes, smallest);
        Store(lanes + 32, largest);
        kPlainImageKernels.rangeOfBytes(lanes, sizeof lanes, range);
    }
    kPlainImageKernels.rangeOfBytes(bytes + i, count - i, range);
}

void RangeOfWords(const uint8_t* words, size_t count, WordValue value, ValueRange* range)
{
    const __m256i offset = _mm256_set1_epi16(static_cast<short>(value.offset));
    const __m256i mask = _mm256_set1_epi16(static_cast<short>(value.mask));
    const __m128i shift = _mm_cvtsi32_si128(value.shift);
    __m256i smallest = _mm256_set1_epi16(-1), largest = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m256i moved = _mm256_add_epi16(Load(words + 2 * i), offset);
        const __m256i taken = _mm256_and_si256(_mm256_srl_epi16(moved, shift), mask);
        smallest = _mm256_min_epu16(smallest, taken);
        largest = _mm256_max_epu16(largest, taken);
    }
    if (i != 0) {
        uint8_t lanes[64];
        Store(lanes, smallest);
        Store(lanes + 32, largest);
        kPlainImageKernels.rangeOfWords(lanes, 32, {0, 0xFFFF, 0}, range);
    }
    kPlainImageKernels.rangeOfWords(words + 2 * i, count - i, value, range);
}

/// For the three 16-byte parts of 16 interleaved pixels: which byte of a plane stands at each place, -1 for
/// the other planes' places.
struct InterleaveOrders
{
    alignas(16) int8_t plane[3][3][16];  // [plane][part][place]
};

constexpr InterleaveOrders MakeInterleaveOrders()
{
    InterleaveOrders orders{};
    for (int place = 0; place < 48; ++place)
        for (int plane = 0; plane < 3; ++plane)
            orders.plane[plane][place / 16][place % 16] =
                static_cast<int8_t>(place % 3 == plane ? place / 3 : -1);
    return orders;
}
constexpr InterleaveOrders kInterleave = MakeInterleaveOrders();

/// The way back: where in each part the bytes of a plane stand.
constexpr InterleaveOrders MakeSeparateOrders()
{
    InterleaveOrders orders{};
    for (auto& plane : orders.plane)
        for (auto& part : plane)
            for (auto& place : part) place = -1;
    for (int place = 0; place < 48; ++place)
        orders.plane[place % 3][place / 16][place / 3] = static_cast<int8_t>(place % 16);
    return orders;
}
constexpr InterleaveOrders kSeparate = MakeSeparateOrders();

void Interleave3(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* target,
                 size_t count)
{
    const auto& orders = kInterleave.plane;
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i a = Load16(first + i), b = Load16(second + i), c = Load16(third + i);
        for (int part = 0; part < 3; ++part)
            Store16(target + 3 * i + 16 * part,
                    _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, Order(orders[0][part])),
                                              _mm_shuffle_epi8(b, Order(orders[1][part]))),
                                 _mm_shuffle_epi8(c, Order(orders[2][part]))));
    }
    kPlainImageKernels.interleave3(first + i, second + i, third + i, target + 3 * i, count - i);
}

void Separate3(const uint8_t* source, uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    const auto& orders = kSeparate.plane;
    uint8_t* const planes[3] = {first, second, third};
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i low = Load16(source + 3 * i), middle = Load16(source + 3 * i + 16),
                      high = Load16(source + 3 * i + 32);
        for (int plane = 0; plane < 3; ++plane)
            Store16(planes[plane] + i,
                    _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(low, Order(orders[plane][0])),
                                              _mm_shuffle_epi8(middle, Order(orders[plane][1]))),
                                 _mm_shuffle_epi8(high, Order(orders[plane][2]))));
    }
    for (; i < count; ++i)
        for (size_t k = 0; k < 3; ++k) planes[k][i] = source[3 * i + k];
}

/// Sixteen sums of products in thousandths, cut to 0..255. A non-negative sum over 1000 is the sum over 8,
/// which fits 16 bits once saturated, over 125; n * 33555 >> 22 is n / 125 for every n below 59074.
__m256i ThousandthsToWords(__m256i low, __m256i high)
{
    const __m256i eighths = _mm256_packs_epi32(_mm256_srai_epi32(low, 3), _mm256_srai_epi32(high, 3));
    const __m256i positive = _mm256_max_epi16(eighths, _mm256_setzero_si256());
    return _mm256_srli_epi16(_mm256_mulhi_epu16(positive, _mm256_set1_epi16(static_cast<short>(33555))), 6);
}

/// A pair of 16-bit factors, the even place first.
__m256i Factors(int32_t even, int32_t odd)
{
    return _mm256_set1_epi32(
        static_cast<int32_t>((static_cast<uint32_t>(odd) << 16) | (static_cast<uint32_t>(even) & 0xFFFF)));
}

/// Sixteen pixels, a sample a word.
void YbrWordsToRgb(__m256i* first, __m256i* second, __m256i* third)
{
    const __m256i luma = _mm256_subs_epu16(*first, _mm256_set1_epi16(16));
    const __m256i middle = _mm256_set1_epi16(128);
    const __m256i blueness = _mm256_sub_epi16(*second, middle), redness = _mm256_sub_epi16(*third, middle);
    const __m256i forRed = Factors(1164, 1596), forGreen = Factors(1164, -391), forBlue = Factors(1164, 2018);
    const __m256i fromRedness = Factors(-813, 0), zero = _mm256_setzero_si256();

    const __m256i lumaRedLow = _mm256_unpacklo_epi16(luma, redness),
                  lumaRedHigh = _mm256_unpackhi_epi16(luma, redness);
    const __m256i lumaBlueLow = _mm256_unpacklo_epi16(luma, blueness),
                  lumaBlueHigh = _mm256_unpackhi_epi16(luma, blueness);
    const __m256i redLow = _mm256_unpacklo_epi16(redness, zero),
                  redHigh = _mm256_unpackhi_epi16(redness, zero);
    *first =
        ThousandthsToWords(_mm256_madd_epi16(lumaRedLow, forRed), _mm256_madd_epi16(lumaRedHigh, forRed));
    *second = ThousandthsToWords(
        _mm256_add_epi32(_mm256_madd_epi16(lumaBlueLow, forGreen), _mm256_madd_epi16(redLow, fromRedness)),
        _mm256_add_epi32(_mm256_madd_epi16(lumaBlueHigh, forGreen), _mm256_madd_epi16(redHigh, fromRedness)));
    *third =
        ThousandthsToWords(_mm256_madd_epi16(lumaBlueLow, forBlue), _mm256_madd_epi16(lumaBlueHigh, forBlue));
}

void YbrToRgb(uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    const __m256i zero = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        // Unpacking and packing both work half by half, so the places come back as they were.
        const __m256i a = Load(first + i), b = Load(second + i), c = Load(third + i);
        __m256i aLow = _mm256_unpacklo_epi8(a, zero), bLow = _mm256_unpacklo_epi8(b, zero),
                cLow = _mm256_unpacklo_epi8(c, zero);
        __m256i aHigh = _mm256_unpackhi_epi8(a, zero), bHigh = _mm256_unpackhi_epi8(b, zero),
                cHigh = _mm256_unpackhi_epi8(c, zero);
        YbrWordsToRgb(&aLow, &bLow, &cLow);
        YbrWordsToRgb(&aHigh, &bHigh, &cHigh);
        Store(first + i, _mm256_packus_epi16(aLow, aHigh));
        Store(second + i, _mm256_packus_epi16(bLow, bHigh));
        Store(third + i, _mm256_packus_epi16(cLow, cHigh));
    }
    kPlainImageKernels.ybrToRgb(first + i, second + i, third + i, count - i);
}

// The samples take the way through three short planes, which stay in the nearest cache.
void YbrPixelsToRgb(uint8_t* samples, size_t pixels)
{
    constexpr size_t kBlock = 512;
    uint8_t planes[3][kBlock];
    for (size_t done = 0; done < pixels; done += kBlock) {
        const size_t count = pixels - done < kBlock ? pixels - done : kBlock;
        Separate3(samples + 3 * done, planes[0], planes[1], planes[2], count);
        YbrToRgb(planes[0], planes[1], planes[2], count);
        Interleave3(planes[0], planes[1], planes[2], samples + 3 * done, count);
    }
}
}  // namespace

void SelectAvx2ImageKernels(ImageKernels* kernels)
{
    kernels->swapRgb = SwapRgb;
    kernels->flipWords = FlipWords;
    kernels->swapWords = SwapWords;
    kernels->scaleBytes = ScaleBytes;
    kernels->rangeOfBytes = RangeOfBytes;
    kernels->rangeOfWords = RangeOfWords;
    kernels->interleave3 = Interleave3;
    kernels->ybrToRgb = YbrToRgb;
    kernels->ybrPixelsToRgb = YbrPixelsToRgb;
}
}  // namespace talv
