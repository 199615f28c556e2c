#include <immintrin.h>

#include <array>

#include "raster/row_kernels.h"

// Look-ups in tables of 256 bytes: four registers hold a table, and one instruction picks 64 bytes at once
// out of two registers by the low seven bits of each index; the eighth bit chooses the pair.

namespace talv {
namespace {
constexpr size_t kBlock = 64;  // pixels, and bytes of a register
using Pattern = std::array<uint8_t, kBlock>;

__m512i Load(const void* bytes)
{
    return _mm512_loadu_si512(bytes);
}

/// One channel of 256 entries.
struct ChannelTable
{
    __m512i parts[4];
};

inline ChannelTable TakeChannel(const uint8_t (*entries)[4], size_t channel)
{
    // Bytes 0, 4, 8, ... 252: the low seven bits count for 32 entries, which fill two registers.
    static constexpr Pattern kFourths = [] {
        Pattern pattern{};
        for (size_t i = 0; i < kBlock; ++i) pattern[i] = static_cast<uint8_t>(4 * i);
        return pattern;
    }();
    const __m512i pick = _mm512_add_epi8(Load(kFourths.data()), _mm512_set1_epi8(static_cast<char>(channel)));
    ChannelTable table;
    for (size_t part = 0; part < 4; ++part) {
        const uint8_t* at = entries[kBlock * part];
        const __m512i low = _mm512_permutex2var_epi8(Load(at), pick, Load(at + 64));
        const __m512i high = _mm512_permutex2var_epi8(Load(at + 128), pick, Load(at + 192));
        table.parts[part] = _mm512_mask_blend_epi8(0xFFFFFFFF00000000, low, high);
    }
    return table;
}

inline __m512i LookUp(const ChannelTable& table, __m512i indices)
{
    const __m512i low = _mm512_permutex2var_epi8(table.parts[0], indices, table.parts[1]);
    const __m512i high = _mm512_permutex2var_epi8(table.parts[2], indices, table.parts[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(indices), low, high);
}

/// Where byte `block` * 64 + i of 64 interleaved pixels comes from: the pixel, plus 64 for the second
/// channel.
constexpr Pattern InterleavePattern(size_t block)
{
    Pattern pattern{};
    for (size_t i = 0; i < kBlock; ++i) {
        const size_t at = kBlock * block + i;
        pattern[i] = static_cast<uint8_t>(at / 3 + (at % 3 == 1 ? kBlock : 0));
    }
    return pattern;
}

/// The bytes of the third channel.
constexpr uint64_t ThirdChannel(size_t block)
{
    uint64_t mask = 0;
    for (size_t i = 0; i < kBlock; ++i)
        if ((kBlock * block + i) % 3 == 2) mask |= uint64_t{1} << i;
    return mask;
}

template <size_t block>
inline void StoreInterleaved(__m512i first, __m512i second, __m512i third, uint8_t* target)
{
    static constexpr Pattern kPattern = InterleavePattern(block);
    const __m512i pick = Load(kPattern.data());
    const __m512i mixed = _mm512_permutex2var_epi8(first, pick, second);
    _mm512_storeu_si512(target + kBlock * block,
                        _mm512_mask_permutexvar_epi8(mixed, ThirdChannel(block), pick, third));
}

void LookUp24(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    size_t i = 0;
    if (pixels >= kBlock) {
        const ChannelTable first = TakeChannel(entries, 0), second = TakeChannel(entries, 1),
                           third = TakeChannel(entries, 2);
        for (; i + kBlock <= pixels; i += kBlock) {
            const __m512i x = Load(indices + i);
            const __m512i a = LookUp(first, x), b = LookUp(second, x), c = LookUp(third, x);
            uint8_t* out = target + 3 * i;
            StoreInterleaved<0>(a, b, c, out);
            StoreInterleaved<1>(a, b, c, out);
            StoreInterleaved<2>(a, b, c, out);
        }
    }
    kPlainRowKernels.lookUp24(indices + i, entries, target + 3 * i, pixels - i);
}

void LookUp32(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels)
{
    size_t i = 0;
    if (pixels >= kBlock) {
        // The channels are joined within quarters of the registers: every quarter gets each fourth four
        // pixels.
        const __m512i spread = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        const ChannelTable first = TakeChannel(entries, 0), second = TakeChannel(entries, 1),
                           third = TakeChannel(entries, 2), fourth = TakeChannel(entries, 3);
        for (; i + kBlock <= pixels; i += kBlock) {
            const __m512i x = _mm512_maskz_permutexvar_epi32(0xFFFF, spread, Load(indices + i));
            const __m512i a = LookUp(first, x), b = LookUp(second, x), c = LookUp(third, x),
                          d = LookUp(fourth, x);
            const __m512i lowFront = _mm512_unpacklo_epi8(a, b), highFront = _mm512_unpackhi_epi8(a, b);
            const __m512i lowBack = _mm512_unpacklo_epi8(c, d), highBack = _mm512_unpackhi_epi8(c, d);
            uint8_t* out = target + 4 * i;
            _mm512_storeu_si512(out, _mm512_unpacklo_epi16(lowFront, lowBack));
            _mm512_storeu_si512(out + 64, _mm512_unpackhi_epi16(lowFront, lowBack));
            _mm512_storeu_si512(out + 128, _mm512_unpacklo_epi16(highFront, highBack));
            _mm512_storeu_si512(out + 192, _mm512_unpackhi_epi16(highFront, highBack));
        }
    }
    kPlainRowKernels.lookUp32(indices + i, entries, target + 4 * i, pixels - i);
}
}  // namespace

void SelectAvx512RowKernels(RowKernels* kernels)
{
    kernels->lookUp24 = LookUp24;
    kernels->lookUp32 = LookUp32;
}
}  // namespace talv
