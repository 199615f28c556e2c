#include "codecs/jpeg/refining_scan.h"

namespace talv::jpeg {
namespace {
void FirstDcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int shift = d->scan.bitLow;
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (reader.Overrun()) return;
        reader.Refill();
        c.prediction =
            static_cast<int32_t>(static_cast<uint32_t>(c.prediction) +
                                 static_cast<uint32_t>(TakeDifference(reader, d->dcTables[c.dcTable])));
        c.coefficients[static_cast<size_t>(index) * 64] =
            static_cast<int16_t>(static_cast<uint32_t>(c.prediction) << shift);
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
        int16_t& value = c.coefficients[static_cast<size_t>(index) * 64];
        value = static_cast<int16_t>(value | bit);
    });
    d->reader = reader;
}

void FirstAcScan(JpegDecoder* d)
{
    BitReader reader = d->reader;
    const int first = d->scan.spectralFirst;
    const int last = d->scan.spectralLast;
    const int shift = d->scan.bitLow;
    const SymbolTable& table = d->acTables[d->components[d->scan.component[0]].acTable];
    uint32_t endOfBandRun = 0;
    VisitStoredBlocks(d, reader, &endOfBandRun, [&](Component& c, ptrdiff_t index) {
        if (endOfBandRun > 0) {
            --endOfBandRun;
            return;
        }
        if (reader.Overrun()) return;
        int16_t* coefficients = &c.coefficients[static_cast<size_t>(index) * 64];
        uint64_t nonZero = c.nonZero[static_cast<size_t>(index)];
        const auto put = [&](int k, int32_t value) {
            coefficients[kZigzagToNatural[k]] = static_cast<int16_t>(static_cast<uint32_t>(value) << shift);
            nonZero |= value != 0 ? MapBit(k) : 0;
        };
        for (int k = first; k <= last; ++k) {
            reader.Refill();
            const uint32_t entry = table.look[reader.Peek(SymbolTable::kLookBits)];
            if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
                reader.Skip(static_cast<int>(entry & 0x3F));
                k += static_cast<int>(entry >> 8 & 0x7F);
                if (k > last) break;
                put(k, static_cast<int32_t>(entry) >> 16);
                continue;
            }
            const int symbol = TakeSymbol(reader, table, entry);
            if (symbol < 0) {
                reader.Abandon();
                break;
            }
            const int run = symbol >> 4;
            const int extra = symbol & 15;
            if (extra == 0 && run < 15) {
                endOfBandRun = TakeEndOfBandRun(reader, run) - 1;
                break;
            }
            k += run;
            const int32_t value = Extend(reader.Take(extra), extra);
            if (k > last) break;
            put(k, value);
        }
        c.nonZero[static_cast<size_t>(index)] = nonZero;
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
            d->dcTables[slot].Build(d->dcSpecs[slot], SymbolUse::dc);
        }
        return FirstDcScan(d);
    }
    const int slot = d->components[d->scan.component[0]].acTable;
    d->acTables[slot].Build(d->acSpecs[slot], SymbolUse::progressiveAc);
    if (!refines) return FirstAcScan(d);
    if (d->level >= SimdLevel::avx2)
        RefineAcScanAvx2(d);
    else
        RefineAcScan<PlainMaps>(d);
}
}  // namespace talv::jpeg
