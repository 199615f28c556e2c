#include <algorithm>

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
namespace {
/// A difference without an entry of its own (T.81 H.1.2.2); category 16 is 32768 and has no extra bits.
__attribute__((noinline)) int32_t TakeLongDifference(BitReader& reader, const DifferenceTable& table,
                                                     uint32_t entry)
{
    int category = static_cast<int>(entry >> 16 & 0xFF);
    int length = static_cast<int>(entry & 0x3F);
    if (length == 0) length = table.symbols.Find(reader.Peek(16), &category);
    if (length == 0 || category > 16) {
        reader.Abandon();
        return 0;
    }
    reader.Skip(length);
    return category == 16 ? 32768 : Extend(reader.Take(category), category);
}

inline __attribute__((always_inline)) int32_t TakeDifference(BitReader& reader, const DifferenceTable& table,
                                                             int lookBits)
{
    if (reader.count < 32) reader.Refill();
    const uint32_t entry = table.look[reader.Peek(lookBits)];
    if ((entry & SymbolTable::kUnfinished) == 0) [[likely]] {
        reader.Skip(static_cast<int>(entry & 0x3F));
        return static_cast<int32_t>(entry) >> 16;
    }
    BitReader copy = reader;
    const int32_t difference = TakeLongDifference(copy, table, entry);
    reader = copy;
    return difference;
}

/// T.81 table H.1: left, above and above left.
template <int kPredictor>
inline __attribute__((always_inline)) int32_t Predict(int32_t a, int32_t b, int32_t c)
{
    switch (kPredictor) {
        case 1:
            return a;
        case 2:
            return b;
        case 3:
            return c;
        case 4:
            return a + b - c;
        case 5:
            return a + ((b - c) >> 1);
        case 6:
            return b + ((a - c) >> 1);
        default:
            return (a + b) >> 1;
    }
}

int32_t PredictBy(int predictor, int32_t a, int32_t b, int32_t c)
{
    switch (predictor) {
        case 1:
            return Predict<1>(a, b, c);
        case 2:
            return Predict<2>(a, b, c);
        case 3:
            return Predict<3>(a, b, c);
        case 4:
            return Predict<4>(a, b, c);
        case 5:
            return Predict<5>(a, b, c);
        case 6:
            return Predict<6>(a, b, c);
        default:
            return Predict<7>(a, b, c);
    }
}

/// One component's part in a row of samples that all components share.
struct Lane
{
    uint16_t* row;
    const uint16_t* above;
    const DifferenceTable* table;
};

/// Samples `begin` to `end` of a row; the sample before `begin` exists.
template <int kPredictor, int kLanes>
void DecodeRun(BitReader& stream, const Lane* lanes, int lookBits, int begin, int end)
{
    BitReader reader = stream;
    int32_t left[kLanes];
    int32_t corner[kLanes];
    for (int i = 0; i < kLanes; ++i) {
        left[i] = lanes[i].row[begin - 1];
        corner[i] = kPredictor == 1 ? 0 : lanes[i].above[begin - 1];
    }
    for (int x = begin; x < end; ++x) {
        for (int i = 0; i < kLanes; ++i) {
            const int32_t above = kPredictor == 1 ? 0 : lanes[i].above[x];
            const int32_t difference = TakeDifference(reader, *lanes[i].table, lookBits);
            left[i] = (Predict<kPredictor>(left[i], above, corner[i]) + difference) & 0xFFFF;
            lanes[i].row[x] = static_cast<uint16_t>(left[i]);
            corner[i] = above;
        }
    }
    stream = reader;
}

using RunDecoder = void (*)(BitReader&, const Lane*, int, int, int);

template <int kLanes>
RunDecoder SelectRun(int predictor)
{
    static constexpr RunDecoder kRuns[8] = {nullptr,
                                            DecodeRun<1, kLanes>,
                                            DecodeRun<2, kLanes>,
                                            DecodeRun<3, kLanes>,
                                            DecodeRun<4, kLanes>,
                                            DecodeRun<5, kLanes>,
                                            DecodeRun<6, kLanes>,
                                            DecodeRun<7, kLanes>};
    return kRuns[predictor];
}

RunDecoder SelectRun(int predictor, int lanes)
{
    switch (lanes) {
        case 1:
            return SelectRun<1>(predictor);
        case 3:
            return SelectRun<3>(predictor);
        case 4:
            return SelectRun<4>(predictor);
        default:
            return SelectRun<2>(predictor);
    }
}

int LookBits(const JpegDecoder& d)
{
    return static_cast<int64_t>(d.width) * d.height < 32768 ? 9 : 12;
}

int32_t InitialPrediction(const JpegDecoder& d)
{
    const int bits = d.precision - d.scan.bitLow - 1;
    return 1 << std::max(0, bits);
}

/// Rows of a scan whose components have one sample an MCU, so that whole runs decode in one loop.
void DecodeRows(JpegDecoder* d, int rows, int width)
{
    Lane lanes[kMaxComponents] = {};
    const int count = d->scan.count;
    const int lookBits = LookBits(*d);
    const RunDecoder decodeFirstLine = SelectRun(1, count);
    const RunDecoder decodeLine = SelectRun(d->scan.spectralFirst, count);
    const int32_t initial = InitialPrediction(*d);
    bool reset = true;
    for (int y = 0; y < rows; ++y) {
        for (int i = 0; i < count; ++i) {
            const Component& c = d->components[d->scan.component[i]];
            lanes[i] = {PlaneRow<uint16_t>(*d, c, y), y > 0 ? PlaneRow<uint16_t>(*d, c, y - 1) : nullptr,
                        &d->differences[c.dcTable]};
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
                    lanes[i].row[x] =
                        static_cast<uint16_t>((fromInitial ? initial : lanes[i].above[x]) +
                                              TakeDifference(d->reader, *lanes[i].table, lookBits));
                reset = false;
                ++x;
            }
            (firstLine ? decodeFirstLine : decodeLine)(d->reader, lanes, lookBits, x, end);
            x = end;
        }
        if (!d->stored) EmitRows(d, y + 1);
    }
}

/// Interleaved components with several samples an MCU: prediction follows each component's own rows.
void DecodeSubsampled(JpegDecoder* d)
{
    const int lookBits = LookBits(*d);
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
                                PredictBy(d->scan.spectralFirst, line[x - 1], above[x], above[x - 1]);
                        const int32_t difference =
                            d->reader.Overrun()
                                ? 0
                                : TakeDifference(d->reader, d->differences[c.dcTable], lookBits);
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
        d->differences[c.dcTable].Build(d->dcSpecs[c.dcTable], LookBits(*d));
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
