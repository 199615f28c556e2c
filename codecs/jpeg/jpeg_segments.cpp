#include <algorithm>
#include <cstring>

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
namespace {
int Be16(const uint8_t* p)
{
    return p[0] << 8 | p[1];
}
uint32_t Be32(const uint8_t* p)
{
    return static_cast<uint32_t>(Be16(p)) << 16 | static_cast<uint32_t>(Be16(p + 2));
}
uint32_t Le32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16) | static_cast<uint32_t>(p[3]) << 24;
}

/// The working precision, or 0 for one that is not decoded.
int WorkingPrecision(int declared, Process process)
{
    if (declared < 2 || declared > 16) return 0;
    if (process == Process::lossless) return declared;
    // Kept: a lossy stream of 13 to 16 bits is worked at 16 and then decoded as 8 bits, where a reader would
    // expect a refusal; every depth below 12 but 8 is worked at 12. Pinned by
    // JpegHeader.PrecisionsThatAreWorkedAtAnotherDepth.
    if (declared == 8) return 8;
    return declared <= 12 ? 12 : 8;
}

bool ColourIsRgb(const JpegDecoder& d)
{
    if (d.componentCount != 3) return false;
    if (d.adobe) return d.adobeTransform == 0;
    return d.components[0].id == 'R' && d.components[1].id == 'G' && d.components[2].id == 'B';
}

bool SpectralSelectionFits(const JpegDecoder& d, const ScanHeader& scan)
{
    if (d.process == Process::lossless)
        return scan.spectralFirst >= 1 && scan.spectralFirst <= 7 && scan.bitLow < d.precision;
    if (scan.spectralFirst > scan.spectralLast || scan.spectralLast > 63) return false;
    if (scan.bitHigh > 13 || scan.bitLow > 13) return false;
    if (d.process == Process::sequential) return true;
    if (scan.bitHigh != 0 && scan.bitLow != scan.bitHigh - 1) return false;
    // DC and AC in scans of their own, AC of one component (T.81 G.1.1.1.1).
    return scan.spectralFirst == 0 ? scan.spectralLast == 0 : scan.count == 1;
}

/// Each bit of a coefficient comes once and in order.
bool FollowsEarlierScans(JpegDecoder* d, const ScanHeader& scan)
{
    for (int i = 0; i < scan.count; ++i) {
        Component& c = d->components[scan.component[i]];
        for (int k = scan.spectralFirst; k <= scan.spectralLast; ++k) {
            if (c.lowestBit[k] != (scan.bitHigh == 0 ? -1 : scan.bitHigh)) return false;
            c.lowestBit[k] = static_cast<int8_t>(scan.bitLow);
        }
    }
    return true;
}
}  // namespace

int32_t ReadHuffmanTables(JpegDecoder* d, const uint8_t* payload, int64_t size)
{
    while (size > 0) {
        const int kind = payload[0] >> 4;
        const int slot = payload[0] & 15;
        if (kind > 1) return kCodecUnsupported;
        if (slot > 3) return kind == 0 ? kCodecTooManyDcTables : kCodecTooManyAcTables;
        const int used =
            ReadHuffmanCounts(payload + 1, size - 1, kind == 0 ? &d->dcSpecs[slot] : &d->acSpecs[slot]);
        if (used == 0) return kCodecUnsupported;
        payload += 1 + used;
        size -= 1 + used;
    }
    d->sawHuffmanTables = true;
    return 0;
}

int32_t ReadQuantTables(JpegDecoder* d, const uint8_t* payload, int64_t size)
{
    while (size > 0) {
        const int width = (payload[0] >> 4) + 1;
        const int slot = payload[0] & 15;
        if (slot > 3) return kCodecNoQuantTable;
        if (width > 2 || size < 1 + 64 * width) return kCodecUnsupported;
        for (int k = 0; k < 64; ++k) {
            const uint8_t* entry = payload + 1 + k * width;
            d->quant[slot][k] = static_cast<uint16_t>(width == 2 ? Be16(entry) : *entry);
        }
        d->quantDefined[slot] = true;
        payload += 1 + 64 * width;
        size -= 1 + 64 * width;
    }
    d->sawQuantTables = true;
    return 0;
}

int32_t ReadFrameHeader(JpegDecoder* d, int marker, const uint8_t* payload, int64_t size)
{
    if (size > 18 || size < 6 || d->sawFrame) return kCodecUnsupported;
    const int count = payload[5];
    if ((count != 1 && count != 3 && count != 4) || size < 6 + 3 * count) return kCodecUnsupported;
    d->process = marker == 0xC2   ? Process::progressive
                 : marker == 0xC3 ? Process::lossless
                                  : Process::sequential;
    d->declaredPrecision = payload[0];
    d->precision = WorkingPrecision(d->declaredPrecision, d->process);
    d->height = Be16(payload + 1);
    d->width = Be16(payload + 3);
    d->componentCount = count;
    if (d->precision == 0 || d->width == 0) return kCodecUnsupported;
    for (int i = 0; i < count; ++i) {
        Component& c = d->components[i];
        const uint8_t* entry = payload + 6 + 3 * i;
        c.id = entry[0];
        c.h = entry[1] >> 4;
        c.v = entry[1] & 15;
        c.quantTable = entry[2];
        if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4) return kCodecUnsupported;
        for (int k = 0; k < i; ++k)
            if (d->components[k].id == c.id) return kCodecUnsupported;
        std::fill(std::begin(c.lowestBit), std::end(c.lowestBit), int8_t{-1});
    }
    if (count == 1) d->components[0].h = d->components[0].v = 1;
    d->sawFrame = true;
    if (count == 1) CountTowardsOffset(d, 2);
    return 0;
}

int32_t ReadScanHeader(JpegDecoder* d, const uint8_t* payload, int64_t size)
{
    if (!d->sawFrame || size < 1) return kCodecUnsupported;
    ScanHeader scan;
    scan.count = payload[0];
    if (scan.count < 1 || scan.count > d->componentCount || size < 4 + 2 * scan.count)
        return kCodecUnsupported;
    int blocks = 0;
    for (int i = 0; i < scan.count; ++i) {
        const uint8_t* entry = payload + 1 + 2 * i;
        int index = 0;
        while (index < d->componentCount && d->components[index].id != entry[0]) ++index;
        if (index == d->componentCount) return kCodecUnsupported;
        for (int k = 0; k < i; ++k)
            if (scan.component[k] == index) return kCodecUnsupported;
        scan.component[i] = index;
        d->components[index].dcTable = entry[1] >> 4;
        d->components[index].acTable = entry[1] & 15;
        blocks += d->components[index].h * d->components[index].v;
    }
    if (scan.count > 1 && blocks > kMaxBlocksPerMcu) return kCodecUnsupported;
    const uint8_t* tail = payload + 1 + 2 * scan.count;
    scan.spectralFirst = tail[0];
    scan.spectralLast = tail[1];
    scan.bitHigh = tail[2] >> 4;
    scan.bitLow = tail[2] & 15;
    d->rgb = ColourIsRgb(*d);
    if (!SpectralSelectionFits(*d, scan)) return kCodecUnsupported;
    if (d->process == Process::progressive && !FollowsEarlierScans(d, scan)) return kCodecUnsupported;
    d->scan = scan;
    return 0;
}

int32_t CheckScanTables(const JpegDecoder& d)
{
    const bool dct = d.process != Process::lossless;
    const bool needsDc =
        d.process != Process::progressive || (d.scan.spectralFirst == 0 && d.scan.bitHigh == 0);
    const bool needsAc = dct && (d.process == Process::sequential || d.scan.spectralFirst > 0);
    for (int i = 0; i < d.scan.count; ++i) {
        const Component& c = d.components[d.scan.component[i]];
        if (dct && (c.quantTable > 3 || !d.quantDefined[c.quantTable])) return kCodecNoQuantTable;
        if (needsDc && c.dcTable > 3) return kCodecTooManyDcTables;
        if (needsDc && !d.dcSpecs[c.dcTable].defined) return kCodecNoDcTable;
        if (needsAc && c.acTable > 3) return kCodecTooManyAcTables;
        if (needsAc && !d.acSpecs[c.acTable].defined) return kCodecNoAcTable;
    }
    return 0;
}

namespace {
void ReadJfif(JpegDecoder* d, const uint8_t* p)
{
    d->sawJfif = true;
    if (p[7] != 0 || (d->densityX == 0 && d->densityY == 0)) {
        d->densityUnit = p[7];
        d->densityX = Be16(p + 8);
        d->densityY = Be16(p + 10);
    }
    if (p[12] != 0 && p[13] != 0) d->thumbnail = true;
}

void ReadJfifExtension(JpegDecoder* d, const uint8_t* p, int64_t size)
{
    if (size < 6) return;
    if (p[5] == 0x10) d->thumbnail = true;
    if ((p[5] == 0x11 || p[5] == 0x13) && size >= 8 && p[6] != 0 && p[7] != 0) d->thumbnail = true;
}

void ReadMotionFrame(JpegDecoder* d, const uint8_t* p, int64_t size)
{
    const int polarity = p[4] == '1' ? 1 : p[4] == '2' ? 2 : p[4];
    d->rawFrame = true;
    d->polarity = polarity > 2 ? FieldPolarity::none : static_cast<FieldPolarity>(polarity);
    if (size < 14) return;
    if (std::memcmp(p + 10, "96 A", 4) == 0) {
        d->fieldSize = d->fieldSizeUnpadded = d->polarity == FieldPolarity::first ? Le32(p + 6) : 0;
        return;
    }
    d->fieldSize = Be32(p + 6);
    d->fieldSizeUnpadded = Be32(p + 10);
}

bool IsAdobe(const uint8_t* p)
{
    static constexpr char kName[] = "adobe";
    return std::equal(kName, kName + 5, p, [](char a, uint8_t b) { return a == (b | 0x20); });
}
}  // namespace

void ReadApplicationSegment(JpegDecoder* d, int marker, const uint8_t* p, int64_t size)
{
    if (marker == 0xEE && size >= 12 && IsAdobe(p)) {
        d->adobe = true;
        d->adobeTransform = p[11];
    }
    if (marker != 0xE0 || size < 5) return;
    if (size >= 14 && std::memcmp(p, "JFIF", 5) == 0) return ReadJfif(d, p);
    if (d->sawJfif && std::memcmp(p, "JFXX", 5) == 0) return ReadJfifExtension(d, p, size);
    if (std::memcmp(p, "AVI1", 4) == 0) return ReadMotionFrame(d, p, size);
    if (size >= 13 && std::memcmp(p, "TJIF", 4) == 0 && p[12] == 2) d->tjifKind = true;
}

void ReadComment(JpegDecoder* d, const uint8_t* p, int64_t size)
{
    static constexpr char kSignature[] = "Talv Systems Inc. V1.00";
    if (size == 6 && std::memcmp(p, "WANG", 4) == 0) d->offsetCountdown = 4;
    if (size == sizeof kSignature && std::memcmp(p, kSignature, sizeof kSignature) == 0) d->layoutCode = 4;
}

void CountTowardsOffset(JpegDecoder* d, int steps)
{
    if (d->offsetCountdown <= 0) return;
    d->offsetCountdown = std::max(0, d->offsetCountdown - steps);
    if (d->offsetCountdown > 0 || d->callerTables == nullptr) return;
    const FormatTables& tables = *d->callerTables;
    if (tables.streamOffsetCount == 0 || tables.size < sizeof(FormatTables) + 4) return;
    uint32_t offset;
    std::memcpy(&offset, reinterpret_cast<const uint8_t*>(&tables) + sizeof(FormatTables), 4);
    if (offset > d->position && offset < d->length) d->position = offset;
}
}  // namespace talv::jpeg
