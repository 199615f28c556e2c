#include <emmintrin.h>

#include "filter/greydisplay/grey_kernels.h"

namespace talv {
namespace {
/// Levels of four places, as 32-bit numbers.
__m128i Levels(__m128i places, __m128 scale, __m128 offset)
{
    return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(places), scale), offset));
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int32_t>(ramp.shift));
    const __m128i mask = _mm_set1_epi16(static_cast<int16_t>(ramp.mask));
    const __m128i base = _mm_set1_epi16(static_cast<int16_t>(ramp.base));
    const __m128i zero = _mm_setzero_si128(), white = _mm_set1_epi16(255);
    const __m128 scale = _mm_set1_ps(ramp.scale), offset = _mm_set1_ps(ramp.offset);
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m128i stored = _mm_loadu_si128(reinterpret_cast<const __m128i*>(words + 2 * i));
        const __m128i places = _mm_subs_epu16(_mm_and_si128(_mm_srl_epi16(stored, shift), mask), base);
        const __m128i first = Levels(_mm_unpacklo_epi16(places, zero), scale, offset);
        const __m128i second = Levels(_mm_unpackhi_epi16(places, zero), scale, offset);
        const __m128i levels = _mm_min_epi16(_mm_max_epi16(_mm_packs_epi32(first, second), zero), white);
        const __m128i blueGreen = _mm_or_si128(levels, _mm_slli_epi16(levels, 8));
        auto* target = reinterpret_cast<__m128i*>(pixels + 4 * i);
        _mm_storeu_si128(target, _mm_unpacklo_epi16(blueGreen, levels));
        _mm_storeu_si128(target + 1, _mm_unpackhi_epi16(blueGreen, levels));
    }
    kPlainGreyKernels.ramp(words + 2 * i, pixels + 4 * i, count - i, ramp);
}
}  // namespace

void SelectSse2GreyKernels(GreyKernels* kernels)
{
    kernels->ramp = &Ramp;
}
}  // namespace talv
