#include "codecs/jpeg/block_coding.h"

namespace talv::jpeg {
namespace {
/// What a scan does to the coefficients of one block.
struct Block
{
    int16_t* coefficients;
    uint64_t* nonZero;
};

Block BlockAt(Component& c, ptrdiff_t index)
{
    return {&c.coefficients[static_cast<size_t>(index) * 64], &c.nonZero[static_cast<size_t>(index)]};
}

/// Coefficients `first` to `last`, as bits.
uint64_t Band(int first, int last)
{
    return (~uint64_t{0} >> (63 - last)) & (~uint64_t{0} << first);
}

void FirstDcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int shift = d->scan.bitLow;
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (reader.Overrun()) return;
        c.prediction =
            static_cast<int32_t>(static_cast<uint32_t>(c.prediction) +
                                 static_cast<uint32_t>(TakeDifference(reader, d->dcTables[c.dcTable])));
        const Block block = BlockAt(c, index);
        block.coefficients[0] = static_cast<int16_t>(static_cast<uint32_t>(c.prediction) << shift);
        if (block.coefficients[0] != 0) *block.nonZero |= 1;
    });
    d->reader = reader;
}

void RefiningDcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int bit = 1 << d->scan.bitLow;
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (reader.Overrun()) return;
        if (reader.count < 1) reader.Refill();
        if (reader.Take(1) == 0) return;
        const Block block = BlockAt(c, index);
        block.coefficients[0] = static_cast<int16_t>(block.coefficients[0] | bit);
        *block.nonZero |= 1;
    });
    d->reader = reader;
}

/// A run of 2^`exponent` blocks or more without another coefficient in the band (T.81 G.1.2.2).
uint32_t TakeEndOfBandRun(BitReader& reader, int exponent)
{
    return (1u << exponent) + reader.Take(exponent);
}

void FirstAcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int first = d->scan.spectralFirst;
    const int last = d->scan.spectralLast;
    const int shift = d->scan.bitLow;
    const SymbolTable& table = d->acTables[d->components[d->scan.component[0]].acTable];
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (d->endOfBandRun > 0) {
            --d->endOfBandRun;
            return;
        }
        if (reader.Overrun()) return;
        const Block block = BlockAt(c, index);
        uint64_t nonZero = *block.nonZero;
        for (int k = first; k <= last;) {
            if (reader.count < 32) reader.Refill();
            const uint32_t entry = table.look[reader.Peek(SymbolTable::kLookBits)];
            // A block end in the look-up stands for any end-of-band run, so only the others are finished
            // there.
            if ((entry & SymbolTable::kUnfinished) == 0 && (entry >> 8 & 0x7F) < 64) [[likely]] {
                reader.Skip(static_cast<int>(entry & 0x3F));
                k += static_cast<int>(entry >> 8 & 0x7F);
                const auto value = static_cast<int32_t>(entry) >> 16;
                if (k > last) break;
                if (value != 0) {
                    block.coefficients[k] = static_cast<int16_t>(static_cast<uint32_t>(value) << shift);
                    nonZero |= uint64_t{1} << k;
                }
                ++k;
                continue;
            }
            int symbol = 0;
            const int length = table.Find(reader.Peek(16), &symbol);
            if (length == 0) {
                reader.Abandon();
                break;
            }
            reader.Skip(length);
            const int run = symbol >> 4;
            const int extra = symbol & 15;
            if (extra == 0 && run < 15) {
                d->endOfBandRun = TakeEndOfBandRun(reader, run) - 1;
                break;
            }
            k += run;
            if (extra != 0) {
                const int32_t value = Extend(reader.Take(extra), extra);
                if (k > last) break;
                block.coefficients[k] = static_cast<int16_t>(static_cast<uint32_t>(value) << shift);
                nonZero |= uint64_t{1} << k;
            }
            ++k;
        }
        *block.nonZero = nonZero;
    });
    d->reader = reader;
}

/// Takes a correction bit for each coefficient in `which`, in order (T.81 G.1.2.3).
inline void Correct(BitReader& reader, int16_t* coefficients, uint64_t which, int bit)
{
    int left = __builtin_popcountll(which);
    while (left > 0) {
        if (reader.count < 32) reader.Refill();
        const int taken = left < 32 ? left : 32;
        uint64_t bits = reader.bits;
        reader.Skip(taken);
        left -= taken;
        for (int i = 0; i < taken; ++i, bits <<= 1, which &= which - 1) {
            int16_t& value = coefficients[__builtin_ctzll(which)];
            const int step = bits >> 63 != 0 && (value & bit) == 0 ? bit : 0;
            value = static_cast<int16_t>(value + (value < 0 ? -step : step));
        }
    }
}

/// Passes over `zeros` coefficients of `band` that are still 0, correcting the others on the way. Returns the
/// place of the zero that follows, 64 when there is none.
inline int PassZeros(BitReader& reader, const Block& block, uint64_t band, int zeros, int bit)
{
    uint64_t free = band & ~*block.nonZero;
    for (; zeros > 0 && free != 0; --zeros) free &= free - 1;
    const int place = free != 0 ? __builtin_ctzll(free) : 64;
    uint64_t passed = band & *block.nonZero;
    if (place < 64) passed &= (uint64_t{1} << place) - 1;
    Correct(reader, block.coefficients, passed, bit);
    return place;
}

void RefiningAcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int last = d->scan.spectralLast;
    const int bit = 1 << d->scan.bitLow;
    const SymbolTable& table = d->acTables[d->components[d->scan.component[0]].acTable];
    const uint64_t wholeBand = Band(d->scan.spectralFirst, last);
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (reader.Overrun()) return;
        const Block block = BlockAt(c, index);
        uint64_t band = wholeBand;
        while (band != 0 && d->endOfBandRun == 0) {
            if (reader.count < 32) reader.Refill();
            int symbol = 0;
            const int length = table.Find(reader.Peek(16), &symbol);
            if (length == 0) return reader.Abandon();
            reader.Skip(length);
            const int run = symbol >> 4;
            const int extra = symbol & 15;
            if (extra == 0 && run < 15) {
                d->endOfBandRun = TakeEndOfBandRun(reader, run);
                break;
            }
            // The sign of the new coefficient comes before the corrections on the way to its place.
            const int value = extra == 0 ? 0 : reader.Take(1) != 0 ? bit : -bit;
            const int place = PassZeros(reader, block, band, run, bit);
            if (place > last) return;
            if (value != 0) {
                block.coefficients[place] = static_cast<int16_t>(value);
                *block.nonZero |= uint64_t{1} << place;
            }
            band = place == 63 ? 0 : band & (~uint64_t{0} << (place + 1));
        }
        if (d->endOfBandRun > 0) {
            Correct(reader, block.coefficients, band & *block.nonZero, bit);
            --d->endOfBandRun;
        }
    });
    d->reader = reader;
}
}  // namespace

void DecodeProgressiveScan(JpegDecoder* d)
{
    const bool refines = d->scan.bitHigh > 0;
    if (d->scan.spectralFirst == 0) {
        if (refines) return RefiningDcScan(d);
        for (int i = 0; i < d->scan.count; ++i) {
            const int slot = d->components[d->scan.component[i]].dcTable;
            d->dcTables[slot].Build(d->dcSpecs[slot], true);
        }
        return FirstDcScan(d);
    }
    const int slot = d->components[d->scan.component[0]].acTable;
    d->acTables[slot].Build(d->acSpecs[slot], false);
    if (refines)
        RefiningAcScan(d);
    else
        FirstAcScan(d);
}
}  // namespace talv::jpeg
