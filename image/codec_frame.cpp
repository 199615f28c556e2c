#include "image/codec_frame.h"

#include "codecs/codec_status.h"
#include "codecs/entry_points.h"
#include "dicom/reader.h"

namespace talv {
namespace {
uint32_t CodecDepth(const PixelLayout& layout)
{
    return static_cast<uint32_t>(layout.pixelStride * 8);
}

DicomStatus DicomFromCodec(int32_t result)
{
    if (result == kCodecOk) return kDicomOk;
    return result < 0 ? static_cast<DicomStatus>(result) : DicomStatus{kDicomNoFrame};
}

DicomStatus DecodeJpeg(DicomDataSet* dataSet, const FrameLocation& location, const PixelLayout& layout,
                       EncodedFrame* encoded, uint8_t* target, bool* wrongDepth)
{
    const auto load = reinterpret_cast<LoadBufferCmpFunction>(dataSet->tables.codecs.loadBufferCmp);
    if (load == nullptr) return kDicomCodecMissing;
    if (DicomStatus status = ReadEncodedFrame(dataSet, location, encoded); status != kDicomOk) return status;
    const int32_t result = load(encoded->bytes.get(), static_cast<uint32_t>(encoded->count), target, 0,
                                static_cast<int32_t>(layout.columns), static_cast<int32_t>(layout.rows),
                                CodecDepth(layout), nullptr, 0);
    *wrongDepth = result == kCodecBadDepth;
    return DicomFromCodec(result);
}

DicomStatus DecodeJ2k(DicomDataSet* dataSet, const FrameLocation& location, const PixelLayout& layout,
                      EncodedFrame* encoded, uint8_t* target)
{
    const auto decompress =
        reinterpret_cast<J2kDecompressFrameFunction>(dataSet->tables.codecs.j2kDecompressFrame);
    if (decompress == nullptr) return kDicomCodecMissing;
    if (DicomStatus status = ReadEncodedFrame(dataSet, location, encoded); status != kDicomOk) return status;
    J2KFrameDescriptor descriptor{};
    descriptor.size = sizeof descriptor;
    descriptor.field1 = 1;
    descriptor.field3 = 1;
    descriptor.sourceLength = static_cast<uint32_t>(encoded->count);
    descriptor.bytesPerLine = static_cast<uint32_t>(layout.rowStride);
    descriptor.bitsPerPixel = CodecDepth(layout);
    descriptor.field7 = 1;
    descriptor.field8 = 1;
    descriptor.width = layout.columns;
    descriptor.height = layout.rows;
    descriptor.field11 = 3;
    descriptor.field12 = 1;
    descriptor.field13 = 1;
    return decompress(encoded->bytes.get(), target, &descriptor) >= 0 ? kDicomOk : kDicomNoFrame;
}
}  // namespace

DicomStatus DecodeCodecFrame(DicomDataSet* dataSet, int32_t compression, const FrameLocation& location,
                             const PixelLayout& layout, EncodedFrame* encoded, uint8_t* target,
                             bool* wrongDepth)
{
    *wrongDepth = false;
    switch (compression) {
        case kCompressionJpegLossless:
        case kCompressionJpegLossy:
            return DecodeJpeg(dataSet, location, layout, encoded, target, wrongDepth);
        case kCompressionJ2kLossless:
        case kCompressionJ2k:
            return DecodeJ2k(dataSet, location, layout, encoded, target);
        default:
            return kDicomUnsupportedCompression;
    }
}
}  // namespace talv
