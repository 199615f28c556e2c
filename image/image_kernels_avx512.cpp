#include <immintrin.h>

#include "image/image_kernels.h"

namespace talv {
namespace {
constexpr size_t kBlock = 64;  // pixels, and bytes of a register

__m512i Load(const uint8_t* bytes)
{
    return _mm512_loadu_si512(bytes);
}
void Store(uint8_t* bytes, __m512i value)
{
    _mm512_storeu_si512(bytes, value);
}
__m512i Words(int value)
{
    return _mm512_set1_epi16(static_cast<short>(value));
}
__m512i Weights(int even, int odd)
{
    return Words(odd * 256 + (even & 0xFF));
}

struct Rgb
{
    __m512i red, green, blue;
};

/// Thirty-two pixels of 16-bit lanes; the arithmetic is that of the AVX2 level.
Rgb YbrWordsToRgb(__m512i redder, __m512i bluer)
{
    const __m512i reciprocal = Words(33555);
    const auto quotient = [&](__m512i sum, int bias, unsigned shift) {
        return _mm512_srli_epi16(_mm512_mulhi_epu16(_mm512_add_epi16(sum, Words(bias)), reciprocal), shift);
    };
    const __m512i redWhole = _mm512_maddubs_epi16(redder, Weights(1, 2));
    const __m512i blueWhole = _mm512_maddubs_epi16(bluer, Weights(1, 2));
    const __m512i greenWhole = _mm512_maddubs_epi16(redder, Weights(1, -1));
    const __m512i redRest =
        quotient(_mm512_maddubs_epi16(redder, Weights(41, -101)), 101 * 128 + 52 * 250, 7);
    const __m512i blueRest = quotient(_mm512_maddubs_epi16(bluer, Weights(82, 9)), -9 * 128 + 3 * 500, 8);
    const __m512i quarter = _mm512_srai_epi16(_mm512_sub_epi16(blueWhole, redWhole), 3);
    const __m512i greenSum = _mm512_add_epi16(_mm512_maddubs_epi16(bluer, Weights(41, -98)),
                                              _mm512_maddubs_epi16(redder, Weights(0, 47)));
    const __m512i greenRest = quotient(_mm512_add_epi16(greenSum, quarter), (98 - 47) * 128 + 75 * 250, 7);
    return {_mm512_add_epi16(_mm512_sub_epi16(redWhole, Words(2 * 128 + 52)), redRest),
            _mm512_add_epi16(_mm512_add_epi16(greenWhole, Words(128 - 75)), greenRest),
            _mm512_add_epi16(_mm512_sub_epi16(blueWhole, Words(2 * 128 + 3)), blueRest)};
}

Rgb YbrBytesToRgb(__m512i luma, __m512i cb, __m512i cr)
{
    const __m512i a = _mm512_subs_epu8(luma, _mm512_set1_epi8(16));
    const Rgb low = YbrWordsToRgb(_mm512_unpacklo_epi8(a, cr), _mm512_unpacklo_epi8(a, cb));
    const Rgb high = YbrWordsToRgb(_mm512_unpackhi_epi8(a, cr), _mm512_unpackhi_epi8(a, cb));
    return {_mm512_packus_epi16(low.red, high.red), _mm512_packus_epi16(low.green, high.green),
            _mm512_packus_epi16(low.blue, high.blue)};
}

/// Where the bytes of 64 interleaved pixels lie: three registers in, three planes out, and back.
struct PlaneOrders
{
    alignas(64) uint8_t early[3][kBlock];  // [plane][pixel]: its place in the first two registers
    alignas(64) uint8_t late[3][kBlock];   // its place in the third
    uint64_t isLate[3];
    alignas(64) uint8_t firstTwo[3][kBlock];  // [register][place]: the pixel, plus 64 for the second plane
    alignas(64) uint8_t third[3][kBlock];     // the pixel of the third plane
    uint64_t isThird[3];
};

constexpr PlaneOrders MakePlaneOrders()
{
    PlaneOrders orders{};
    for (size_t at = 0; at < 3 * kBlock; ++at) {
        const size_t plane = at % 3, pixel = at / 3, part = at / kBlock, place = at % kBlock;
        if (part < 2)
            orders.early[plane][pixel] = static_cast<uint8_t>(at);
        else
            orders.late[plane][pixel] = static_cast<uint8_t>(place);
        if (part == 2) orders.isLate[plane] |= uint64_t{1} << pixel;
        if (plane < 2)
            orders.firstTwo[part][place] = static_cast<uint8_t>(pixel + plane * kBlock);
        else
            orders.third[part][place] = static_cast<uint8_t>(pixel);
        if (plane == 2) orders.isThird[part] |= uint64_t{1} << place;
    }
    return orders;
}
constexpr PlaneOrders kOrders = MakePlaneOrders();

void YbrPixelsToBgr(uint8_t* samples, size_t pixels)
{
    size_t i = 0;
    for (; i + kBlock <= pixels; i += kBlock) {
        uint8_t* const block = samples + 3 * i;
        const __m512i low = Load(block), middle = Load(block + kBlock), high = Load(block + 2 * kBlock);
        const auto separate = [&](size_t plane) {
            const __m512i early = _mm512_permutex2var_epi8(low, Load(kOrders.early[plane]), middle);
            return _mm512_mask_permutexvar_epi8(early, kOrders.isLate[plane], Load(kOrders.late[plane]),
                                                high);
        };
        const Rgb rgb = YbrBytesToRgb(separate(0), separate(1), separate(2));
        for (size_t part = 0; part < 3; ++part) {
            const __m512i two = _mm512_permutex2var_epi8(rgb.blue, Load(kOrders.firstTwo[part]), rgb.green);
            Store(block + kBlock * part, _mm512_mask_permutexvar_epi8(two, kOrders.isThird[part],
                                                                      Load(kOrders.third[part]), rgb.red));
        }
    }
    kPlainImageKernels.ybrPixelsToBgr(samples + 3 * i, pixels - i);
}

void YbrToRgb(uint8_t* first, uint8_t* second, uint8_t* third, size_t count)
{
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        const Rgb rgb = YbrBytesToRgb(Load(first + i), Load(second + i), Load(third + i));
        Store(first + i, rgb.red);
        Store(second + i, rgb.green);
        Store(third + i, rgb.blue);
    }
    kPlainImageKernels.ybrToRgb(first + i, second + i, third + i, count - i);
}
}  // namespace

void SelectAvx512ImageKernels(ImageKernels* kernels)
{
    kernels->ybrToRgb = YbrToRgb;
    kernels->ybrPixelsToBgr = YbrPixelsToBgr;
}
}  // namespace talv
