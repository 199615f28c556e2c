#include <atomic>
#include <thread>

#include "codecs/jpeg/block_coding.h"
#include "codecs/jpeg/block_queue.h"

namespace talv::jpeg {
namespace {
void BuildTables(JpegDecoder* d)
{
    for (int i = 0; i < d->scan.count; ++i) {
        const Component& c = d->components[d->scan.component[i]];
        d->dcTables[c.dcTable].Build(d->dcSpecs[c.dcTable], SymbolUse::dc);
        d->acTables[c.acTable].Build(d->acSpecs[c.acTable], SymbolUse::ac);
    }
}

/// One block's place in an MCU.
struct McuBlock
{
    const Component* component;
    int componentIndex;
    const SymbolTable* dc;
    const SymbolTable* ac;
    int offset;  ///< samples from the first one of the MCU row to the block in MCU 0
    int step;    ///< samples from MCU to MCU
};

struct McuLayout
{
    McuBlock blocks[kMaxBlocksPerMcu];
    int count = 0;
};

McuLayout LayOutMcu(const JpegDecoder& d)
{
    McuLayout layout;
    for (int i = 0; i < d.scan.count; ++i) {
        const int index = d.scan.component[i];
        const Component& c = d.components[index];
        for (int v = 0; v < c.v; ++v)
            for (int h = 0; h < c.h; ++h)
                layout.blocks[layout.count++] = {
                    &c,     index, &d.dcTables[c.dcTable], &d.acTables[c.acTable], v * 8 * c.stride + h * 8,
                    8 * c.h};
    }
    return layout;
}

/// Decodes stretches of a scan into the planes, one restart interval after the other.
template <typename Sample>
struct McuDecoder
{
    const JpegDecoder& d;
    const McuLayout& layout;
    BitReader reader{};
    int32_t predictions[kMaxComponents] = {};
    BlockQueue<Sample> queue{};

    void StartInterval(const BitReader& from)
    {
        reader = from;
        std::fill(std::begin(predictions), std::end(predictions), 0);
    }

    /// MCUs `first` to `end` of an MCU row. The last block may wait in the queue.
    void Decode(int mcuRow, int first, int end)
    {
        Sample* rows[kMaxBlocksPerMcu];
        for (int i = 0; i < layout.count; ++i) {
            const McuBlock& place = layout.blocks[i];
            rows[i] =
                PlaneRow<Sample>(d, *place.component, mcuRow * place.component->bandRows) + place.offset;
        }
        BitReader stream = reader;
        for (int mcu = first; mcu < end; ++mcu) {
            const bool overrun = stream.Overrun();
            for (int i = 0; i < layout.count; ++i) {
                const McuBlock& place = layout.blocks[i];
                const Component& c = *place.component;
                int32_t& prediction = predictions[place.componentIndex];
                int16_t* block = queue.Block();
                uint32_t positions = 0;
                if (!overrun) [[likely]] {
                    TakeBlock(stream, *place.dc, *place.ac, prediction, [&](int k, int16_t value) {
                        const uint32_t natural = kZigzagToNatural[k];
                        positions |= natural;
                        block[natural] = value;
                    });
                }
                block[0] = static_cast<int16_t>(prediction);
                queue.PushOwn(d.kernels, positions, c.quant, rows[i] + mcu * place.step, c.stride);
            }
        }
        reader = stream;
    }
};

/// The scan as it comes, restarting where the stream lets it.
template <typename Sample>
void DecodeInOrder(JpegDecoder* d, const McuLayout& layout)
{
    McuDecoder<Sample> decoder{*d, layout};
    decoder.StartInterval(d->reader);
    for (int row = 0; row < d->neededMcuRows; ++row) {
        for (int mcu = 0; mcu < d->mcusAcross;) {
            int end = d->mcusAcross;
            if (d->restartInterval != 0) {
                if (d->unitsToRestart == 0) {
                    d->reader = decoder.reader;
                    Restart(d);
                    decoder.StartInterval(d->reader);
                }
                end = std::min(end, mcu + d->unitsToRestart);
                d->unitsToRestart -= end - mcu;
            }
            decoder.Decode(row, mcu, end);
            mcu = end;
        }
        decoder.queue.Flush(d->kernels);
        EmitRows(d, CompleteRows(*d, row + 1));
    }
    d->reader = decoder.reader;
}

/// The restart intervals `first` to `end` of those that were found; the reader behind the last one.
template <typename Sample>
BitReader DecodeIntervals(const JpegDecoder& d, const McuLayout& layout, size_t first, size_t end)
{
    McuDecoder<Sample> decoder{d, layout};
    const int64_t units = static_cast<int64_t>(d.mcusAcross) * d.neededMcuRows;
    for (size_t i = first; i < end; ++i) {
        BitReader start;
        start.Start(d.intervals[i], d.End());
        decoder.StartInterval(start);
        int64_t unit = static_cast<int64_t>(i) * d.restartInterval;
        const int64_t unitEnd = std::min(units, unit + d.restartInterval);
        while (unit < unitEnd) {
            const int mcu = static_cast<int>(unit % d.mcusAcross);
            const int mcuEnd = static_cast<int>(std::min<int64_t>(d.mcusAcross, mcu + unitEnd - unit));
            decoder.Decode(static_cast<int>(unit / d.mcusAcross), mcu, mcuEnd);
            unit += mcuEnd - mcu;
        }
    }
    decoder.queue.Flush(d.kernels);
    return decoder.reader;
}

/// Threads share the intervals and then the rows. One loop holds both, so that they need not be called
/// together twice: parts are taken in order, and whoever comes to a strip of rows waits for the intervals
/// still at work.
template <typename Sample>
void DecodeShared(JpegDecoder* d, const McuLayout& layout)
{
    constexpr size_t kPartsPerThread = 4;
    constexpr int32_t kStripRows = 32;
    const size_t intervals = d->intervals.size();
    const size_t parts = std::min(intervals, kPartsPerThread * d->workers->Count());
    const int32_t rows = std::min(d->height, d->rows.count);
    const auto strips = static_cast<size_t>((rows + kStripRows - 1) / kStripRows);
    std::atomic<size_t> decoded{0};
    BitReader last;
    d->workers->Run(parts + strips, [&](size_t part, unsigned thread) {
        if (part < parts) {
            const BitReader reader =
                DecodeIntervals<Sample>(*d, layout, part * intervals / parts, (part + 1) * intervals / parts);
            if (part == parts - 1) last = reader;
            decoded.fetch_add(1, std::memory_order_release);
            return;
        }
        while (decoded.load(std::memory_order_acquire) < parts) std::this_thread::yield();
        const auto begin = static_cast<int32_t>(part - parts) * kStripRows;
        EmitRowRange(*d, static_cast<int>(thread), begin, std::min(rows, begin + kStripRows));
    });
    d->reader = last;
    d->emittedRows = rows;
}

template <typename Sample>
void DecodeInterleaved(JpegDecoder* d)
{
    const McuLayout layout = LayOutMcu(*d);
    if (d->intervals.empty())
        DecodeInOrder<Sample>(d, layout);
    else
        DecodeShared<Sample>(d, layout);
}

template <typename Sample>
void Reconstruct(JpegDecoder* d)
{
    for (int row = 0; row < d->neededMcuRows; ++row) {
        for (int i = 0; i < d->componentCount; ++i) {
            const Component& c = d->components[i];
            BlockQueue<Sample> queue;
            for (int v = 0; v < c.v; ++v) {
                Sample* out = PlaneRow<Sample>(*d, c, row * c.bandRows + v * 8);
                ptrdiff_t index = static_cast<ptrdiff_t>(row * c.v + v) * c.unitsPerRow;
                for (int x = 0; x < c.unitsPerRow; ++x, ++index, out += 8) {
                    const int16_t* block = &c.coefficients[static_cast<size_t>(index) * 64];
                    const uint64_t nonZero = c.nonZero[static_cast<size_t>(index)];
                    if ((nonZero & ~MapBit(0)) == 0)
                        queue.Fill(block[0], c.quant, out, c.stride);
                    else
                        queue.Push(d->kernels, block, (nonZero & ~kLowMap) == 0, c.quant, out, c.stride);
                }
            }
            queue.Flush(d->kernels);
        }
        EmitRows(d, CompleteRows(*d, row + 1));
    }
}
}  // namespace

void DecodeInterleavedScan(JpegDecoder* d)
{
    BuildTables(d);
    if (d->WideSamples())
        DecodeInterleaved<uint16_t>(d);
    else
        DecodeInterleaved<uint8_t>(d);
}

void DecodeStoredScan(JpegDecoder* d)
{
    BuildTables(d);
    BitReader reader = d->reader;
    VisitStoredBlocks(d, reader, [&](Component& c, ptrdiff_t index) {
        if (reader.Overrun()) return;
        int16_t* block = &c.coefficients[static_cast<size_t>(index) * 64];
        std::memset(block, 0, 64 * sizeof *block);
        uint64_t nonZero = 0;
        block[0] = static_cast<int16_t>(TakeBlock(reader, d->dcTables[c.dcTable], d->acTables[c.acTable],
                                                  c.prediction, [&](int k, int16_t value) {
                                                      block[kZigzagToNatural[k]] = value;
                                                      nonZero |= MapBit(k);
                                                  }));
        c.nonZero[static_cast<size_t>(index)] = nonZero;
    });
    d->reader = reader;
}

void ReconstructStored(JpegDecoder* d)
{
    if (d->WideSamples())
        Reconstruct<uint16_t>(d);
    else
        Reconstruct<uint8_t>(d);
}
}  // namespace talv::jpeg
