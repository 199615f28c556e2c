#include <algorithm>
#include <cstring>

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
namespace {
constexpr int64_t kFixedMemory = 32 << 20;
constexpr int64_t kMemoryPerFrameByte = 6;
constexpr int kMaxScans = 500;
constexpr int64_t kMinUnitsToShare = 512;  // below that starting a thread takes as long as the scan
constexpr int kRowSlack = 64;              // bytes behind a row that vector code may read

int CeilDivide(int a, int b)
{
    return (a + b - 1) / b;
}

bool InterpolatesRows(const JpegDecoder& d, const Component& c)
{
    return d.process != Process::lossless && 2 * c.v == d.maxV && (2 * c.h == d.maxH || c.h == d.maxH);
}

bool InterpolatesAnyRows(const JpegDecoder& d)
{
    for (int i = 0; i < d.componentCount; ++i)
        if (InterpolatesRows(d, d.components[i])) return true;
    return false;
}

void MeasureComponent(const JpegDecoder& d, Component* c)
{
    c->width = CeilDivide(d.width * c->h, d.maxH);
    c->height = CeilDivide(d.height * c->v, d.maxV);
    c->unitsAcross = CeilDivide(c->width, d.unit);
    c->unitsDown = CeilDivide(c->height, d.unit);
    c->unitsPerRow = d.mcusAcross * c->h;
    c->bandRows = d.unit * c->v;
    c->stride = (c->unitsPerRow * d.unit + kRowSlack + 31) & ~31;
}

int64_t PlaneBytes(const JpegDecoder& d, const Component& c)
{
    return static_cast<int64_t>(c.stride) * c.bandRows * d.ringBands * (d.WideSamples() ? 2 : 1) + kRowSlack;
}

int64_t StoredBlocks(const JpegDecoder& d, const Component& c)
{
    return static_cast<int64_t>(c.unitsPerRow) * c.v * d.neededMcuRows;
}

/// Everything the frame needs, checked against the rows it is for before any of it is allocated.
bool MemoryIsInBounds(const JpegDecoder& d)
{
    int64_t needed = 0;
    for (int i = 0; i < d.componentCount; ++i) {
        const Component& c = d.components[i];
        needed += PlaneBytes(d, c);
        if (d.stored && d.process != Process::lossless) needed += StoredBlocks(d, c) * (128 + 8);
    }
    const int64_t frameBytes =
        static_cast<int64_t>(d.width) * std::max(1, d.destinationRows) * d.bitsPerPixel / 8;
    return needed <= kFixedMemory + kMemoryPerFrameByte * frameBytes;
}

void AllocateComponent(const JpegDecoder& d, Component* c)
{
    c->planeBytes = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(PlaneBytes(d, *c)));
    c->plane = c->planeBytes.get();
    if (d.stored && d.process == Process::lossless)
        std::memset(c->plane, 0, static_cast<size_t>(PlaneBytes(d, *c)));  // a component may have no scan
    if (!d.stored || d.process == Process::lossless) return;
    c->coefficients = std::make_unique<int16_t[]>(static_cast<size_t>(StoredBlocks(d, *c)) * 64);
    c->nonZero = std::make_unique<uint64_t[]>(static_cast<size_t>(StoredBlocks(d, *c)));
}

/// Work that a scan may cost, in coefficients: T.81 G refinement looks at every one of its band.
int64_t ScanWork(const JpegDecoder& d)
{
    int64_t blocks = 0;
    for (int i = 0; i < d.scan.count; ++i) blocks += StoredBlocks(d, d.components[d.scan.component[i]]);
    if (d.process == Process::lossless) return blocks;
    const bool refinesBand = d.process == Process::progressive && d.scan.bitHigh > 0;
    return blocks * (d.process == Process::sequential ? 64
                     : refinesBand                    ? d.scan.spectralLast - d.scan.spectralFirst + 1
                                                      : 1);
}

void FreezeQuantTables(JpegDecoder* d)
{
    for (int i = 0; i < d->scan.count; ++i) {
        Component& c = d->components[d->scan.component[i]];
        if (c.scanned || d->process == Process::lossless) continue;
        c.scanned = true;
        for (int k = 0; k < 64; ++k) c.quant[kZigzagToNatural[k]] = d->quant[c.quantTable][k];
    }
}

/// The scans of a frame that keeps its coefficients (or lossless planes) until the last one.
int32_t DecodeStoredScans(JpegDecoder* d)
{
    for (int scans = 0; scans < kMaxScans; ++scans) {
        d->workLeft -= ScanWork(*d);
        if (d->workLeft < 0) break;  // the picture as far as it has come
        FreezeQuantTables(d);
        StartScan(d);
        if (d->process == Process::progressive)
            DecodeProgressiveScan(d);
        else if (d->process == Process::lossless)
            DecodeLosslessScan(d);
        else
            DecodeStoredScan(d);
        LeaveScan(d);
        const int32_t found = ReadMarkers(d);
        if (found < 0) return found;
        if (found == kMarkersEnd) break;
        if (int32_t status = CheckScanTables(*d); status < 0) return status;
    }
    if (d->process == Process::lossless)
        EmitRows(d, d->height);
    else
        ReconstructStored(d);
    return 0;
}
}  // namespace

int32_t PrepareFrame(JpegDecoder* d)
{
    d->unit = d->process == Process::lossless ? 1 : 8;
    d->maxH = d->maxV = 1;
    for (int i = 0; i < d->componentCount; ++i) {
        d->maxH = std::max(d->maxH, d->components[i].h);
        d->maxV = std::max(d->maxV, d->components[i].v);
    }
    d->mcusAcross = CeilDivide(d->width, d->unit * d->maxH);
    d->mcuRows = CeilDivide(d->height, d->unit * d->maxV);
    if (d->mcusAcross == 0 || d->mcuRows == 0) return kCodecEmptyRegion;
    const int rows = std::min(d->height, d->destinationRows);
    d->neededMcuRows = CeilDivide(rows, d->unit * d->maxV);
    if (InterpolatesAnyRows(*d)) d->neededMcuRows = std::min(d->neededMcuRows + 1, d->mcuRows);
    d->stored = d->process == Process::progressive || d->scan.count < d->componentCount;
    if (d->process == Process::sequential && !d->stored)
        FindIntervals(d, static_cast<int64_t>(d->mcusAcross) * d->neededMcuRows);
    const bool keepsRows = (d->stored && d->process == Process::lossless) || !d->intervals.empty();
    d->ringBands = keepsRows ? std::max(1, d->neededMcuRows) : 2;
    for (int i = 0; i < d->componentCount; ++i) MeasureComponent(*d, &d->components[i]);
    if (!MemoryIsInBounds(*d)) return kCodecNoMemory;
    for (int i = 0; i < d->componentCount; ++i) AllocateComponent(*d, &d->components[i]);
    d->scratchStride = (static_cast<size_t>(d->width) + 4 * kRowSlack) * 2;
    const size_t threads = d->intervals.empty() ? 1 : d->workers->Count();
    d->scratch = std::make_unique_for_overwrite<uint8_t[]>(d->scratchStride * kScratchRows * threads);
    d->workLeft =
        64 * (static_cast<int64_t>(d->width) * rows * d->componentCount + static_cast<int64_t>(d->length)) +
        1000000;
    return 0;
}

int32_t DecodeFrame(JpegDecoder* d)
{
    if (d->neededMcuRows == 0) return 0;
    if (d->stored) return DecodeStoredScans(d);
    FreezeQuantTables(d);
    StartScan(d);
    if (d->process == Process::lossless)
        DecodeLosslessScan(d);
    else
        DecodeInterleavedScan(d);
    return 0;
}

void StartScan(JpegDecoder* d)
{
    d->reader.Start(d->source + d->position, d->End());
    d->nextRestart = 0;
    d->unitsToRestart = d->restartInterval;
    for (Component& c : d->components) c.prediction = 0;
}

const uint8_t* FindMarker(const uint8_t* at, const uint8_t* end)
{
    while (end - at >= 2) {
        at = static_cast<const uint8_t*>(std::memchr(at, 0xFF, static_cast<size_t>(end - at - 1)));
        if (at == nullptr) return end;
        if (at[1] != 0 && at[1] != 0xFF) return at;
        ++at;
    }
    return end;
}

void FindIntervals(JpegDecoder* d, int64_t units)
{
    d->intervals.clear();
    if (d->restartInterval == 0 || units <= d->restartInterval || units < kMinUnitsToShare) return;
    d->workers = std::make_unique<CodecWorkers>(d->threads);
    if (d->workers->Count() < 2) return;
    const uint8_t* at = d->source + d->position;
    d->intervals.push_back(at);
    for (int64_t done = d->restartInterval; done < units; done += d->restartInterval) {
        at = FindMarker(at, d->End());
        const int expected = 0xD0 + static_cast<int>((d->intervals.size() - 1) & 7);
        if (at == d->End() || at[1] != expected) return d->intervals.clear();
        d->intervals.push_back(at += 2);
    }
}

void Restart(JpegDecoder* d)
{
    const int expected = d->nextRestart;
    d->nextRestart = (d->nextRestart + 1) & 7;
    d->unitsToRestart = d->restartInterval;
    for (Component& c : d->components) c.prediction = 0;
    const uint8_t* at = d->reader.next;
    for (;;) {
        at = FindMarker(at, d->End());
        const int ahead = at == d->End() || at[1] < 0xD0 || at[1] > 0xD7 ? -1 : (at[1] - 0xD0 - expected) & 7;
        if (ahead == 6 || ahead == 7) {
            at += 2;  // a marker that comes a second time
            continue;
        }
        const bool missing = ahead == -1 || ahead == 1 || ahead == 2;
        d->reader.Start(missing ? at : at + 2, d->End());
        if (missing) d->reader.Abandon();  // nothing of this interval is there
        return;
    }
}

void LeaveScan(JpegDecoder* d)
{
    const uint8_t* at = d->reader.next;
    do at = FindMarker(at, d->End());
    while (at != d->End() && at[1] >= 0xD0 && at[1] <= 0xD7 && (at += 2) != nullptr);
    d->position = static_cast<size_t>(at - d->source);
}

int32_t CompleteRows(const JpegDecoder& d, int bands)
{
    if (bands >= d.neededMcuRows) return d.height;
    return bands * d.unit * d.maxV - (InterpolatesAnyRows(d) ? 1 : 0);
}
}  // namespace talv::jpeg
