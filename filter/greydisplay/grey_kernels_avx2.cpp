#include <immintrin.h>

#include "filter/greydisplay/raised_ramp.h"

namespace talv {
namespace {
constexpr size_t kBlock = 32;  // pixels

struct Constants
{
    __m256i mask, base;
    __m256 scale, offset;
};

Constants Interleave(const RaisedRamp& even, const RaisedRamp& odd, float offset)
{
    const auto words = [](uint32_t first, uint32_t second) {
        return _mm256_set1_epi32(static_cast<int32_t>(first | second << 16));
    };
    return {words(even.mask, odd.mask), words(even.base, odd.base),
            _mm256_setr_ps(even.scale, odd.scale, even.scale, odd.scale, even.scale, odd.scale, even.scale,
                           odd.scale),
            _mm256_set1_ps(offset)};
}

__m128i Load(const uint8_t* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

/// Levels of eight places, as 32-bit numbers.
__m256i Levels(__m256i places, const Constants& c)
{
    return _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(places), c.scale), c.offset));
}

/// Levels of 16 samples as words: 0 to 3 and 8 to 11 in the first half.
__m256i Levels16(__m256i samples, const Constants& c)
{
    // Unpacking works within the halves; with the quarters as 0 2 1 3 it leaves 0 to 7 and 8 to 15.
    const __m256i quarters = _mm256_permute4x64_epi64(samples, _MM_SHUFFLE(3, 1, 2, 0));
    const __m256i places = _mm256_subs_epu16(_mm256_and_si256(quarters, c.mask), c.base);
    const __m256i zero = _mm256_setzero_si256();
    return _mm256_packs_epi32(Levels(_mm256_unpacklo_epi16(places, zero), c),
                              Levels(_mm256_unpackhi_epi16(places, zero), c));
}

/// Both packings saturate: the levels end at black and white. The first half now holds fours of pixels 0, 2,
/// 4 and 6, the second 1, 3, 5 and 7, so that one shuffle each makes eight neighbours.
void StoreLevels(__m256i first, __m256i second, uint8_t* pixels)
{
    const __m256i levels = _mm256_packus_epi16(first, second);
    const __m256i spread =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 0, 0, -1, 1, 1, 1, -1, 2, 2, 2, -1, 3, 3, 3, -1));
    const __m256i nextFour = _mm256_set1_epi32(0x00040404);
    auto* target = reinterpret_cast<__m256i*>(pixels);
    __m256i pick = spread;
    for (int32_t k = 0; k < 4; ++k, pick = _mm256_add_epi8(pick, nextFour))
        _mm256_storeu_si256(target + k, _mm256_shuffle_epi8(levels, pick));
}

void RampBlock(const uint8_t* words, uint8_t* pixels, const Constants& c)
{
    const auto* samples = reinterpret_cast<const __m256i*>(words);
    StoreLevels(Levels16(_mm256_loadu_si256(samples), c), Levels16(_mm256_loadu_si256(samples + 1), c),
                pixels);
}

/// 24 bytes as 16 words: even samples have four bits of the next one on top, odd ones stand four bits too
/// high above four bits of the one before.
__m256i Spread12(const uint8_t* packed)
{
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(Load(packed)), Load(packed + 8), 1);
    const __m256i pairs = _mm256_setr_epi8(0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11,  //
                                           4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11, 12, 13, 14, 14, 15);
    return _mm256_shuffle_epi8(bytes, pairs);
}

void Ramp12Block(const uint8_t* packed, uint8_t* pixels, const Constants& c)
{
    StoreLevels(Levels16(Spread12(packed), c), Levels16(Spread12(packed + 24), c), pixels);
}

/// All blocks of a row, the last one over the end of the one before; returns the pixels done. `halves` bytes
/// hold two samples.
template <void (*block)(const uint8_t*, uint8_t*, const Constants&)>
size_t RampBlocks(const uint8_t* samples, size_t halves, uint8_t* pixels, size_t count, const Constants& c)
{
    if (count < kBlock) return 0;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) block(samples + i / 2 * halves, pixels + 4 * i, c);
    const size_t last = (count - kBlock) & ~size_t{1};
    if (last + kBlock > i) block(samples + last / 2 * halves, pixels + 4 * last, c);
    return last + kBlock;
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const RaisedRamp all = RaiseRamp(ramp, 0xFFFF, 0);
    const size_t done = RampBlocks<RampBlock>(words, 4, pixels, count, Interleave(all, all, ramp.offset));
    kPlainGreyKernels.ramp(words + 2 * done, pixels + 4 * done, count - done, ramp);
}

void Ramp12(const uint8_t* packed, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const Constants c = Interleave(RaiseRamp(ramp, 0x0FFF, 0), RaiseRamp(ramp, 0xFFF0, 4), ramp.offset);
    const size_t done = RampBlocks<Ramp12Block>(packed, 3, pixels, count, c);
    kPlainGreyKernels.ramp12(packed + done / 2 * 3, pixels + 4 * done, count - done, ramp);
}
}  // namespace

void SelectAvx2GreyKernels(GreyKernels* kernels)
{
    kernels->ramp = &Ramp;  // gathered look-ups are slower than plain ones
    kernels->ramp12 = &Ramp12;
}
}  // namespace talv
