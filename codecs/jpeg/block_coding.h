#pragma once

#include "codecs/jpeg/jpeg_decoder.h"

// Included by files of different instruction sets: everything here is local to them.
namespace talv::jpeg {
namespace {
/// Maps of a block's coefficients in the order of the stream, the first one in the highest bit.
inline uint64_t MapBit(int k)
{
    return uint64_t{1} << (63 - k);
}
/// Coefficients `first` to `last`.
inline uint64_t MapBand(int first, int last)
{
    return ~uint64_t{0} >> first & ~uint64_t{0} << (63 - last);
}
/// The 4 by 4 coefficients of lowest frequency.
inline constexpr uint64_t kLowMap = [] {
    uint64_t map = 0;
    for (int k : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 17, 18, 24}) map |= uint64_t{1} << (63 - k);
    return map;
}();

/// A symbol whose code and extra bits do not fit the look-up. -1: no such code.
inline int TakeSymbol(BitReader& reader, const SymbolTable& table, uint32_t entry)
{
    int symbol = static_cast<int>(entry >> 16 & 0xFF);
    int length = static_cast<int>(entry & 0x3F);
    if (length == 0) length = table.Find(reader.Peek(16), &symbol);
    if (length == 0) return -1;
    reader.Skip(length);
    return symbol;
}

/// A difference that is not finished in the look-up. `most`: the largest category there is; 16 is 32768 and
/// has no extra bits (T.81 H.1.2.2).
__attribute__((noinline)) inline int32_t TakeLongDifference(BitReader& reader, const SymbolTable& table,
                                                            uint32_t entry, int most)
{
    const int category = TakeSymbol(reader, table, entry);
    if (category < 0 || category > most) {
        reader.Abandon();
        return 0;
    }
    return category == 16 ? 32768 : Extend(reader.Take(category), category);
}

/// A DC difference (T.81 F.2.2.1), or a lossless one. There must be 32 bits.
inline __attribute__((always_inline)) int32_t TakeDifference(BitReader& reader, const SymbolTable& table,
                                                             int most = 15)
{
    const uint32_t entry = table.look[reader.Peek(SymbolTable::kLookBits)];
    if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
        reader.Skip(static_cast<int>(entry & 0x3F));
        return static_cast<int32_t>(entry) >> 16;
    }
    return reader.OnCopy([&](BitReader& copy) { return TakeLongDifference(copy, table, entry, most); });
}

/// One block of the sequential process (T.81 F.2.2). `put(k, value)` receives the AC coefficients by their
/// place in the stream. Returns the DC coefficient.
template <typename Put>
inline __attribute__((always_inline)) int32_t TakeBlock(BitReader& reader, const SymbolTable& dc,
                                                        const SymbolTable& ac, int32_t& prediction, Put put)
{
    reader.Refill();
    // Differences of a hostile stream may drift beyond any coefficient; they wrap.
    prediction = static_cast<int32_t>(static_cast<uint32_t>(prediction) +
                                      static_cast<uint32_t>(TakeDifference(reader, dc)));
    int k = 1;
    for (;;) {
        if (reader.count < 32) reader.Refill();
        const uint32_t entry = ac.look[reader.Peek(SymbolTable::kLookBits)];
        if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
            reader.Skip(static_cast<int>(entry & 0x3F));
            k += static_cast<int>(entry >> 8 & 0x7F);
            if (k > 63) return prediction;
            put(k, static_cast<int16_t>(entry >> 16));
            if (++k > 63) return prediction;
            continue;
        }
        const int symbol = TakeSymbol(reader, ac, entry);
        if (symbol < 0) {
            reader.Abandon();
            return prediction;
        }
        const int extra = symbol & 15;
        if (extra == 0) {
            if (symbol != 0xF0) return prediction;
            k += 16;
            if (k > 63) return prediction;
            continue;
        }
        k += symbol >> 4;
        const int32_t value = Extend(reader.Take(extra), extra);
        if (k > 63) return prediction;
        put(k, static_cast<int16_t>(value));
        if (++k > 63) return prediction;
    }
}

/// Visits the blocks of a scan in the order of the stream, restarting where the interval asks for it, as far
/// down as the destination needs them: `visit(component, index of the block in its store)`. With a component
/// of its own a scan leaves out the blocks that only fill up MCUs (T.81 A.2.2). A restart ends the
/// end-of-band run.
template <typename Visit>
void VisitStoredBlocks(JpegDecoder* d, BitReader& reader, uint32_t* endOfBandRun, Visit visit)
{
    const auto beginUnit = [d, &reader, endOfBandRun]() {
        if (d->restartInterval == 0) return;
        if (d->unitsToRestart == 0) {
            d->reader = reader;
            Restart(d);
            reader = d->reader;
            *endOfBandRun = 0;
        }
        --d->unitsToRestart;
    };
    if (d->scan.count == 1) {
        Component& c = d->components[d->scan.component[0]];
        const int rows = c.unitsDown < d->neededMcuRows * c.v ? c.unitsDown : d->neededMcuRows * c.v;
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < c.unitsAcross; ++x) {
                beginUnit();
                visit(c, static_cast<ptrdiff_t>(y) * c.unitsPerRow + x);
            }
        }
        return;
    }
    for (int row = 0; row < d->neededMcuRows; ++row) {
        for (int mcu = 0; mcu < d->mcusAcross; ++mcu) {
            beginUnit();
            for (int i = 0; i < d->scan.count; ++i) {
                Component& c = d->components[d->scan.component[i]];
                for (int v = 0; v < c.v; ++v)
                    for (int h = 0; h < c.h; ++h)
                        visit(c, static_cast<ptrdiff_t>(row * c.v + v) * c.unitsPerRow + mcu * c.h + h);
            }
        }
    }
}
template <typename Visit>
void VisitStoredBlocks(JpegDecoder* d, BitReader& reader, Visit visit)
{
    uint32_t endOfBandRun = 0;
    VisitStoredBlocks(d, reader, &endOfBandRun, visit);
}
}  // namespace
}  // namespace talv::jpeg
