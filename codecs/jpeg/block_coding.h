#pragma once

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
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

/// A DC difference (T.81 F.2.2.1).
inline __attribute__((always_inline)) int32_t TakeDifference(BitReader& reader, const SymbolTable& table)
{
    if (reader.count < 32) reader.Refill();
    const uint32_t entry = table.look[reader.Peek(SymbolTable::kLookBits)];
    if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
        reader.Skip(static_cast<int>(entry & 0x3F));
        return static_cast<int32_t>(entry) >> 16;
    }
    const int category = TakeSymbol(reader, table, entry);
    if (category < 0 || category > 15) {
        reader.Abandon();
        return 0;
    }
    return Extend(reader.Take(category), category);
}

/// One block of the sequential process (T.81 F.2.2). `put(k, value)` receives the AC coefficients by their
/// place in the stream. Returns the DC coefficient.
template <typename Put>
inline __attribute__((always_inline)) int32_t TakeBlock(BitReader& reader, const SymbolTable& dc,
                                                        const SymbolTable& ac, int32_t& prediction, Put put)
{
    // Differences of a hostile stream may drift beyond any coefficient; they wrap.
    prediction = static_cast<int32_t>(static_cast<uint32_t>(prediction) +
                                      static_cast<uint32_t>(TakeDifference(reader, dc)));
    int k = 1;
    do {
        if (reader.count < 32) reader.Refill();
        const uint32_t entry = ac.look[reader.Peek(SymbolTable::kLookBits)];
        if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
            reader.Skip(static_cast<int>(entry & 0x3F));
            k += static_cast<int>(entry >> 8 & 0x7F);
            if (k > 63) break;
            put(k++, static_cast<int16_t>(entry >> 16));
            continue;
        }
        const int symbol = TakeSymbol(reader, ac, entry);
        if (symbol < 0) {
            reader.Abandon();
            break;
        }
        const int extra = symbol & 15;
        if (extra == 0) {
            if (symbol != 0xF0) break;
            k += 16;
            continue;
        }
        k += symbol >> 4;
        const int32_t value = Extend(reader.Take(extra), extra);
        if (k > 63) break;
        put(k++, static_cast<int16_t>(value));
    } while (k < 64);
    return prediction;
}

/// Visits the blocks of a scan in the order of the stream, restarting where the interval asks for it, as far
/// down as the destination needs them: `visit(component, index of the block in its store)`. With a component
/// of its own a scan leaves out the blocks that only fill up MCUs (T.81 A.2.2).
template <typename Visit>
void VisitStoredBlocks(JpegDecoder* d, BitReader& reader, Visit visit)
{
    const auto beginUnit = [d, &reader]() {
        if (d->restartInterval == 0) return;
        if (d->unitsToRestart == 0) {
            d->reader = reader;
            Restart(d);
            reader = d->reader;
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
}  // namespace talv::jpeg
