#include "codecs/jpeg/huffman_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

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

void SymbolTable::Build(const HuffmanCounts& from, SymbolUse forUse)
{
    if (counted.defined && use == forUse && counted == from) return;
    counted = from;
    use = forUse;
    uint32_t code = 0;
    int32_t index = 0;
    limit[0] = 0;
    symbolOffset[0] = 0;
    for (int length = 1; length <= 16; ++length, code <<= 1) {
        symbolOffset[length] = index - static_cast<int32_t>(code);
        code += counted.counts[length];
        index += counted.counts[length];
        limit[length] = code << (16 - length);
    }
    uint32_t* end = look;  // of what the codes that fit take up, in ascending order
    ForEachCode(counted, [&](uint32_t first, int length, int symbol) {
        if (length > kLookBits) return;
        end = look + ((first + 1) << (kLookBits - length));
        const bool dc = use == SymbolUse::dc;
        const int extra = dc ? symbol : symbol & 15;
        const bool ends = !dc && extra == 0 && symbol < 0xF0;
        const bool endsBlocks = ends && use == SymbolUse::progressiveAc;
        if (extra > 15 || length + extra > kLookBits || endsBlocks) {
            std::fill_n(look + (first << (kLookBits - length)), 1u << (kLookBits - length),
                        kUnfinished | static_cast<uint32_t>(length) | static_cast<uint32_t>(symbol) << 16);
            return;
        }
        const uint32_t run = dc ? 0u : ends ? 64u : static_cast<uint32_t>(symbol >> 4);
        FillFinished(look, kLookBits, first, length, extra,
                     [run](int32_t value) { return run << 8 | static_cast<uint32_t>(value) << 16; });
    });
    std::fill(end, std::end(look), kUnfinished);
}

void DifferenceTable::Build(const HuffmanCounts& from, int bitsToLook, int mostDifferences)
{
    if (lookBits == bitsToLook && most == mostDifferences && symbols.counted == from) return;
    lookBits = bitsToLook;
    most = mostDifferences;
    symbols.Build(from, SymbolUse::dc);
    struct Single
    {
        int length;  ///< 0: not finished within the look-up
        int32_t value;
    };
    const auto singles = std::make_unique_for_overwrite<Single[]>(1 << lookBits);
    std::fill_n(singles.get(), 1 << lookBits, Single{0, 0});
    ForEachCode(from, [&](uint32_t code, int length, int category) {
        if (category > 15 || length + category > lookBits) return;
        const int spare = lookBits - length - category;
        Single* out = &singles[code << (lookBits - length)];
        for (uint32_t raw = 0; raw < 1u << category; ++raw, out += 1 << spare)
            std::fill_n(out, 1 << spare, Single{length + category, Extend(raw, category)});
    });
    for (uint32_t window = 0; window < 1u << lookBits; ++window) {
        int32_t values[2] = {};
        int used = 0, count = 0;
        while (count < most) {
            const Single& next = singles[window << used & ((1u << lookBits) - 1)];
            if (next.length == 0 || used + next.length > lookBits || (count > 1 && next.value != 0)) break;
            if (count < 2) values[count] = next.value;
            ++count;
            used += next.length;
        }
        look[window] = static_cast<uint32_t>(used) | static_cast<uint32_t>(count) << 5 |
                       (static_cast<uint32_t>(values[1]) & 0x7FF) << 9 |
                       static_cast<uint32_t>(values[0]) << 20;
    }
}
}  // namespace talv::jpeg
