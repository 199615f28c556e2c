#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "codecs/jpeg/cmp_header.h"
#include "codecs/jpeg/jpeg_encoder.h"

namespace talv::jpeg {
namespace {
using ByteString = std::vector<uint8_t>;

constexpr size_t kMaxSegmentText = 65533;

void Append(ByteString* out, const void* bytes, size_t count)
{
    const auto* first = static_cast<const uint8_t*>(bytes);
    out->insert(out->end(), first, first + count);
}

void AppendBe16(ByteString* out, size_t value)
{
    out->push_back(static_cast<uint8_t>(value >> 8));
    out->push_back(static_cast<uint8_t>(value));
}

/// Marker and length; `payload` bytes follow.
void BeginSegment(ByteString* out, int marker, size_t payload)
{
    out->push_back(0xFF);
    out->push_back(static_cast<uint8_t>(marker));
    AppendBe16(out, payload + 2);
}

void AppendSegment(ByteString* out, int marker, const ByteString& payload)
{
    BeginSegment(out, marker, payload.size());
    Append(out, payload.data(), payload.size());
}

struct Coding
{
    int quality;
    int colourMode;
    int restartInterval;
};

Coding ReadCoding(const SaveRequest& r)
{
    const int mode = static_cast<int>(r.coding >> 8 & 0xFF);
    // CMP streams hold no red, green and blue: their nearest form has all colour differences.
    return {static_cast<int>(r.coding & 0xFF), IsCmpKind(r.kind) && mode == 12 ? 1 : mode,
            static_cast<int>(r.coding >> 16)};
}

int32_t CheckRequest(const SaveRequest& r)
{
    const BitmapHeader& h = *r.header;
    if (h.size != sizeof h || (r.extras != nullptr && r.extras->size != sizeof(SaveExtras)))
        return kCodecInvalidParameter;
    const int bits = IsPacked422(h) ? 24 : h.bitsPerPixel;
    if (bits != 8 && bits != 12 && bits != 16 && bits != 24 && bits != 32) return kCodecBadDepth;
    if (bits == 16 && (r.sixteenBitLimit != 0 || IsCmpKind(r.kind))) return kCodecSixteenBits;
    const int mode = ReadCoding(r).colourMode;
    if (mode > 12 || (mode == 7 && IsCmpKind(r.kind))) return kCodecBadColourMode;
    if (h.width < 1 || h.width > 65535 || h.height == 0 || h.height == INT32_MIN ||
        std::abs(h.height) > 65535)
        return kCodecInvalidParameter;
    // Four planes of words, filled up to whole MCUs.
    const int64_t planeBytes = (h.width + int64_t{32}) * (std::abs(h.height) + int64_t{32}) * 2;
    return planeBytes * kMaxComponents > PTRDIFF_MAX ? static_cast<int32_t>(kCodecNoMemory) : 0;
}

void AppendJfif(ByteString* out, const SaveExtras* extras)
{
    static constexpr uint8_t kJfif[14] = {'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0};
    BeginSegment(out, 0xE0, sizeof kJfif);
    Append(out, kJfif, sizeof kJfif);
    if (extras == nullptr || extras->thumbnail == nullptr) return;
    const size_t pixels = static_cast<size_t>(extras->thumbnailWidth) * extras->thumbnailHeight;
    if (extras->thumbnailWidth > 255 || extras->thumbnailHeight > 255 || pixels == 0 ||
        pixels * 3 + 8 > kMaxSegmentText)
        return;
    BeginSegment(out, 0xE0, 8 + pixels * 3);
    Append(out, "JFXX\0\x13", 6);
    out->push_back(static_cast<uint8_t>(extras->thumbnailWidth));
    out->push_back(static_cast<uint8_t>(extras->thumbnailHeight));
    Append(out, extras->thumbnail, pixels * 3);
}

void AppendMotionFrame(ByteString* out, uint32_t options)
{
    ByteString payload(14, 0);
    std::memcpy(payload.data(), "AVI1", 4);
    payload[4] = (options & kSaveFirstField) != 0 ? 1 : (options & kSaveSecondField) != 0 ? 2 : 0;
    AppendSegment(out, 0xE0, payload);
}

/// Red, green and blue as they are: other readers take the colours of a JFIF stream for Y, Cb and Cr.
void AppendAdobe(ByteString* out)
{
    static constexpr uint8_t kAdobe[12] = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
    BeginSegment(out, 0xEE, sizeof kAdobe);
    Append(out, kAdobe, sizeof kAdobe);
}

void AppendApplicationSegments(ByteString* out, const SaveRequest& r, const EncoderPicture& picture)
{
    const size_t components = picture.planes[0].size();
    const bool exif = (r.options & kSaveExif) != 0 && r.extras != nullptr && r.extras->exif != nullptr;
    if ((r.options & kSaveNitf) != 0) {
        ByteString payload(23, 0);  // a segment of length 25
        std::memcpy(payload.data(), "NITF", 5);
        payload[5] = 2;  // version 2.00
        payload[7] = components > 1 ? 'P' : 'B';
        payload[8] = payload[10] = 1;
        AppendSegment(out, 0xE6, payload);
    } else if (exif) {
        const size_t length = std::min<size_t>(r.extras->exifLength, kMaxSegmentText - 6);
        BeginSegment(out, 0xE1, 6 + length);
        Append(out, "Exif\0\0", 6);
        Append(out, r.extras->exif, length);
    } else if ((r.options & kSaveMotionFrame) != 0) {
        AppendMotionFrame(out, r.options);
    } else if (picture.rgb) {
        AppendAdobe(out);
    } else {
        static constexpr char kSignature[29] = "Talv Systems Inc. V1.01";  // a segment of length 31
        AppendJfif(out, r.extras);
        BeginSegment(out, 0xFE, sizeof kSignature);
        Append(out, kSignature, sizeof kSignature);
    }
}

void AppendComment(ByteString* out, const SaveExtras* extras)
{
    if (extras == nullptr || extras->comment == nullptr) return;
    const size_t length = std::min<size_t>(extras->commentLength, kMaxSegmentText);
    BeginSegment(out, 0xFE, length);
    Append(out, extras->comment, length);
}

void AppendHuffmanTable(ByteString* out, int kindAndSlot, const HuffmanCounts& counted)
{
    BeginSegment(out, 0xC4, 17 + static_cast<size_t>(counted.symbolCount));
    out->push_back(static_cast<uint8_t>(kindAndSlot));
    Append(out, counted.counts + 1, 16);
    Append(out, counted.symbols, static_cast<size_t>(counted.symbolCount));
}

void AppendFrameHeader(ByteString* out, const EncoderPicture& picture)
{
    const std::vector<EncoderPlane>& planes = picture.planes[0];
    BeginSegment(out, picture.lossless ? 0xC3 : 0xC0, 6 + 3 * planes.size());
    out->push_back(static_cast<uint8_t>(picture.precision));
    AppendBe16(out, static_cast<size_t>(picture.height));
    AppendBe16(out, static_cast<size_t>(picture.width));
    out->push_back(static_cast<uint8_t>(planes.size()));
    for (size_t i = 0; i < planes.size(); ++i) {
        out->push_back(picture.rgb ? static_cast<uint8_t>("RGB"[i]) : static_cast<uint8_t>(i + 1));
        out->push_back(static_cast<uint8_t>(planes[i].h << 4 | planes[i].v));
        out->push_back(i == 0 || planes.size() == 4 ? 0 : 1);
    }
}

void AppendScanHeader(ByteString* out, const EncoderPicture& picture)
{
    const size_t count = picture.planes[0].size();
    BeginSegment(out, 0xDA, 4 + 2 * count);
    out->push_back(static_cast<uint8_t>(count));
    for (size_t i = 0; i < count; ++i) {
        out->push_back(picture.rgb ? static_cast<uint8_t>("RGB"[i]) : static_cast<uint8_t>(i + 1));
        out->push_back(i == 0 || count == 4 || picture.lossless ? 0 : 0x11);
    }
    out->push_back(picture.lossless ? 1 : 0);
    out->push_back(picture.lossless ? 0 : 63);
    out->push_back(0);
}

/// Restart interval of the stream: fields are apart by a restart marker, and whole rows or fields between
/// markers. The lossless process restarts at the start of a row only, so its interval is rounded up.
int RestartInterval(const Coding& coding, const EncoderPicture& picture)
{
    const int across = picture.mcusAcross;
    if (picture.fields > 1) {
        const int64_t field = static_cast<int64_t>(across) * picture.mcuRows;
        return field <= 65535 ? static_cast<int>(field) : across;
    }
    if (!picture.lossless) return coding.restartInterval;
    return std::min((coding.restartInterval + across - 1) / across, 65535 / across) * across;
}

void AppendRestartInterval(ByteString* out, int interval)
{
    BeginSegment(out, 0xDD, 2);
    AppendBe16(out, static_cast<size_t>(interval));
}

ByteString WriteJpeg(const SaveRequest& r, const EncoderPicture& picture)
{
    const Coding coding = ReadCoding(r);
    const size_t components = picture.planes[0].size();
    ByteString out = {0xFF, 0xD8};
    AppendApplicationSegments(&out, r, picture);
    const int interval = RestartInterval(coding, picture);
    if (interval != 0) AppendRestartInterval(&out, interval);
    ByteString scan;
    if (picture.lossless) {
        HuffmanCounts table;
        EncodeLosslessScan(picture, interval, &table, &scan);
        AppendComment(&out, r.extras);
        AppendFrameHeader(&out, picture);
        AppendHuffmanTable(&out, 0, table);
    } else {
        auto tables = std::make_unique_for_overwrite<JpegDecoder>();
        UseBuiltInTables(tables.get(), 1, false, coding.quality);
        for (int slot = 0; slot < (components == 3 ? 2 : 1); ++slot) {
            ByteString payload = {static_cast<uint8_t>(slot)};
            for (uint16_t entry : tables->quant[slot]) payload.push_back(static_cast<uint8_t>(entry));
            AppendSegment(&out, 0xDB, payload);
        }
        AppendComment(&out, r.extras);
        AppendFrameHeader(&out, picture);
        BeginSegment(&out, 0xC4, sizeof kStandardHuffmanTables);
        Append(&out, kStandardHuffmanTables, sizeof kStandardHuffmanTables);
        EncodeDctScan(picture, tables->dcSpecs, tables->acSpecs, tables->quant, interval, &scan);
    }
    AppendScanHeader(&out, picture);
    Append(&out, scan.data(), scan.size());
    Append(&out, "\xFF\xD9", 2);
    return out;
}

void PutLe16(ByteString* out, size_t at, size_t value)
{
    (*out)[at] = static_cast<uint8_t>(value);
    (*out)[at + 1] = static_cast<uint8_t>(value >> 8);
}

/// A CMP stream; the extended header when restart intervals have to be told.
ByteString WriteCmp(const SaveRequest& r, const EncoderPicture& picture)
{
    const Coding coding = ReadCoding(r);
    const bool grey = picture.planes[0].size() == 1;
    const bool extended = coding.restartInterval != 0;
    ByteString out(kCmpHeaderBytes + (extended ? kCmpExtensionBytes : 0), 0);
    std::memcpy(out.data(), extended ? "Talv" : "TALV", 4);
    out[6] = static_cast<uint8_t>((grey ? 0x60 : 0x00) | (picture.fields > 1 ? 0x80 : 0));
    PutLe16(&out, 12, grey ? 1 : static_cast<size_t>(coding.colourMode));
    PutLe16(&out, 16, static_cast<size_t>(picture.width));
    const int rows = std::abs(r.header->height);
    PutLe16(&out, 18, static_cast<size_t>(extended ? rows : picture.height));
    out[22] = static_cast<uint8_t>(coding.quality);
    const int interval = extended ? RestartInterval(coding, picture) : 0;
    if (extended) {
        AppendRestartInterval(&out, interval);
        out[kCmpHeaderBytes] = 8;
        PutLe16(&out, kCmpHeaderBytes + 10, out.size());
    }
    const size_t payload = out.size();
    auto tables = std::make_unique_for_overwrite<JpegDecoder>();
    UseBuiltInTables(tables.get(), grey ? 0 : 1, grey, coding.quality);
    EncodeDctScan(picture, tables->dcSpecs, tables->acSpecs, tables->quant, interval, &out);
    Append(&out, "\xFF\xD9", 2);
    for (size_t i = payload; i < out.size(); ++i) out[i] ^= 0x80;
    return out;
}
}  // namespace

int32_t SaveBuffer(const SaveRequest& r)
{
    if (int32_t status = CheckRequest(r); status < 0) return status;
    const bool cmp = IsCmpKind(r.kind);
    const int bits = r.header->bitsPerPixel;
    EncoderPicture picture;
    picture.precision = (bits == 12 || bits == 16) && !IsPacked422(*r.header) && !cmp ? bits : 8;
    picture.lossless = picture.precision > 8 || ((r.options & kSaveLossless) != 0 && !cmp);
    picture.fields = (r.options & kSaveFields) != 0 && std::abs(r.header->height) > 1 ? 2 : 1;
    FillPicture(r.source, *r.header, ReadCoding(r).colourMode, &picture);
    const ByteString stream = cmp ? WriteCmp(r, picture) : WriteJpeg(r, picture);
    const uint32_t room = *r.outputSize;
    *r.outputSize = static_cast<uint32_t>(stream.size());
    if (stream.size() > room) return kCodecInvalidParameter;
    std::memcpy(r.output, stream.data(), stream.size());
    return kCodecOk;
}
}  // namespace talv::jpeg
