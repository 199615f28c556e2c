#include "codecs/jpeg/huffman_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace talv::jpeg {
namespace {
/// Calls `visit(code, length, symbol)` for every code in ascending order (T.81 Annex C).
template <typename Visit>
void ForEachCode(const HuffmanCounts& counted, Visit visit)
{
    uint32_t code = 0;
    int index = 0;
    for (int length = 1; length <= 16; ++length, code <<= 1)
        for (int i = 0; i < counted.counts[length]; ++i) visit(code++, length, counted.symbols[index++]);
}

// Entries of one code for every value of its extra bits: `finish(value)` gives the entry without its length.
template <typename Finish>
void FillFinished(uint32_t* look, int lookBits, uint32_t code, int length, int extra, Finish finish)
{
    const int spare = lookBits - length - extra;
    uint32_t* out = look + (code << (lookBits - length));
    for (uint32_t raw = 0; raw < 1u << extra; ++raw, out += 1u << spare)
        std::fill_n(out, 1u << spare, finish(Extend(raw, extra)) | static_cast<uint32_t>(length + extra));
}
}  // namespace

int ReadHuffmanCounts(const uint8_t* bytes, int64_t size, HuffmanCounts* counted)
{
    if (size < 16) return 0;
    int total = 0;
    uint32_t code = 0;
    for (int length = 1; length <= 16; ++length) {
        const int count = bytes[length - 1];
        total += count;
        code = code * 2 + static_cast<uint32_t>(count);
        if (code > 1u << length) return 0;
        code = std::min(code, 1u << length);
    }
    // `code` above is not the code itself but the codes used up, so a full tree stays full.
    if (total > 256 || size < 16 + total) return 0;
    *counted = HuffmanCounts{};
    std::memcpy(counted->counts + 1, bytes, 16);
    std::memcpy(counted->symbols, bytes + 16, static_cast<size_t>(total));
    counted->symbolCount = total;
    counted->defined = true;
    return 16 + total;
}

void SymbolTable::Build(const HuffmanCounts& from, bool forDc)
{
    if (counted.defined && finishedDc == forDc && counted == from) return;
    counted = from;
    finishedDc = forDc;
    std::fill(std::begin(look), std::end(look), kUnfinished);
    std::fill(std::begin(limit), std::end(limit), 0u);
    int seen[17] = {};
    int index = 0;
    ForEachCode(counted, [&](uint32_t code, int length, int symbol) {
        if (seen[length]++ == 0) symbolOffset[length] = index - static_cast<int32_t>(code);
        limit[length] = (code + 1) << (16 - length);
        ++index;
        if (length > kLookBits) return;
        const int extra = forDc ? symbol : symbol & 15;
        if (extra > 15 || length + extra > kLookBits) {
            std::fill_n(look + (code << (kLookBits - length)), 1u << (kLookBits - length),
                        kUnfinished | static_cast<uint32_t>(length) | static_cast<uint32_t>(symbol) << 16);
            return;
        }
        uint32_t run = forDc ? 0 : static_cast<uint32_t>(symbol >> 4);
        if (!forDc && extra == 0 && run < 15) run = 64;
        FillFinished(look, kLookBits, code, length, extra,
                     [run](int32_t value) { return run << 8 | static_cast<uint32_t>(value) << 16; });
    });
}

int SymbolTable::Find(uint32_t window, int* symbol) const
{
    for (int length = 1; length <= 16; ++length) {
        if (window >= limit[length]) continue;
        *symbol = counted.symbols[static_cast<int32_t>(window >> (16 - length)) + symbolOffset[length]];
        return length;
    }
    return 0;
}

void DifferenceTable::Build(const HuffmanCounts& from, int bitsToLook)
{
    if (lookBits == bitsToLook && symbols.counted.defined && symbols.counted == from) return;
    symbols.Build(from, true);
    lookBits = bitsToLook;
    std::fill_n(look, 1u << lookBits, SymbolTable::kUnfinished);
    ForEachCode(from, [&](uint32_t code, int length, int symbol) {
        if (length > lookBits) return;
        if (symbol > 15 || length + symbol > lookBits) {
            std::fill_n(look + (code << (lookBits - length)), 1u << (lookBits - length),
                        SymbolTable::kUnfinished | static_cast<uint32_t>(length) |
                            static_cast<uint32_t>(symbol) << 16);
            return;
        }
        FillFinished(look, lookBits, code, length, symbol,
                     [](int32_t value) { return static_cast<uint32_t>(value) << 16; });
    });
}
}  // namespace talv::jpeg
