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

/// Sixteen pixels of 16-bit lanes: luma less 16 beside Cr (`redder`), beside Cb (`bluer`), as pairs of bytes.
/// With a, b, c for luma - 16, Cb - 128 and Cr - 128 the thousandths come apart into whole numbers and what
/// is left, which fits a lane:
///     red    (1164 a + 1596 c) / 1000          a + 2 c + (41 a - 101 c) / 250
///     green  (1164 a - 391 b - 813 c) / 1000   a - c + (41 a - 98 b + 47 c + (b - c) / 4) / 250
///     blue   (1164 a + 2018 b) / 1000          a + 2 b + (82 a + 9 b) / 500
/// Every division rounds down: below zero a sum becomes 0 in the end whichever way it was rounded. What is
/// left is made positive by a multiple of the divisor; n * 33555 >> 23 is n / 250 for every n below 59075,
/// one more shift n / 500.
struct RgbWords
{
    __m256i red, green, blue;
};

__m256i Weights(int even, int odd)
{
    return _mm256_set1_epi16(static_cast<short>(odd * 256 + (even & 0xFF)));
}
__m256i Words(int value)
{
    return _mm256_set1_epi16(static_cast<short>(value));
}

RgbWords YbrWordsToRgb(__m256i redder, __m256i bluer)
{
    const __m256i reciprocal = Words(33555);
    const auto quotient = [&](__m256i sum, int bias, int shift) {
        return _mm256_srli_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(sum, Words(bias)), reciprocal), shift);
    };
    const __m256i redWhole = _mm256_maddubs_epi16(redder, Weights(1, 2));  // a + 2 Cr
    const __m256i blueWhole = _mm256_maddubs_epi16(bluer, Weights(1, 2));  // a + 2 Cb
    const __m256i greenWhole = _mm256_maddubs_epi16(redder, Weights(1, -1));
    const __m256i redRest =
        quotient(_mm256_maddubs_epi16(redder, Weights(41, -101)), 101 * 128 + 52 * 250, 7);
    const __m256i blueRest = quotient(_mm256_maddubs_epi16(bluer, Weights(82, 9)), -9 * 128 + 3 * 500, 8);
    const __m256i quarter = _mm256_srai_epi16(_mm256_sub_epi16(blueWhole, redWhole), 3);
    const __m256i greenSum = _mm256_add_epi16(_mm256_maddubs_epi16(bluer, Weights(41, -98)),
                                              _mm256_maddubs_epi16(redder, Weights(0, 47)));
    const __m256i greenRest = quotient(_mm256_add_epi16(greenSum, quarter), (98 - 47) * 128 + 75 * 250, 7);
    return {_mm256_add_epi16(_mm256_sub_epi16(redWhole, Words(2 * 128 + 52)), redRest),
            _mm256_add_epi16(_mm256_add_epi16(greenWhole, Words(128 - 75)), greenRest),
            _mm256_add_epi16(_mm256_sub_epi16(blueWhole, Words(2 * 128 + 3)), blueRest)};
}

struct RgbBytes
{
    __m256i red, green, blue;
};

/// Thirty-two pixels. Unpacking and packing both work half by half, so the places come back as they were.
RgbBytes YbrBytesToRgb(__m256i luma, __m256i cb, __m256i cr)
{
    const __m256i a = _mm256_subs_epu8(luma, _mm256_set1_epi8(16));
    const RgbWords low = YbrWordsToRgb(_mm256_unpacklo_epi8(a, cr), _mm256_unpacklo_epi8(a, cb));
    const RgbWords high = YbrWordsToRgb(_mm256_unpackhi_epi8(a, cr), _mm256_unpackhi_epi8(a, cb));
    return {_mm256_packus_epi16(low.red, high.red), _mm256_packus_epi16(low.green, high.green),
            _mm256_packus_epi16(low.blue, high.blue)};
}

void YbrToRgb(uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const RgbBytes rgb = YbrBytesToRgb(Load(first + i), Load(second + i), Load(third + i));
        Store(first + i, rgb.red);
        Store(second + i, rgb.green);
        Store(third + i, rgb.blue);
    }
    kPlainImageKernels.ybrToRgb(first + i, second + i, third + i, count - i);
}

/// Of three 16-byte parts of 16 interleaved pixels, place i of part k belongs to plane (k + i) % 3. So the
/// bytes of a plane lie at different places in the three parts: blended into one register they have only to
/// be put in order, and the other way round.
struct PlaneOrders
{
    alignas(16) int8_t seconds[16];      // -1 where place % 3 is 1
    alignas(16) int8_t thirds[16];       // -1 where it is 2
    alignas(16) int8_t separate[3][16];  // [plane][pixel]: where its byte is
    alignas(16) int8_t mix[3][16];       // [plane][place]: the pixel it comes from
};

constexpr PlaneOrders MakePlaneOrders()
{
    PlaneOrders orders{};
    for (int i = 1; i < 16; i += 3) orders.seconds[i] = -1;
    for (int i = 2; i < 16; i += 3) orders.thirds[i] = -1;
    for (int plane = 0; plane < 3; ++plane)
        for (int pixel = 0; pixel < 16; ++pixel) {
            const int place = (3 * pixel + plane) % 16;
            orders.separate[plane][pixel] = static_cast<int8_t>(place);
            orders.mix[plane][place] = static_cast<int8_t>(pixel);
        }
    return orders;
}
constexpr PlaneOrders kPlaneOrders = MakePlaneOrders();

__m256i Twice(const int8_t (&places)[16])
{
    return _mm256_broadcastsi128_si256(Order(places));
}

void YbrPixelsToBgr(uint8_t* samples, size_t pixels)
{
    const PlaneOrders& orders = kPlaneOrders;
    const __m256i seconds = Twice(orders.seconds), thirds = Twice(orders.thirds);
    const auto blend = [&](__m256i first, __m256i second, __m256i third) {
        return _mm256_blendv_epi8(_mm256_blendv_epi8(first, second, seconds), third, thirds);
    };
    size_t i = 0;
    for (; i + 32 <= pixels; i += 32) {
        uint8_t* const block = samples + 3 * i;  // part k of the first 16 pixels beside that of the last 16
        const auto part = [&](size_t k) {
            return _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(block + 16 * k)),
                                           Load16(block + 48 + 16 * k), 1);
        };
        const __m256i low = part(0), middle = part(1), high = part(2);
        const RgbBytes rgb =
            YbrBytesToRgb(_mm256_shuffle_epi8(blend(low, high, middle), Twice(orders.separate[0])),
                          _mm256_shuffle_epi8(blend(middle, low, high), Twice(orders.separate[1])),
                          _mm256_shuffle_epi8(blend(high, middle, low), Twice(orders.separate[2])));
        const __m256i blue = _mm256_shuffle_epi8(rgb.blue, Twice(orders.mix[0])),
                      green = _mm256_shuffle_epi8(rgb.green, Twice(orders.mix[1])),
                      red = _mm256_shuffle_epi8(rgb.red, Twice(orders.mix[2]));
        const __m256i parts[3] = {blend(blue, green, red), blend(green, red, blue), blend(red, blue, green)};
        for (size_t k = 0; k < 3; ++k) {
            Store16(block + 16 * k, _mm256_castsi256_si128(parts[k]));
            Store16(block + 48 + 16 * k, _mm256_extracti128_si256(parts[k], 1));
        }
    }
    kPlainImageKernels.ybrPixelsToBgr(samples + 3 * i, pixels - i);
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
    kernels->ybrPixelsToBgr = YbrPixelsToBgr;
}
}  // namespace talv
