#include "codecs/jpeg/cmp_header.h"

#include <algorithm>
#include <cstring>

namespace talv::jpeg {
namespace {
int Le16(const uint8_t* p)
{
    return p[0] | p[1] << 8;
}
uint32_t Le32(const uint8_t* p)
{
    return static_cast<uint32_t>(Le16(p)) | static_cast<uint32_t>(Le16(p + 2)) << 16;
}

/// Components and tables of a colour mode; no components for an unknown one.
struct ColourMode
{
    int components;
    int huffmanSet;
};

ColourMode ReadColourMode(int mode)
{
    switch (mode & 0x70) {
        case 0x00:
            return {3, 1};
        case 0x10:
            return {3, 3};
        case 0x20:
            return {3, 2};
        case 0x60:
            return {1, 0};
        default:
            return {0, 0};
    }
}

/// Sampling factors of the first component under a layout code; the others have 1 by 1.
constexpr uint8_t kLayouts[9] = {0x22, 0x11, 0x21, 0x12, 0x22, 0x41, 0x42, 0x14, 0x24};

/// Skips the thumbnail block at `at`; 0 when it does not fit.
size_t ThumbnailEnd(const JpegDecoder& d, size_t at)
{
    if (d.length - at < 3) return 0;
    const uint8_t* p = d.source + at;
    const size_t bytes = static_cast<size_t>(p[0]) * p[1] * (p[2] / 8u) + (p[2] == 8 ? 768 : 0);
    return d.length - at - 3 < bytes ? 0 : at + 3 + bytes;
}

/// The additional tables: DQT, DHT and DRI segments as in a JPEG stream, up to `end` at most. Inverted
/// entropy coded data may look like one of them.
int32_t ReadAdditionalTables(JpegDecoder* d, size_t* at, size_t end)
{
    while (end - *at >= 4 && d->source[*at] == 0xFF) {
        const uint8_t* p = d->source + *at;
        if (p[1] != 0xDB && p[1] != 0xC4 && p[1] != 0xDD) break;
        const size_t size = static_cast<size_t>(p[2]) << 8 | p[3];
        if (size < 2 || size > end - *at - 2) return kCodecUnsupported;
        const int64_t payload = static_cast<int64_t>(size) - 2;
        int32_t status = 0;
        if (p[1] == 0xDB)
            status = ReadQuantTables(d, p + 4, payload);
        else if (p[1] == 0xC4)
            status = ReadHuffmanTables(d, p + 4, payload);
        else if (payload >= 2)
            d->restartInterval = p[4] << 8 | p[5];
        if (status < 0) return status;
        *at += 2 + size;
    }
    return 0;
}

/// Replaces the source by a copy with the payload from `start` on as JPEG has it. The caller's buffer is
/// never written: it may be read-only or shared.
void RevertPayload(JpegDecoder* d, size_t start)
{
    d->ownSource = std::make_unique_for_overwrite<uint8_t[]>(d->length);
    std::copy_n(d->source, d->length, d->ownSource.get());
    for (size_t i = start; i < d->length; ++i) d->ownSource[i] ^= 0x80;
    d->source = d->ownSource.get();
}

void SetComponents(JpegDecoder* d, int count, int layout)
{
    d->componentCount = count;
    d->scan = ScanHeader{};
    d->scan.count = count;
    d->scan.spectralLast = 63;
    for (int i = 0; i < count; ++i) {
        Component& c = d->components[i];
        const int slot = i == 0 ? 0 : 1;
        c.id = i + 1;
        c.h = i == 0 && count > 1 ? kLayouts[layout] >> 4 : 1;
        c.v = i == 0 && count > 1 ? kLayouts[layout] & 15 : 1;
        c.quantTable = i;
        c.dcTable = c.acTable = slot;
        d->scan.component[i] = i;
        std::fill(std::begin(c.lowestBit), std::end(c.lowestBit), int8_t{-1});
    }
}
}  // namespace

bool LooksLikeCmp(const uint8_t* source, size_t length)
{
    return length >= 2 && source[0] == 'T' && (source[1] == 'A' || source[1] == 'a');
}

void UseBuiltInTables(JpegDecoder* d, int huffmanSet, bool grey, int quality)
{
    // Sets by slot 0 and 1: 0 and 2 luminance only, 1 luminance and chrominance, 3 chrominance only.
    ReadHuffmanTables(d, kStandardHuffmanTables, sizeof kStandardHuffmanTables);
    if (huffmanSet == 0 || huffmanSet == 2) {
        d->dcSpecs[1] = d->dcSpecs[0];
        d->acSpecs[1] = d->acSpecs[0];
    } else if (huffmanSet == 3) {
        d->dcSpecs[0] = d->dcSpecs[1];
        d->acSpecs[0] = d->acSpecs[1];
    }
    for (int slot = 0; slot < 3; ++slot) {
        ScaleQuantTable(kStandardQuantTables[slot > 0 && !grey ? 1 : 0], quality, d->quant[slot]);
        d->quantDefined[slot] = true;
    }
    d->sawQuantTables = true;
}

int32_t ReadCmpHeader(JpegDecoder* d)
{
    if (d->headerRead) return kCodecHeaderReadTwice;
    d->headerRead = true;
    if (d->length < kCmpHeaderBytes) return kCodecUnsupported;
    const uint8_t* p = d->source;
    const bool extended = std::memcmp(p, "Talv", 4) == 0;
    if (!extended && std::memcmp(p, "TALV", 4) != 0) return kCodecUnsupported;
    size_t at = kCmpHeaderBytes + (extended ? kCmpExtensionBytes : 0);
    const ColourMode mode = ReadColourMode(p[6]);
    d->width = Le16(p + 16);
    d->height = Le16(p + 18);
    if (d->length < at || p[20] == 1 || mode.components == 0 || d->width == 0 || d->height == 0)
        return kCodecUnsupported;
    UseBuiltInTables(d, mode.huffmanSet, mode.components == 1, p[22]);
    if ((p[5] & 0x10) != 0 && (at = ThumbnailEnd(*d, at)) == 0) return kCodecUnsupported;
    if ((p[5] & 1) != 0) {
        if (d->length - at < 768) return kCodecUnsupported;
        at += 768;
    }
    const int code = Le16(p + 12);
    d->layoutCode = code >= 1 && code <= 8 ? code : (p[21] & 0x20) != 0 ? 1 : 4;
    SetComponents(d, mode.components, d->layoutCode);
    const bool interlaced = (p[6] & 0x80) != 0;
    const int options = extended ? p[kCmpHeaderBytes] : 0;
    // The basic header counts the lines of a field, the extended one those of the picture.
    if (interlaced && extended) d->height = (d->height + 1) / 2;
    d->polarity = interlaced ? FieldPolarity::first : FieldPolarity::none;
    d->process = (options & 4) != 0 ? Process::progressive : Process::sequential;
    d->declaredPrecision = d->precision = 8;
    d->sawFrame = true;
    const size_t payload = extended ? Le32(p + kCmpHeaderBytes + 10) : at;
    if ((options & 8) != 0) {
        const size_t end = payload > at && payload <= d->length ? payload : d->length;
        if (int32_t status = ReadAdditionalTables(d, &at, end); status < 0) return status;
    }
    if (Le16(p + 7) != 0 && Le16(p + 9) != 0) {
        d->densityUnit = 1;
        d->densityX = Le16(p + 7);
        d->densityY = Le16(p + 9);
    }
    if (at == d->length) return kCodecUnsupported;
    RevertPayload(d, payload);
    d->position = at;
    if (d->process == Process::progressive) {
        const int32_t found = ReadMarkers(d);
        if (found != kMarkersScan) return found < 0 ? found : static_cast<int32_t>(kCodecUnsupported);
    }
    return CheckScanTables(*d);
}
}  // namespace talv::jpeg
