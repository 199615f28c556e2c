#include <emmintrin.h>

#include <cstring>

#include "filter/greydisplay/raised_ramp.h"

namespace talv {
namespace {
struct Constants
{
    __m128i mask, base;
    __m128 scale, offset;
};

/// Levels of four places, as 32-bit numbers.
__m128i Levels(__m128i places, const Constants& c)
{
    return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(places), c.scale), c.offset));
}

/// Levels of eight samples as words.
__m128i Levels8(const uint8_t* words, const Constants& c)
{
    const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(words));
    const __m128i places = _mm_subs_epu16(_mm_and_si128(samples, c.mask), c.base);
    const __m128i zero = _mm_setzero_si128();
    return _mm_packs_epi32(Levels(_mm_unpacklo_epi16(places, zero), c),
                           Levels(_mm_unpackhi_epi16(places, zero), c));
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const RaisedRamp raised = RaiseRamp(ramp, 0xFFFF, 0);
    const Constants c = {_mm_set1_epi16(static_cast<int16_t>(raised.mask)),
                         _mm_set1_epi16(static_cast<int16_t>(raised.base)), _mm_set1_ps(raised.scale),
                         _mm_set1_ps(ramp.offset)};
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        // Both packings saturate: the levels end at black and white.
        const __m128i levels = _mm_packus_epi16(Levels8(words + 2 * i, c), Levels8(words + 2 * i + 16, c));
        const __m128i frontTwice = _mm_unpacklo_epi8(levels, levels),
                      backTwice = _mm_unpackhi_epi8(levels, levels);
        const __m128i frontOnce = _mm_unpacklo_epi8(levels, zero), backOnce = _mm_unpackhi_epi8(levels, zero);
        auto* target = reinterpret_cast<__m128i*>(pixels + 4 * i);
        _mm_storeu_si128(target, _mm_unpacklo_epi16(frontTwice, frontOnce));
        _mm_storeu_si128(target + 1, _mm_unpackhi_epi16(frontTwice, frontOnce));
        _mm_storeu_si128(target + 2, _mm_unpacklo_epi16(backTwice, backOnce));
        _mm_storeu_si128(target + 3, _mm_unpackhi_epi16(backTwice, backOnce));
    }
    kPlainGreyKernels.ramp(words + 2 * i, pixels + 4 * i, count - i, ramp);
}

void Ramp12(const uint8_t* packed, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    uint8_t words[2 * kUnpackedSamples];
    for (size_t i = 0; i < count; i += kUnpackedSamples) {
        const size_t taken = std::min(kUnpackedSamples, count - i);
        Unpack12(packed + i / 2 * 3, words, taken);
        Ramp(words, pixels + 4 * i, taken, ramp);
    }
}

/// Four entries side by side.
void StoreEntries(const uint32_t* entries, uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint8_t* pixels)
{
    const __m128i front = _mm_unpacklo_epi32(_mm_loadu_si32(entries + a), _mm_loadu_si32(entries + b));
    const __m128i back = _mm_unpacklo_epi32(_mm_loadu_si32(entries + c), _mm_loadu_si32(entries + d));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels), _mm_unpacklo_epi64(front, back));
}

// The words come two at a time and the pixels go out four at a time: every load and store saved counts here.
void LookUp(const uint8_t* words, uint8_t* pixels, size_t count, const uint32_t* entries)
{
    size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        uint32_t two[2];
        std::memcpy(&two[0], words + 2 * i, 4);
        std::memcpy(&two[1], words + 2 * i + 4, 4);
        StoreEntries(entries, two[0] & 0xFFFF, two[0] >> 16, two[1] & 0xFFFF, two[1] >> 16, pixels + 4 * i);
    }
    kPlainGreyKernels.lookUp(words + 2 * i, pixels + 4 * i, count - i, entries);
}

void LookUp12(const uint8_t* packed, uint8_t* pixels, size_t count, const uint32_t* entries)
{
    for (; count >= 5; count -= 4, packed += 6, pixels += 16)  // 6 bytes, and the second load takes another
    {
        uint32_t two[2];
        std::memcpy(&two[0], packed, 4);
        std::memcpy(&two[1], packed + 3, 4);
        StoreEntries(entries, two[0] & 0xFFF, two[0] >> 12 & 0xFFF, two[1] & 0xFFF, two[1] >> 12 & 0xFFF,
                     pixels);
    }
    kPlainGreyKernels.lookUp12(packed, pixels, count, entries);
}
}  // namespace

void SelectSse2GreyKernels(GreyKernels* kernels)
{
    *kernels = {&Ramp, &Ramp12, &LookUp, &LookUp12};
}
}  // namespace talv
