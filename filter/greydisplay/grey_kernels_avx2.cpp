#include <immintrin.h>

#include "filter/greydisplay/grey_kernels.h"

namespace talv {
namespace {
/// Levels of eight places, as 32-bit numbers.
__m256i Levels(__m256i places, __m256 scale, __m256 offset)
{
    return _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(places), scale), offset));
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int32_t>(ramp.shift));
    const __m256i mask = _mm256_set1_epi16(static_cast<int16_t>(ramp.mask));
    const __m256i base = _mm256_set1_epi16(static_cast<int16_t>(ramp.base));
    const __m256i zero = _mm256_setzero_si256(), white = _mm256_set1_epi16(255);
    const __m256 scale = _mm256_set1_ps(ramp.scale), offset = _mm256_set1_ps(ramp.offset);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        // Unpacking and packing work within the halves. With the quarters as 0 2 1 3 the first unpacking
        // leaves 0..7 and 8..15, and so does the last.
        const __m256i stored = _mm256_permute4x64_epi64(
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words + 2 * i)), _MM_SHUFFLE(3, 1, 2, 0));
        const __m256i places =
            _mm256_subs_epu16(_mm256_and_si256(_mm256_srl_epi16(stored, shift), mask), base);
        const __m256i first = Levels(_mm256_unpacklo_epi16(places, zero), scale, offset);
        const __m256i second = Levels(_mm256_unpackhi_epi16(places, zero), scale, offset);
        const __m256i levels =
            _mm256_min_epi16(_mm256_max_epi16(_mm256_packs_epi32(first, second), zero), white);
        const __m256i blueGreen = _mm256_or_si256(levels, _mm256_slli_epi16(levels, 8));
        auto* target = reinterpret_cast<__m256i*>(pixels + 4 * i);
        _mm256_storeu_si256(target, _mm256_unpacklo_epi16(blueGreen, levels));
        _mm256_storeu_si256(target + 1, _mm256_unpackhi_epi16(blueGreen, levels));
    }
    kPlainGreyKernels.ramp(words + 2 * i, pixels + 4 * i, count - i, ramp);
}
}  // namespace

void SelectAvx2GreyKernels(GreyKernels* kernels)
{
    kernels->ramp = &Ramp;  // gathered look-ups are slower than plain ones
}
}  // namespace talv
