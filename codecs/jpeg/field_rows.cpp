#include "codecs/jpeg/field_rows.h"

#include <algorithm>
#include <cstring>

namespace talv::jpeg {
namespace {
RowTable EverySecondRow(const RowTable& rows, int first)
{
    return {rows.first + first * rows.step, 2 * rows.step, (rows.count - first + 1) / 2};
}

/// The second field as a continuation of the first one's scan, behind a restart marker. False when there is
/// none.
bool DecodeContinuation(JpegDecoder* d, const RowTable& rows)
{
    if (d->neededMcuRows < d->mcuRows) return false;  // the reader is still within the first field
    const uint8_t* at = d->reader.next;
    while (d->End() - at >= 2 && at[0] == 0xFF && at[1] == 0xFF) ++at;
    if (d->End() - at < 2 || at[0] != 0xFF || at[1] < 0xD0 || at[1] > 0xD7 || d->stored) return false;
    d->position = static_cast<size_t>(at + 2 - d->source);
    d->rows = rows;
    d->emittedRows = 0;
    d->intervals.clear();
    const int restart = (at[1] - 0xD0 + 1) & 7;
    StartScan(d);
    d->nextRestart = restart;
    if (d->process == Process::lossless)
        DecodeLosslessScan(d);
    else
        DecodeInterleavedScan(d);
    return true;
}

/// The second field as an image of its own behind the first one; it may rely on the first one's tables.
bool DecodeSecondImage(const JpegDecoder& first, const RowTable& rows)
{
    if (first.End() - first.source < 2) return false;
    auto second = std::make_unique_for_overwrite<JpegDecoder>();
    size_t position = first.position;
    const uint8_t* end = first.End();
    const uint8_t* at = first.source + position;
    if (end - at >= 2 && at[0] == 0xFF && at[1] == 0xD9) position += 2;
    second->source = first.source;
    second->length = first.length;
    second->position = position;
    second->callerTables = first.callerTables;
    second->rawFrame = first.rawFrame;
    second->searchRange = first.searchRange;
    second->rowReset = first.rowReset;
    second->bitsPerPixel = first.bitsPerPixel;
    second->level = first.level;
    second->threads = first.threads;
    second->kernels = first.kernels;
    second->sawHuffmanTables = first.sawHuffmanTables;
    second->sawQuantTables = first.sawQuantTables;
    std::copy(std::begin(first.quantDefined), std::end(first.quantDefined), second->quantDefined);
    std::memcpy(second->quant, first.quant, sizeof first.quant);
    std::copy(std::begin(first.dcSpecs), std::end(first.dcSpecs), second->dcSpecs);
    std::copy(std::begin(first.acSpecs), std::end(first.acSpecs), second->acSpecs);
    if (ReadHeader(second.get()) < 0) return false;
    if (second->width != first.width || second->height > first.height + 1 ||
        second->componentCount != first.componentCount)
        return false;
    second->rows = rows;
    second->destinationRows = rows.count;
    return PrepareFrame(second.get()) == 0 && DecodeFrame(second.get()) == 0;
}

void InterpolateField(const JpegDecoder& d, const RowTable& rows)
{
    const size_t bytes = static_cast<size_t>(d.width) * d.bitsPerPixel / 8;
    const int last = std::min(2 * d.height, rows.count);
    for (int y = 1; y < last; y += 2) {
        if (y + 1 < last)
            InterpolateRow(d.level, rows.At(y - 1), rows.At(y + 1), rows.At(y), bytes);
        else
            std::memcpy(rows.At(y), rows.At(y - 1), bytes);
    }
}
}  // namespace

void InterpolateRow(SimdLevel level, const uint8_t* above, const uint8_t* below, uint8_t* out, size_t bytes)
{
    size_t i = 0;
    // Kept: runs of 8 bytes lose the low bit of both rows before the addition, the rest after it, so that 1
    // and 1 give 0 or 1. Pinned by JpegFields.PackedAndPlainInterpolationDiffer.
    if (level != SimdLevel::plain)
        for (; i + 8 <= bytes; i += 8)
            for (size_t k = i; k < i + 8; ++k)
                out[k] = static_cast<uint8_t>((above[k] >> 1) + (below[k] >> 1));
    for (; i < bytes; ++i) out[i] = static_cast<uint8_t>((above[i] + below[i]) >> 1);
}

int32_t DecodeFields(JpegDecoder* d, const RowTable& rows, bool firstOnly)
{
    d->rows = EverySecondRow(rows, 0);
    d->destinationRows = d->rows.count;
    if (int32_t status = PrepareFrame(d); status < 0) return status;
    if (int32_t status = DecodeFrame(d); status < 0) return status;
    if (firstOnly) return kCodecOk;
    const RowTable odd = EverySecondRow(rows, 1);
    if (DecodeContinuation(d, odd)) return kCodecOk;
    if (!d->stored) LeaveScan(d);
    if (!DecodeSecondImage(*d, odd)) InterpolateField(*d, rows);
    return kCodecOk;
}
}  // namespace talv::jpeg
