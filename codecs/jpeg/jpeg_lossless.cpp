#include <algorithm>
#include <cstring>

#include "codecs/jpeg/block_coding.h"
#include "codecs/jpeg/component_rows.h"

namespace talv::jpeg {
namespace {
/// The differences of a run of samples, all of one table.
void DecodeDifferences(BitReader& stream, const DifferenceTable& table, uint16_t* out, int count)
{
    BitReader reader = stream;
    const uint16_t* const end = out + count;
    const int lookBits = table.lookBits;
    // What one look-up holds, followed by zeros as far as it may reach; false when it holds nothing.
    const auto take = [&]() {
        const uint32_t entry = table.look[reader.Peek(lookBits)];
        const int used = static_cast<int>(entry & 0x1F);
        if (used == 0) [[unlikely]]
            return false;
        std::memset(out, 0, DifferenceTable::kMost * sizeof *out);
        out[0] = static_cast<uint16_t>(static_cast<int32_t>(entry) >> 20);
        out[1] = static_cast<uint16_t>(static_cast<int32_t>(entry << 12) >> 21);
        out += entry >> 5 & 15;
        reader.Skip(used);
        return true;
    };
    constexpr int kInReservoir = 4;
    static_assert(kInReservoir * DifferenceTable::kMaxLookBits <= 56);
    while (end - out >= kInReservoir * DifferenceTable::kMost) {
        reader.Refill();
        if (take() && take() && take() && take()) [[likely]]
            continue;
        reader.Refill();
        *out++ = static_cast<uint16_t>(TakeDifference(reader, table.symbols, 16));
    }
    while (out < end) {
        reader.Refill();
        if (end - out >= DifferenceTable::kMost && take()) continue;
        *out++ = static_cast<uint16_t>(TakeDifference(reader, table.symbols, 16));
    }
    stream = reader;
}

/// Samples of a run whose differences mostly fill a look-up each: predicted on the way. The sample before
/// `row` exists, and but for predictor 1 the row above.
template <int kPredictor>
void DecodeRun(BitReader& stream, const DifferenceTable& table, uint16_t* row, const uint16_t* above,
               int count)
{
    BitReader reader = stream;
    const int lookBits = table.lookBits;
    int32_t left = row[-1];
    int32_t corner = kPredictor == 1 ? 0 : above[-1];
    for (int x = 0; x < count; ++x) {
        const int32_t up = kPredictor == 1 ? 0 : above[x];
        if (reader.count < 32) reader.Refill();
        const uint32_t entry = table.look[reader.Peek(lookBits)];
        const int used = static_cast<int>(entry & 0x1F);
        int32_t difference = static_cast<int32_t>(entry) >> 20;
        if (used != 0) [[likely]]
            reader.Skip(used);
        else
            difference = TakeDifference(reader, table.symbols, 16);
        left = (PredictSample(kPredictor, left, up, corner) + difference) & 0xFFFF;
        row[x] = static_cast<uint16_t>(left);
        corner = up;
    }
    stream = reader;
}

using RunDecoder = void (*)(BitReader&, const DifferenceTable&, uint16_t*, const uint16_t*, int);
constexpr RunDecoder kRunDecoders[8] = {nullptr,      DecodeRun<1>, DecodeRun<2>, DecodeRun<3>,
                                        DecodeRun<4>, DecodeRun<5>, DecodeRun<6>, DecodeRun<7>};

/// One component's part in a row of samples that all components share.
struct Lane
{
    uint16_t* row;
    const uint16_t* above;
    const DifferenceTable* table;
};

/// The differences of samples that the components of a scan take in turns, `count` of each, to
/// `out[component * stride]` and on.
void DecodeInTurns(const JpegKernels& kernels, BitReader& stream, const Lane* lanes, int laneCount,
                   uint16_t* spare, uint16_t* out, int stride, int count)
{
    bool oneTable = true;
    for (int i = 1; i < laneCount; ++i)
        oneTable = oneTable && lanes[i].table->symbols.counted == lanes[0].table->symbols.counted;
    if (oneTable) {
        DecodeDifferences(stream, *lanes[0].table, spare, count * laneCount);
    } else {
        BitReader reader = stream;
        uint16_t* at = spare;
        for (int x = 0; x < count; ++x) {
            for (int i = 0; i < laneCount; ++i) {
                reader.Refill();
                *at++ = static_cast<uint16_t>(TakeDifference(reader, lanes[i].table->symbols, 16));
            }
        }
        stream = reader;
    }
    if (laneCount == 3) return kernels.splitThree(spare, out, out + stride, out + 2 * stride, count);
    for (int i = 0; i < laneCount; ++i)
        for (int x = 0; x < count; ++x) out[i * stride + x] = spare[x * laneCount + i];
}

int32_t TakeSingle(BitReader& reader, const DifferenceTable& table)
{
    reader.Refill();
    return TakeDifference(reader, table.symbols, 16);
}

int LookBits(const JpegDecoder& d)
{
    return static_cast<int64_t>(d.width) * d.height < 32768 ? 9 : 12;
}

/// A single component with so many bits a sample that two differences seldom fit one look-up.
bool IsDense(const JpegDecoder& d)
{
    const Component& c = d.components[d.scan.component[0]];
    return d.scan.count == 1 && 8 * (d.End() - d.reader.next) > 6 * static_cast<int64_t>(c.width) * c.height;
}

int32_t InitialPrediction(const JpegDecoder& d)
{
    const int bits = d.precision - d.scan.bitLow - 1;
    return 1 << std::max(0, bits);
}

/// Samples need no conversion: rows are decoded where the caller wants them.
bool GoesStraightOut(const JpegDecoder& d)
{
    const auto address = reinterpret_cast<uintptr_t>(d.rows.first) | static_cast<uintptr_t>(d.rows.step);
    return d.componentCount == 1 && d.bitsPerPixel == 16 && d.scan.bitLow == 0 && !d.stored &&
           address % alignof(uint16_t) == 0;
}

/// Rows of a scan whose components have one sample an MCU, so that whole runs decode in one loop.
void DecodeRows(JpegDecoder* d, int rows, int width)
{
    Lane lanes[kMaxComponents] = {};
    const int count = d->scan.count;
    const int stride = width + DifferenceTable::kMost;
    const auto spare = std::make_unique_for_overwrite<uint16_t[]>(static_cast<size_t>(2 * stride * count));
    uint16_t* const differences = spare.get() + stride * count;
    const int32_t initial = InitialPrediction(*d);
    const bool straight = GoesStraightOut(*d);
    const auto rowOf = [d, straight](const Component& c, int y) {
        if (y < 0) return static_cast<uint16_t*>(nullptr);
        // A second field may have a row less than the first one, whose size the scan has.
        const bool out = straight && y < d->rows.count;
        return out ? reinterpret_cast<uint16_t*>(d->rows.At(y)) : PlaneRow<uint16_t>(*d, c, y);
    };
    bool reset = true;
    for (int y = 0; y < rows; ++y) {
        for (int i = 0; i < count; ++i) {
            const Component& c = d->components[d->scan.component[i]];
            lanes[i] = {rowOf(c, y), rowOf(c, y - 1), &d->differences[c.dcTable]};
        }
        bool firstLine = reset;
        for (int x = 0; x < width;) {
            int end = width;
            if (d->restartInterval != 0) {
                if (d->unitsToRestart == 0) {
                    Restart(d);
                    firstLine = reset = true;
                }
                end = std::min(width, x + d->unitsToRestart);
                d->unitsToRestart -= end - x;
            }
            if (d->reader.Overrun()) {
                for (int i = 0; i < count; ++i) std::fill(lanes[i].row + x, lanes[i].row + end, uint16_t{0});
                x = end;
                continue;
            }
            if (x == 0 || reset) {
                const bool fromInitial = reset || d->rowReset;
                for (int i = 0; i < count; ++i)
                    lanes[i].row[x] = static_cast<uint16_t>((fromInitial ? initial : lanes[i].above[x]) +
                                                            TakeSingle(d->reader, *lanes[i].table));
                reset = false;
                ++x;
            }
            const int predictor = firstLine ? 1 : d->scan.spectralFirst;
            if (lanes[0].table->most == 1) {
                kRunDecoders[predictor](d->reader, *lanes[0].table, lanes[0].row + x,
                                        firstLine ? nullptr : lanes[0].above + x, end - x);
                x = end;
                continue;
            }
            if (count == 1)
                DecodeDifferences(d->reader, *lanes[0].table, differences, end - x);
            else
                DecodeInTurns(d->kernels, d->reader, lanes, count, spare.get(), differences, stride, end - x);
            for (int i = 0; i < count; ++i)
                d->kernels.predict[predictor](differences + i * stride, lanes[i].row + x,
                                              firstLine ? nullptr : lanes[i].above + x, end - x);
            x = end;
        }
        if (!d->stored && !straight) EmitRows(d, y + 1);
    }
}

/// Interleaved components with several samples an MCU: prediction follows each component's own rows.
void DecodeSubsampled(JpegDecoder* d)
{
    const int32_t initial = InitialPrediction(*d);
    int resetRow = 0;  // MCU row whose first lines are predicted from the left
    int resetMcu = 0;
    for (int row = 0; row < d->neededMcuRows; ++row) {
        for (int mcu = 0; mcu < d->mcusAcross; ++mcu) {
            if (d->restartInterval != 0) {
                if (d->unitsToRestart == 0) {
                    Restart(d);
                    resetRow = row;
                    resetMcu = mcu;
                }
                --d->unitsToRestart;
            }
            for (int i = 0; i < d->scan.count; ++i) {
                const Component& c = d->components[d->scan.component[i]];
                for (int v = 0; v < c.v; ++v) {
                    const int y = row * c.v + v;
                    uint16_t* line = PlaneRow<uint16_t>(*d, c, y);
                    const bool firstLine = row == resetRow && v == 0;
                    const uint16_t* above = y > 0 ? PlaneRow<uint16_t>(*d, c, y - 1) : line;
                    for (int h = 0; h < c.h; ++h) {
                        const int x = mcu * c.h + h;
                        int32_t prediction;
                        if (firstLine && mcu == resetMcu && h == 0)
                            prediction = initial;
                        else if (x == 0)
                            prediction = d->rowReset ? initial : above[0];
                        else if (firstLine)
                            prediction = line[x - 1];
                        else
                            prediction =
                                PredictSample(d->scan.spectralFirst, line[x - 1], above[x], above[x - 1]);
                        const int32_t difference =
                            d->reader.Overrun() ? 0 : TakeSingle(d->reader, d->differences[c.dcTable]);
                        line[x] = static_cast<uint16_t>(prediction + difference);
                    }
                }
            }
        }
        if (!d->stored) EmitRows(d, CompleteRows(*d, row + 1));
    }
}
}  // namespace

void DecodeLosslessScan(JpegDecoder* d)
{
    if (d->differences == nullptr) d->differences = std::make_unique<DifferenceTable[]>(4);
    bool single = true;
    for (int i = 0; i < d->scan.count; ++i) {
        Component& c = d->components[d->scan.component[i]];
        c.pointTransform = d->scan.bitLow;
        d->differences[c.dcTable].Build(d->dcSpecs[c.dcTable], LookBits(*d),
                                        IsDense(*d) ? 1 : DifferenceTable::kMost);
        single = single && c.h == 1 && c.v == 1;
    }
    if (d->scan.count == 1) {
        const Component& c = d->components[d->scan.component[0]];
        DecodeRows(d, std::min(c.unitsDown, d->neededMcuRows * c.v), c.unitsAcross);
    } else if (single && d->maxH == 1 && d->maxV == 1) {
        DecodeRows(d, d->neededMcuRows, d->width);
    } else {
        DecodeSubsampled(d);
    }
}
}  // namespace talv::jpeg
