#include <cstring>

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
namespace {
constexpr int32_t kRangeAfterMetadata = 25000;

size_t Left(const JpegDecoder& d)
{
    return d.length - d.position;
}
int Byte(const JpegDecoder& d, size_t offset)
{
    return d.source[d.position + offset];
}

bool StartsWith(const JpegDecoder& d, int first, int second)
{
    return Left(d) >= 2 && Byte(d, 0) == first && Byte(d, 1) == second;
}

/// Moves to FF D8 FF no more than `searchRange` bytes ahead; a negative range looks at that many bytes at the
/// end of the stream, backwards.
bool FindStartOfImage(JpegDecoder* d)
{
    const auto found = [d](size_t at) {
        return d->source[at] == 0xFF && d->source[at + 1] == 0xD8 && d->source[at + 2] == 0xFF;
    };
    if (Left(*d) < 3) return false;
    const size_t last = d->length - 3;
    const int64_t range = d->searchRange;
    if (range >= 0) {
        for (size_t at = d->position; at <= last && at - d->position <= static_cast<size_t>(range); ++at)
            if (found(at)) return d->position = at, true;
        return false;
    }
    for (size_t at = last + 1; at-- > d->position && last - at < static_cast<size_t>(-range);)
        if (found(at)) return d->position = at, true;
    return false;
}

int32_t FindStart(JpegDecoder* d)
{
    if (Left(*d) < 2) return kCodecUnsupported;
    if (Left(*d) >= 4 && std::memcmp(d->source + d->position, "\xD0\xCF\x11\xE0", 4) == 0)
        return kCodecUnsupported;
    if (Byte(*d, 0) == 0x18) {
        if (Left(*d) < 3 || Byte(*d, 2) != 0x9C) return kCodecUnsupported;
        d->position += 3;
    } else if (StartsWith(*d, 0xFF, 0xD8) || StartsWith(*d, 0xFF, 0xFE)) {
        return 0;
    }
    return FindStartOfImage(d) ? 0 : static_cast<int32_t>(kCodecUnsupported);
}

/// Skips to the next FF that is followed by a marker code and takes both; -1 when there is none in reach.
int TakeMarker(JpegDecoder* d)
{
    const size_t start = d->position;
    const size_t range = static_cast<size_t>(d->searchRange < 0 ? 0 : d->searchRange);
    for (size_t at = start; at + 1 < d->length && at - start <= range;) {
        if (d->source[at] != 0xFF) {
            ++at;
            continue;
        }
        size_t code = at + 1;
        while (code < d->length && d->source[code] == 0xFF) ++code;
        if (code >= d->length) break;
        if (d->source[code] != 0) {
            d->position = code + 1;
            return d->source[code];
        }
        at = code + 1;
    }
    d->position = d->length;
    return -1;
}

bool HasNoLength(int marker)
{
    return (marker >= 0xD0 && marker <= 0xD9) || (marker >= 0xF0 && marker <= 0xFD);
}

int32_t DefaultHuffmanTables(JpegDecoder* d)
{
    if (d->sawHuffmanTables || d->process == Process::lossless) return 0;
    if (!d->rawFrame && d->callerTables == nullptr) return kCodecNoDcTable;
    return ReadHuffmanTables(d, kStandardHuffmanTables, sizeof kStandardHuffmanTables);
}

int32_t DefaultQuantTables(JpegDecoder* d)
{
    if (d->sawQuantTables) return 0;
    if (d->callerTables == nullptr)
        return d->process == Process::lossless ? 0 : static_cast<int32_t>(kCodecUnsupported);
    const uint32_t set = d->callerTables->quantTableSet;
    if (d->componentCount != 1 || d->precision > 8 || set < 1 || set > 5) return kCodecNoQuantTable;
    static constexpr int kQualityOfSet[5] = {30, 50, 70, 85, 95};
    for (int slot = 0; slot < 4; ++slot) {
        ScaleQuantTable(kStandardQuantTables[0], kQualityOfSet[set - 1], d->quant[slot]);
        d->quantDefined[slot] = true;
    }
    d->sawQuantTables = true;
    return 0;
}

/// Takes the height from the first DNL segment behind the scan (T.81 B.2.5), leaving the position where it
/// is.
int32_t FindNumberOfLines(JpegDecoder* d)
{
    for (size_t at = d->position; at + 1 < d->length;) {
        const void* found = std::memchr(d->source + at, 0xFF, d->length - at - 1);
        if (found == nullptr) break;
        at = static_cast<size_t>(static_cast<const uint8_t*>(found) - d->source);
        const int marker = d->source[at + 1];
        if (marker == 0xFF) {
            ++at;
            continue;
        }
        at += 2;
        if (marker == 0 || (marker >= 0xD0 && marker <= 0xD7)) continue;
        if (marker == 0xD9 || d->length - at < 2) break;
        const size_t size = static_cast<size_t>(d->source[at]) << 8 | d->source[at + 1];
        if (size < 2) return kCodecBadSegmentLength;
        if (size > d->length - at) break;
        if (marker == 0xDC && size >= 4) {
            d->height = d->source[at + 2] << 8 | d->source[at + 3];
            return d->height > 0 ? 0 : static_cast<int32_t>(kCodecUnsupported);
        }
        at += size;
    }
    return kCodecUnsupported;
}

/// One segment; `kMarkersScan` after a scan header, `kMarkersEnd` to go on.
int32_t ReadSegment(JpegDecoder* d, int marker, const uint8_t* payload, int64_t size)
{
    switch (marker) {
        case 0xC0:
        case 0xC1:
        case 0xC2:
        case 0xC3:
            return ReadFrameHeader(d, marker, payload, size);
        case 0xC4: {
            const int32_t status = ReadHuffmanTables(d, payload, size);
            if (status == 0) CountTowardsOffset(d, 1);
            return status;
        }
        case 0xDB:
            return ReadQuantTables(d, payload, size);
        case 0xDD:
            if (size < 2) return kCodecUnsupported;
            d->restartInterval = payload[0] << 8 | payload[1];
            return 0;
        case 0xDC:
            if (size < 2) return kCodecUnsupported;
            // Geometry stands once it is known.
            if (d->sawFrame && d->height == 0) d->height = payload[0] << 8 | payload[1];
            return 0;
        case 0xDA: {
            const int32_t status = ReadScanHeader(d, payload, size);
            return status < 0 ? status : static_cast<int32_t>(kMarkersScan);
        }
        case 0xFE:
            ReadComment(d, payload, size);
            return 0;
        default:
            break;
    }
    if (marker < 0xE0 || marker > 0xEF) return kCodecUnsupported;
    ReadApplicationSegment(d, marker, payload, size);
    if (marker == 0xE1 || marker == 0xED) d->searchRange = kRangeAfterMetadata;
    return 0;
}
}  // namespace

int32_t ReadMarkers(JpegDecoder* d)
{
    for (;;) {
        const int marker = TakeMarker(d);
        if (marker < 0 || marker == 0xD9) return kMarkersEnd;
        if (HasNoLength(marker)) continue;
        if (Left(*d) < 2) return kMarkersEnd;
        const size_t size = static_cast<size_t>(Byte(*d, 0)) << 8 | static_cast<size_t>(Byte(*d, 1));
        if (size < 2) return kCodecUnsupported;
        if (size > Left(*d)) return kMarkersEnd;
        const uint8_t* payload = d->source + d->position + 2;
        d->position += size;
        const int32_t status = ReadSegment(d, marker, payload, static_cast<int64_t>(size) - 2);
        if (status != 0) return status;
    }
}

int32_t ReadHeader(JpegDecoder* d)
{
    if (d->headerRead) return kCodecHeaderReadTwice;
    if (d->source == nullptr) return kCodecNoReader;
    d->headerRead = true;
    if (int32_t status = FindStart(d); status < 0) return status;
    const int32_t found = ReadMarkers(d);
    if (found < 0) return found;
    if (found != kMarkersScan) return kCodecUnsupported;
    if (int32_t status = DefaultHuffmanTables(d); status < 0) return status;
    if (int32_t status = DefaultQuantTables(d); status < 0) return status;
    if (d->height == 0)
        if (int32_t status = FindNumberOfLines(d); status < 0) return status;
    return CheckScanTables(*d);
}
}  // namespace talv::jpeg
