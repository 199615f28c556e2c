#pragma once

#include "codecs/jpeg/block_coding.h"

// The refining AC scan (T.81 G.1.2.3) on maps of non-zero coefficients: places are found and correction bits
// dealt out for a whole run at once. Included by files of different instruction sets: everything here is
// local to them.
namespace talv::jpeg {
/// The scan with the bit operations of the AVX2 level.
void RefineAcScanAvx2(JpegDecoder* decoder);

/// A run of 2^`exponent` blocks or more without another coefficient in the band (T.81 G.1.2.2).
inline uint32_t TakeEndOfBandRun(BitReader& reader, int exponent)
{
    return (1u << exponent) + reader.Take(exponent);
}

namespace {
struct PlainMaps
{
    static int Count(uint64_t map)
    {
        int count = 0;
        for (; map != 0; map &= map - 1) ++count;
        return count;
    }
    /// The low bits of `value` at the places of `map`, the lowest one at the lowest.
    static uint64_t Deposit(uint64_t value, uint64_t map)
    {
        uint64_t result = 0;
        for (; map != 0; map &= map - 1, value >>= 1) result |= (value & 1) != 0 ? map & (~map + 1) : 0;
        return result;
    }
    /// Bit number `index` of the bits of `map`, counted from the highest; 0 when there are fewer.
    static uint64_t Select(uint64_t map, int index)
    {
        for (; map != 0; map ^= uint64_t{1} << (63 - __builtin_clzll(map)))
            if (index-- == 0) return uint64_t{1} << (63 - __builtin_clzll(map));
        return 0;
    }
};

/// The next `count` bits, 0 to 63.
inline uint64_t TakeMany(BitReader& reader, int count)
{
    uint64_t value = 0;
    if (count > 32) {
        reader.Refill();
        value = reader.Take(16) << 16;
        value |= reader.Take(16);
        count -= 32;
    }
    if (reader.count < 32) reader.Refill();
    value = value << count | reader.bits >> 1 >> (63 - count);
    reader.Skip(count);
    return value;
}

template <typename Maps>
void RefineAcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int bit = 1 << d->scan.bitLow;
    const SymbolTable& table = d->acTables[d->components[d->scan.component[0]].acTable];
    const uint64_t wholeBand = MapBand(d->scan.spectralFirst, d->scan.spectralLast);
    uint32_t endOfBandRun = 0;
    VisitStoredBlocks(d, reader, &endOfBandRun, [&](Component& c, ptrdiff_t index) {
        const uint64_t nonZero = c.nonZero[static_cast<size_t>(index)];
        if (endOfBandRun > 0 && (nonZero & wholeBand) == 0) {
            --endOfBandRun;
            return;
        }
        if (reader.Overrun()) return;
        int16_t* coefficients = &c.coefficients[static_cast<size_t>(index) * 64];
        uint64_t band = wholeBand, corrected = 0;
        // Takes a correction bit for each coefficient in `which`.
        const auto correct = [&](uint64_t which) {
            corrected |= Maps::Deposit(TakeMany(reader, Maps::Count(which)), which);
        };
        while (band != 0 && endOfBandRun == 0) {
            reader.Refill();
            const uint32_t entry = table.look[reader.Peek(SymbolTable::kLookBits)];
            int run, value;
            if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
                // The sign of the new coefficient comes before the corrections on the way to its place.
                reader.Skip(static_cast<int>(entry & 0x3F));
                run = static_cast<int>(entry >> 8 & 0x7F);
                value = static_cast<int32_t>(entry) >> 16;
            } else {
                const int symbol = TakeSymbol(reader, table, entry);
                if (symbol < 0) {
                    reader.Abandon();
                    break;
                }
                run = symbol >> 4;
                if ((symbol & 15) == 0 && run < 15) {
                    endOfBandRun = TakeEndOfBandRun(reader, run);
                    break;
                }
                value = Extend(reader.Take(symbol & 15), symbol & 15);
            }
            const uint64_t place = Maps::Select(band & ~nonZero, run);
            const uint64_t below = place == 0 ? 0 : place - 1;
            // `place` itself is 0 so far: nothing to correct there.
            correct(band & nonZero & ~below);
            band &= below;
            if (place == 0 || value == 0) continue;
            const int k = __builtin_clzll(place);
            coefficients[kZigzagToNatural[k]] = static_cast<int16_t>(value < 0 ? -bit : bit);
            c.nonZero[static_cast<size_t>(index)] |= place;
        }
        if (endOfBandRun > 0) {
            correct(band & nonZero);
            --endOfBandRun;
        }
        for (; corrected != 0;) {
            const int k = __builtin_clzll(corrected);
            corrected ^= MapBit(k);
            int16_t& value = coefficients[kZigzagToNatural[k]];
            value = static_cast<int16_t>(value + (value < 0 ? -bit : bit));
        }
    });
    d->reader = reader;
}
}  // namespace
}  // namespace talv::jpeg
