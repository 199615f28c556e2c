#pragma once

#include <cstdint>

#include "codecs/jpeg/bit_reader.h"

namespace talv::jpeg {
/// One Huffman table as a DHT segment defines it (T.81 B.2.4.2). A lossless table may hold 17 categories.
struct HuffmanCounts
{
    uint8_t counts[17] = {};  ///< codes of each length; [0] unused
    uint8_t symbols[256] = {};
    int symbolCount = 0;
    bool defined = false;

    bool operator==(const HuffmanCounts&) const = default;
};

/// Reads a table out of `size` bytes: 16 counts and the symbols. Returns the bytes used, 0 when they are too
/// few, name more than 256 symbols, or more codes than a length has room for.
int ReadHuffmanCounts(const uint8_t* bytes, int64_t size, HuffmanCounts* counted);

/// What symbols stand for.
enum class SymbolUse
{
    dc,             ///< categories of differences
    ac,             ///< runs and categories; 0 ends the block
    progressiveAc,  ///< the same, but runs of blocks without a coefficient are never finished
};

/// Symbols by the next `kLookBits` bits. An entry whose code and extra bits fit holds the finished
/// coefficient:
///
///   bits 0..5    bits used in all
///   bit 7        not finished: bits 0..5 are those of the code (0: longer than the look-up), bits 16..23 the
///                symbol
///   bits 8..14   coefficients to skip; 64 for the end of the block
///   bits 16..31  the coefficient, signed
///
/// A zero run of 16 is 15 skipped and a zero stored.
struct SymbolTable
{
    static constexpr int kLookBits = 11;
    static constexpr uint32_t kUnfinished = 0x80;

    HuffmanCounts counted;  ///< what the table was built from
    SymbolUse use = SymbolUse::dc;
    uint32_t look[1 << kLookBits];
    uint32_t limit[17];        ///< by length: codes at the top of 16 bits below this value are no longer
    int32_t symbolOffset[17];  ///< by length: index of the first symbol minus its code

    void Build(const HuffmanCounts& from, SymbolUse forUse);

    /// Length (1 to 16) and symbol of a code by its 16-bit window; length 0 for no code. Without branches:
    /// lengths are hard to foresee.
    inline __attribute__((always_inline)) int Find(uint32_t window, int* symbol) const
    {
        int length = 1;
        for (int shorter = 1; shorter < 16; ++shorter) length += window >= limit[shorter] ? 1 : 0;
        const auto index = static_cast<int32_t>(window >> (16 - length)) + symbolOffset[length];
        *symbol = counted.symbols[index & 0xFF];
        return window < limit[16] ? length : 0;
    }
};

/// Differences of the lossless process (T.81 H.1.2.2) by the next `lookBits` bits: as many as fit, at most
/// `most`, of which all but the first two are zeros.
///
///   bits 0..4    bits used in all; 0: not even one fits
///   bits 5..8    differences
///   bits 9..19   the second one, signed
///   bits 20..31  the first one, signed
struct DifferenceTable
{
    static constexpr int kMaxLookBits = 12;
    static constexpr int kMost = 8;

    SymbolTable symbols;  ///< each difference for itself
    int lookBits = 0;     ///< up to `kMaxLookBits`; building costs more than decoding a small picture
    int most = 0;         ///< up to `kMost`
    uint32_t look[1 << kMaxLookBits];

    void Build(const HuffmanCounts& from, int bitsToLook, int mostDifferences);
};
}  // namespace talv::jpeg
