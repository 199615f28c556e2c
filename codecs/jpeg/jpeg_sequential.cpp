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
    Component* component;
    const SymbolTable* dc;
    const SymbolTable* ac;
    void* row;   ///< first sample of the block's first row in the current MCU row
    int offset;  ///< samples from there to the block in MCU 0
    int step;    ///< samples from MCU to MCU
};

int ListBlocks(JpegDecoder* d, McuBlock* list)
{
    int count = 0;
    for (int i = 0; i < d->scan.count; ++i) {
        Component& c = d->components[d->scan.component[i]];
        for (int v = 0; v < c.v; ++v)
            for (int h = 0; h < c.h; ++h)
                list[count++] = {&c,      &d->dcTables[c.dcTable],  &d->acTables[c.acTable],
                                 nullptr, v * 8 * c.stride + h * 8, 8 * c.h};
    }
    return count;
}

template <typename Sample>
void DecodeMcuRow(JpegDecoder* d, const McuBlock* list, int count)
{
    BitReader reader = d->reader;
    BlockQueue<Sample> queue;
    for (int mcu = 0; mcu < d->mcusAcross; ++mcu) {
        if (d->restartInterval != 0) {
            if (d->unitsToRestart == 0) {
                d->reader = reader;
                Restart(d);
                reader = d->reader;
            }
            --d->unitsToRestart;
        }
        const bool overrun = reader.Overrun();
        for (int i = 0; i < count; ++i) {
            const McuBlock& place = list[i];
            Component& c = *place.component;
            Sample* out = static_cast<Sample*>(place.row) + place.offset + mcu * place.step;
            int16_t* block = queue.Block();
            uint32_t positions = 0;
            int32_t dc = c.prediction;
            if (!overrun) [[likely]] {
                dc = TakeBlock(reader, *place.dc, *place.ac, c.prediction, [&](int k, int16_t value) {
                    const uint32_t natural = kZigzagToNatural[k];
                    positions |= natural;
                    block[natural] = value;
                });
            }
            block[0] = static_cast<int16_t>(dc);
            queue.PushOwn(d->kernels, positions, c.quant, out, c.stride);
        }
    }
    queue.Flush(d->kernels);
    d->reader = reader;
}

template <typename Sample>
void DecodeInterleaved(JpegDecoder* d)
{
    McuBlock list[kMaxBlocksPerMcu];
    const int count = ListBlocks(d, list);
    for (int row = 0; row < d->neededMcuRows; ++row) {
        for (int i = 0; i < count; ++i)
            list[i].row = PlaneRow<Sample>(*d, *list[i].component, row * list[i].component->bandRows);
        DecodeMcuRow<Sample>(d, list, count);
        EmitRows(d, CompleteRows(*d, row + 1));
    }
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
