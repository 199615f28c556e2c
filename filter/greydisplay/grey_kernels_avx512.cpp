#include <immintrin.h>

#include <algorithm>
#include <array>

#include "filter/greydisplay/raised_ramp.h"

// Masked loads and stores take the last pixels of a row.

namespace talv {
namespace {
constexpr size_t kBlock = 64;  // pixels, and bytes of a register
using Pattern = std::array<uint8_t, kBlock>;

struct Constants
{
    __m512i mask, base;
    __m512 scale, offset;
};

Constants Interleave(const RaisedRamp& even, const RaisedRamp& odd, float offset)
{
    const auto words = [](uint32_t first, uint32_t second) {
        return _mm512_set1_epi32(static_cast<int32_t>(first | second << 16));
    };
    return {words(even.mask, odd.mask), words(even.base, odd.base),
            _mm512_mask_mov_ps(_mm512_set1_ps(even.scale), 0xAAAA, _mm512_set1_ps(odd.scale)),
            _mm512_set1_ps(offset)};
}

/// Levels of 16 places, as 32-bit numbers. The forms with a rounding keep the compiler from making one
/// operation of the two, whose result would not be that of the other levels. (Of the forms without a mask the
/// compiler believes that they use what nothing has set.)
inline __m512i Levels(__m512i places, const Constants& c)
{
    constexpr int32_t kNearest = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;
    constexpr __mmask16 kAll = 0xFFFF;
    const __m512 scaled =
        _mm512_maskz_mul_round_ps(kAll, _mm512_maskz_cvtepi32_ps(kAll, places), c.scale, kNearest);
    return _mm512_maskz_cvttps_epi32(kAll, _mm512_maskz_add_round_ps(kAll, scaled, c.offset, kNearest));
}

inline __m512i Levels32(__m512i samples, const Constants& c)
{
    const __m512i places = _mm512_subs_epu16(_mm512_and_si512(samples, c.mask), c.base);
    const __m512i zero = _mm512_setzero_si512();
    return _mm512_packs_epi32(Levels(_mm512_unpacklo_epi16(places, zero), c),
                              Levels(_mm512_unpackhi_epi16(places, zero), c));
}

/// The first `count` bits.
inline __mmask64 First(size_t count)
{
    return count >= 64 ? ~__mmask64{0} : (__mmask64{1} << count) - 1;
}

/// Where the level of the 16 pixels from `first` on lies once both packings have left eights of the first and
/// of the second 32 by turns.
constexpr Pattern SpreadPattern(size_t first)
{
    Pattern pattern{};
    for (size_t i = 0; i < kBlock; ++i) {
        const size_t pixel = first + i / 4;
        pattern[i] = static_cast<uint8_t>(pixel % 32 / 8 * 16 + pixel / 32 * 8 + pixel % 8);
    }
    return pattern;
}

template <size_t first>
inline void StoreQuarter(__m512i levels, uint8_t* pixels, size_t count)
{
    static constexpr Pattern kPattern = SpreadPattern(first);
    constexpr __mmask64 kColours = 0x7777777777777777;
    const __m512i shown =
        _mm512_maskz_permutexvar_epi8(kColours, _mm512_loadu_si512(kPattern.data()), levels);
    if (count >= first + 16)
        _mm512_storeu_si512(pixels + 4 * first, shown);
    else if (count > first)
        _mm512_mask_storeu_epi32(pixels + 4 * first, static_cast<__mmask16>(First(count - first)), shown);
}

/// Up to 64 pixels. Both packings saturate: the levels end at black and white.
inline void StoreLevels(__m512i first, __m512i second, uint8_t* pixels, size_t count)
{
    const __m512i levels = _mm512_packus_epi16(first, second);
    StoreQuarter<0>(levels, pixels, count);
    StoreQuarter<16>(levels, pixels, count);
    StoreQuarter<32>(levels, pixels, count);
    StoreQuarter<48>(levels, pixels, count);
}

inline __m512i LoadFirst(const uint8_t* bytes, size_t count)
{
    return _mm512_maskz_loadu_epi8(First(count), bytes);
}

void Ramp(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const RaisedRamp all = RaiseRamp(ramp, 0xFFFF, 0);
    const Constants c = Interleave(all, all, ramp.offset);
    for (; count >= kBlock; count -= kBlock, words += 2 * kBlock, pixels += 4 * kBlock)
        StoreLevels(Levels32(_mm512_loadu_si512(words), c), Levels32(_mm512_loadu_si512(words + 64), c),
                    pixels, kBlock);
    if (count == 0) return;
    const size_t front = std::min(2 * count, kBlock);
    StoreLevels(Levels32(LoadFirst(words, front), c),
                Levels32(LoadFirst(words + front, 2 * count - front), c), pixels, count);
}

/// The first `count` of 48 bytes as 32 words: even samples have four bits of the next one on top, odd ones
/// stand four bits too high above four bits of the one before.
inline __m512i Spread12(const uint8_t* packed, size_t count)
{
    static constexpr Pattern kPairs = [] {
        Pattern pattern{};
        for (size_t i = 0; i < kBlock; ++i) pattern[i] = static_cast<uint8_t>(i / 4 * 3 + (i % 4 + 1) / 2);
        return pattern;
    }();
    return _mm512_maskz_permutexvar_epi8(First(kBlock), _mm512_loadu_si512(kPairs.data()),
                                         LoadFirst(packed, count));
}

void Ramp12(const uint8_t* packed, uint8_t* pixels, size_t count, const GreyRamp& ramp)
{
    const Constants c = Interleave(RaiseRamp(ramp, 0x0FFF, 0), RaiseRamp(ramp, 0xFFF0, 4), ramp.offset);
    for (; count >= kBlock; count -= kBlock, packed += 96, pixels += 4 * kBlock)
        StoreLevels(Levels32(Spread12(packed, 48), c), Levels32(Spread12(packed + 48, 48), c), pixels,
                    kBlock);
    if (count == 0) return;
    const size_t bytes = (3 * count + 1) / 2, front = std::min<size_t>(bytes, 48);
    StoreLevels(Levels32(Spread12(packed, front), c), Levels32(Spread12(packed + front, bytes - front), c),
                pixels, count);
}
}  // namespace

void SelectAvx512GreyKernels(GreyKernels* kernels)
{
    kernels->ramp = &Ramp;
    kernels->ramp12 = &Ramp12;
}
}  // namespace talv
