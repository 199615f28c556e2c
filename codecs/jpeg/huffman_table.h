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

/// Symbols of a DCT process by the next `kLookBits` bits. An entry whose code and extra bits fit holds the
/// finished coefficient:
///
///   bits 0..5    bits used in all
///   bit 7        not finished: bits 0..5 are those of the code (0: longer than the look-up), bits 16..23 the
///   symbol bits 8..14   coefficients to skip; 64 for the end of the block bits 16..31  the coefficient,
///   signed
///
/// A zero run of 16 is 15 skipped and a zero stored.
struct SymbolTable
{
    static constexpr int kLookBits = 10;
    static constexpr uint32_t kUnfinished = 0x80;

    HuffmanCounts counted;    ///< what the table was built from
    bool finishedDc = false;  ///< built for DC differences
    uint32_t look[1 << kLookBits];
    uint32_t limit[18];        ///< by length: codes at the top of 16 bits below this value are that short
    int32_t symbolOffset[17];  ///< by length: index of the first symbol minus its code

    void Build(const HuffmanCounts& from, bool forDc);
    /// Length (1 to 16) and symbol of a code by its 16-bit window; length 0 for no code.
    int Find(uint32_t window, int* symbol) const;
};

/// Differences of the lossless process (T.81 H.1.2.2) by the next `kLookBits` bits: the difference in
/// bits 16..31, the bits used in 0..5, or `SymbolTable::kUnfinished`.
struct DifferenceTable
{
    static constexpr int kMaxLookBits = 13;

    SymbolTable symbols;
    int lookBits = 0;
    uint32_t look[1 << kMaxLookBits];

    void Build(const HuffmanCounts& from, int bitsToLook);
};
}  // namespace talv::jpeg
