#include "codecs/jpeg/load_buffer.h"

#include <cstring>

#include "codecs/jpeg/cmp_header.h"
#include "codecs/jpeg/field_rows.h"
#include "codecs/jpeg/jpeg_decoder.h"

namespace talv {
namespace {
using namespace jpeg;

constexpr uint32_t kRowResetFlag = 1u << 28;
constexpr uint32_t kFirstFieldFlag = 1u << 31;

enum StreamKind : int32_t
{
    kDetect = 0,
    kRawWithTables = -5,
    kRawWithTables20 = -20,
    kRawFrame = -10,
    kJpegKind = 10,
};

/// The kind by the first two bytes; 0 for a TIFF header.
int32_t DetectKind(const LoadRequest& request)
{
    if (LooksLikeCmp(request.source, request.sourceLength)) return kCmpKind;
    if (request.sourceLength >= 2) {
        const char first = static_cast<char>(request.source[0]);
        if (first == static_cast<char>(request.source[1]) && (first == 'I' || first == 'M')) return 0;
    }
    return kJpegKind;
}

bool IsRaw(int32_t kind)
{
    return kind == kRawFrame || kind == kRawWithTables || kind == kRawWithTables20;
}

int32_t UseFormatTables(const LoadRequest& request, JpegDecoder* d)
{
    d->rawFrame = IsRaw(request.format);
    if (!d->rawFrame || request.format == kRawFrame) return 0;
    const auto* tables = static_cast<const FormatTables*>(request.formatTables);
    if (tables == nullptr || tables->size < sizeof(FormatTables)) return kCodecUnsupported;
    d->callerTables = tables;
    if (tables->searchRange != 0) d->searchRange = static_cast<int32_t>(tables->searchRange);
    return 0;
}

/// The rows of the destination in the order of the picture.
RowTable DestinationRows(const LoadRequest& request)
{
    const int32_t count = request.height < 0 ? -request.height : request.height;
    const uint64_t bits = static_cast<uint64_t>(static_cast<uint32_t>(request.width)) * request.bitsPerPixel;
    const auto stride = static_cast<ptrdiff_t>(((bits + 31) >> 5) * 4);
    if (request.height < 0 && count > 0) return {request.dest + (count - 1) * stride, -stride, count};
    return {request.dest, stride, count};
}

/// The header, and whether the picture fits the destination.
int32_t OpenFrame(const LoadRequest& request, int32_t kind, JpegDecoder* d)
{
    d->level = request.level;
    d->threads = request.threads;
    d->kernels = SelectJpegKernels(d->level);
    d->rowReset = (request.flags & kRowResetFlag) != 0;
    d->bitsPerPixel = request.bitsPerPixel;
    const int32_t status = IsCmpKind(kind) ? ReadCmpHeader(d) : ReadHeader(d);
    if (status < 0) return status;
    if (request.width < d->width) return kCodecTooNarrow;
    const bool wideGrey = request.bitsPerPixel == 16 && d->componentCount == 1;
    if (request.bitsPerPixel != 8 * static_cast<uint32_t>(d->componentCount) && !wideGrey)
        return kCodecBadDepth;
    return 0;
}
}  // namespace

int32_t LoadBuffer(const LoadRequest& request)
{
    auto decoder = std::make_unique_for_overwrite<JpegDecoder>();
    if (int32_t status = UseFormatTables(request, decoder.get()); status < 0) return status;
    if (request.source == nullptr) return IsRaw(request.format) ? kCodecNotReadable : kCodecNoReader;
    decoder->source = request.source;
    decoder->length = request.sourceLength;
    const int32_t kind = request.format == kDetect ? DetectKind(request) : request.format;
    if (kind == 0) return kCodecUnsupported;
    if (int32_t status = OpenFrame(request, kind, decoder.get()); status < 0) return status;
    const RowTable rows = DestinationRows(request);
    // A stream that says it is a field is one however tall it is; what half the rows cannot hold is dropped.
    const bool fields = decoder->polarity != FieldPolarity::none || decoder->height <= (rows.count + 1) / 2;
    if (fields) return DecodeFields(decoder.get(), rows, (request.flags & kFirstFieldFlag) != 0);
    decoder->rows = rows;
    decoder->destinationRows = rows.count;
    if (int32_t status = PrepareFrame(decoder.get()); status < 0) return status;
    const int32_t status = DecodeFrame(decoder.get());
    return status < 0 ? status : static_cast<int32_t>(kCodecOk);
}
}  // namespace talv
