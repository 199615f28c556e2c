#include "image/get_image.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "dicom/reader.h"
#include "image/bitmap_row_writer.h"
#include "image/codec_frame.h"
#include "image/image_cache.h"
#include "image/overlay_planes.h"
#include "image/pixel_conversion.h"
#include "image/rle_decoder.h"
#include "image/value_scaling.h"
#include "raster/palette.h"

namespace talv {
namespace {
/// Frames above this size must bring at least 1 / kLeastShare of it in the file: no coding of a real picture
/// shrinks one further, and a small file never costs a large allocation.
constexpr uint64_t kSuspiciousFrameBytes = uint64_t{64} << 20;
constexpr uint64_t kLeastShare = 1024;
constexpr size_t kSpareBytes = 8;  // behind the frame buffer
constexpr PaletteEntry kBlackAndWhite[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};

struct FreeBlock
{
    void operator()(uint8_t* block) const { std::free(block); }
};

/// The making of one bitmap from one frame.
class FrameJob
{
  public:
    FrameJob(DicomDataSet* dataSet, ImageRecord* record, uint32_t frame, const FrameLocation& location,
             ImageBitmap* bitmap, uint32_t options, const RowReceivers& receivers)
        : dataSet_(dataSet),
          record_(record),
          frameNumber_(frame),
          location_(location),
          bitmap_(bitmap),
          options_(options),
          receivers_(receivers),
          layout_(MakePixelLayout(record->description)),
          asStored_((dataSet->mode & kModeCallerMark) != 0)
    {}

    DicomStatus Run();
    bool stopped() const { return stopped_; }

  private:
    DicomStatus CreateTarget();
    DicomStatus PlaceFrame();
    DicomStatus DecodeFrame();
    DicomStatus DecodeAsColor();
    void Convert(BitmapRowWriter* rows);
    DicomStatus WriteRows();
    DicomStatus FinishBitmap();

    const ImageDescription& description() const { return record_->description; }

    DicomDataSet* dataSet_;
    ImageRecord* record_;
    uint32_t frameNumber_;
    const FrameLocation& location_;
    ImageBitmap* bitmap_;
    uint32_t options_;
    RowReceivers receivers_;
    PixelLayout layout_;
    bool asStored_;  // the caller's mark in the data set's mode asks for the pixels as they are
    uint8_t* frame_ = nullptr;
    std::unique_ptr<uint8_t, FreeBlock> buffer_;
    bool stopped_ = false;
};

DicomStatus FrameJob::CreateTarget()
{
    const auto bits = static_cast<int32_t>(layout_.outputBits);
    const uint32_t order = layout_.outputBits == 16 ? uint32_t{kOrderGrey} : layout_.colorOrder;
    const PaletteEntry* palette = nullptr;
    if (layout_.outputBits == 1)
        palette = kBlackAndWhite;
    else if (layout_.outputBits == 8)
        palette = layout_.grey ? record_->greyPalette.data() : record_->mapping.entries().data();
    // Codecs may leave rows out and callbacks may stop before the last; every other frame fills all its rows.
    const bool allRows = !layout_.fromCodec && receivers_.callback == nullptr;
    const uint32_t memory = allRows ? kMemory | kMemoryAnyContent : uint32_t{kMemory};
    const int32_t status = CreateBitmap(
        bitmap_, kBitmapStructSize, memory, static_cast<int32_t>(layout_.columns),
        static_cast<int32_t>(layout_.rows), bits, order, palette, description().layoutCode, nullptr, 0);
    if (status < 0) return status == kRasterNoMemory ? kDicomNoMemory : kDicomNoFrame;

    if (description().xResolution != 0 && description().yResolution != 0) {
        // Kept: both axes get the horizontal resolution. Pinned by
        // GetImage.BothAxesGetTheHorizontalResolution.
        bitmap_->xResolution = description().xResolution;
        bitmap_->yResolution = description().xResolution;
    }
    return kDicomOk;
}

// A frame whose pixels are as deep as the bitmap's is decoded into the end of the bitmap's own pixels, from
// where every row moves forward to its place; others get a buffer.
DicomStatus FrameJob::PlaceFrame()
{
    const bool sameShape = layout_.pixelStride * 8 == layout_.outputBits &&
                           layout_.frameBytes <= bitmap_->dataSize &&
                           layout_.rowStride * layout_.rows == layout_.frameBytes;
    if (sameShape && receivers_.callback == nullptr && IsPlainMemory(*bitmap_)) {
        frame_ = bitmap_->data + (bitmap_->dataSize - layout_.frameBytes);
        return kDicomOk;
    }
    const size_t bytes = layout_.frameBytes + kSpareBytes;
    buffer_.reset(static_cast<uint8_t*>(layout_.fromCodec ? std::calloc(bytes, 1) : std::malloc(bytes)));
    frame_ = buffer_.get();
    if (frame_ == nullptr) return kDicomNoMemory;
    // What lies behind the bytes that every frame fills.
    const auto filled = static_cast<size_t>(std::min<uint64_t>(layout_.frameBytes, description().frameSize));
    if (!layout_.fromCodec) std::memset(frame_ + filled, 0, bytes - filled);
    return kDicomOk;
}

DicomStatus FrameJob::DecodeFrame()
{
    if (DicomStatus status = PlaceFrame(); status != kDicomOk) return status;
    switch (description().compression) {
        case kCompressionNone:
            return ReadNativeFrame(dataSet_, location_, layout_.frameBytes, frame_);
        case kCompressionRle: {
            EncodedFrame* const encoded = &record_->encoded;
            DicomStatus status = ReadEncodedFrame(dataSet_, location_, encoded);
            if (status != kDicomOk) return status;
            return DecodeRleItem(encoded->bytes.get(), encoded->count, description(), frame_);
        }
        default:
            break;
    }
    bool wrongDepth = false;
    const DicomStatus status = DecodeCodecFrame(dataSet_, description().compression, location_, layout_,
                                                &record_->encoded, frame_, &wrongDepth);
    if (!wrongDepth) return status;
    return layout_.outputBits == 8 && layout_.pixelStride == 1 ? DecodeAsColor() : DicomStatus{kDicomNoFrame};
}

// The stream is in colour although the attributes promise one sample: show it in colour. Tried once.
DicomStatus FrameJob::DecodeAsColor()
{
    FreeBitmap(bitmap_);
    buffer_.reset();
    ImageDescription color = description();
    color.photometricCode = kRgb;
    color.samplesPerPixel = 3;
    color.outputBits = 24;
    color.colorOrder = kOrderBgr;
    color.greyLevel = 0;
    color.pixelRepresentation = 0;
    color.frameSize = uint64_t{(color.bitsStored - 1) / 8 + 1} * color.columns * color.rows * 3;
    if (LargestFrameBytes(color) > MaxBitmapBytes()) return kDicomNoFrame;
    layout_ = MakePixelLayout(color);
    if (DicomStatus status = CreateTarget(); status != kDicomOk) return status;
    if (DicomStatus status = PlaceFrame(); status != kDicomOk) return status;
    bool wrongDepth = false;
    const DicomStatus status = DecodeCodecFrame(dataSet_, color.compression, location_, layout_,
                                                &record_->encoded, frame_, &wrongDepth);
    return wrongDepth ? DicomStatus{kDicomNoFrame} : status;
}

void FrameJob::Convert(BitmapRowWriter* rows)
{
    if (layout_.outputBits == 1) return ConvertOneBit(layout_, frame_, rows);
    if (layout_.outputBits == 16) {
        const bool stored32 = layout_.bitsAllocated == 32 && !layout_.fromCodec;
        if (layout_.bitsAllocated == 12 && layout_.pixelStride == 0)
            return ConvertPacked12(layout_, frame_, rows);
        if (!stored32) return ConvertGrey16(layout_, frame_, rows);
        const ValueRange range =
            asStored_ ? ValueRange{0, UINT16_MAX}
                      : FindRangeOfLongs(description(), layout_, record_->alwaysMeasureRange, frame_);
        return ConvertLongs(layout_, range, frame_, rows);
    }
    if (layout_.photometricCode == kPaletteColor) {
        if (layout_.outputBits == 8)
            return ConvertPaletteIndices(layout_, record_->mapping, record_->indexTable, frame_, rows);
        return ConvertPaletteColors(layout_, record_->mapping, record_->colorTable, frame_, rows);
    }
    if (layout_.outputBits == 8) return ConvertGrey8(layout_, frame_, rows);
    if (layout_.fromCodec && layout_.samplesPerPixel == 3) return CopyCodecColors(layout_, frame_, rows);
    ColorSamples samples(layout_, frame_);
    const ValueRange range =
        asStored_ ? ValueRange{0, layout_.sampleMask}
                  : FindValueRange(description(), layout_, record_->alwaysMeasureRange, &samples);
    const ByteScale scale(layout_, range, uint64_t{layout_.columns} * layout_.rows * 3);
    ConvertColors(layout_, scale, &samples, rows);
}

DicomStatus FrameJob::WriteRows()
{
    ImageFileInfo info{};
    info.structSize = sizeof info;
    info.width = bitmap_->width;
    info.height = bitmap_->height;
    info.bitsPerPixel = bitmap_->bitsPerPixel;
    info.bytesPerLine = bitmap_->bytesPerLine;
    info.colorOrder = bitmap_->colorOrder;
    info.xResolution = bitmap_->xResolution;
    info.yResolution = bitmap_->yResolution;
    info.compressionName = CompressionName(description().compression);

    const int32_t wasLocked = IsLocked(bitmap_);
    DicomStatus status = kDicomOk;
    {
        const bool cmyk = layout_.photometricCode == kCmyk && layout_.outputBits == 24;
        BitmapRowWriter rows(bitmap_, &info, receivers_, cmyk ? CmykRowBytes(layout_) : 0);
        Convert(&rows);
        status = rows.status();
        stopped_ = rows.stopped();
    }
    ReleaseLock(bitmap_, wasLocked);
    return status;
}

DicomStatus FrameJob::FinishBitmap()
{
    bitmap_->lowBit = bitmap_->displayLowBit = static_cast<int32_t>(layout_.highBit + 1 - layout_.bitsStored);
    bitmap_->highBit = bitmap_->displayHighBit = static_cast<int32_t>(layout_.highBit);
    if (layout_.isSigned) bitmap_->flags |= kBitmapSigned;

    const auto getStatistics = dataSet_->tables.images.getStatistics;
    if (getStatistics == nullptr) return kDicomNoRemapOperation;
    if ((options_ & kImageRowsOnly) == 0 &&
        getStatistics(bitmap_, &bitmap_->minValue, &bitmap_->maxValue) != kRasterOk)
        bitmap_->minValue = bitmap_->maxValue = 0;
    const bool measured = (options_ & kImageRowsOnly) == 0 && !asStored_;
    if (measured && frameNumber_ == 0 && !record_->spanKnown) {
        record_->span = ValueSpan{bitmap_->minValue, bitmap_->maxValue};
        record_->spanKnown = true;
    }
    const ValueSpan* const span = record_->span ? &*record_->span : nullptr;
    const DicomStatus status =
        ApplyDisplaySteps(dataSet_, record_->display, span, options_, bitmap_, &record_->lut);
    if (status != kDicomOk || (options_ & kImageOverlays) == 0) return status;
    return DrawOverlayPlanes(dataSet_, frameNumber_, bitmap_);
}

DicomStatus FrameJob::Run()
{
    if (DicomStatus status = CreateTarget(); status != kDicomOk) return status;
    if (DicomStatus status = DecodeFrame(); status != kDicomOk) return status;
    if (asStored_ && layout_.photometricCode != kPaletteColor) layout_.signOffset = 0;
    if (DicomStatus status = WriteRows(); status != kDicomOk || stopped_) return status;
    return FinishBitmap();
}

bool IsSupported(int32_t compression)
{
    return compression != kCompressionJpegLsLossless && compression != kCompressionJpegLsNear &&
           compression != kCompressionMpeg2;
}

/// Everything that can be refused before storage is chosen.
DicomStatus CheckFrame(const ImageDescription& description, const FrameLocation& location)
{
    if (location.element->length == 0) return kDicomNoFrame;
    const bool native = description.compression == kCompressionNone;
    const uint64_t bytes = LargestFrameBytes(description);
    if (bytes > MaxBitmapBytes()) return kDicomNoFrame;
    const uint64_t present = FrameBytesPresent(location, native ? bytes : UINT64_MAX);
    if (present == 0) return native ? kDicomNoFrame : kDicomShortRead;
    const bool sparse = bytes > kSuspiciousFrameBytes && present < bytes / kLeastShare;
    if (sparse && !imageSettings.acceptSparseFrames) return kDicomNoFrame;
    return kDicomOk;
}

DicomStatus MakeBitmap(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap, uint32_t frame,
                       uint32_t options, const RowReceivers& receivers);

/// Finds the values that the first frame has, by which the luts of all frames are made alike whichever of
/// them is asked for first.
DicomStatus FindSpan(DicomDataSet* dataSet, DicomElement* pixelElement, ImageRecord* record)
{
    ImageBitmap first{};
    first.structSize = kBitmapStructSize;
    const DicomStatus status = MakeBitmap(dataSet, pixelElement, &first, 0, 0, {});
    FreeBitmap(&first);
    if (status == kDicomNoMemory) return status;
    record->spanKnown = true;
    return kDicomOk;
}

DicomStatus MakeBitmap(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap, uint32_t frame,
                       uint32_t options, const RowReceivers& receivers)
{
    if ((dataSet->mode & kModeCallerMark) != 0)
        options &= ~uint32_t{kImageModality | kImageVoi | kImageSecondMode};
    ImageRecord* record = nullptr;
    DicomStatus status = ImageCache::Of(dataSet).FindRecord(dataSet, pixelElement, true, &record);
    if (status != kDicomOk) return status;
    if (!IsSupported(record->description.compression)) return kDicomUnsupportedCompression;
    FrameLocation location;
    if (!record->index.Locate(frame, &location)) return kDicomNoFrame;
    if (status = CheckFrame(record->description, location); status != kDicomOk) return status;
    if (status = PrepareRecord(dataSet, pixelElement, frame, record); status != kDicomOk) return status;
    const bool grey16 = record->description.outputBits == 16;
    if (frame != 0 && grey16 && !record->spanKnown && NeedsValueSpan(record->display, options)) {
        if (status = FindSpan(dataSet, pixelElement, record); status != kDicomOk) return status;
        if (status = PrepareRecord(dataSet, pixelElement, frame, record); status != kDicomOk) return status;
    }

    FrameJob job(dataSet, record, frame, location, bitmap, options, receivers);
    return job.Run();
}

DicomStatus GetImageFor(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                        uint32_t structSize, uint32_t frame, uint32_t options, const RowReceivers& receivers)
{
    if (structSize != kBitmapStructSize) return kDicomWrongStructSize;
    if (dataSet == nullptr || bitmap == nullptr) return kDicomInvalidArgument;
    *bitmap = {};
    bitmap->structSize = structSize;
    if (pixelElement == nullptr) return kDicomNoFrame;
    DicomStatus status = kDicomNoMemory;
    try {
        status = MakeBitmap(dataSet, pixelElement, bitmap, frame, options, receivers);
    } catch (const std::bad_alloc&) {
    }
    if (status != kDicomOk) FreeBitmap(bitmap);
    return status;
}
}  // namespace

ImageSettings imageSettings;

DicomStatus GetImage(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                     uint32_t structSize, uint32_t frame, int32_t /*reserved1*/, int32_t /*reserved2*/,
                     uint32_t options, RowCallback rowCallback, void* callbackData)
{
    return GetImageFor(dataSet, pixelElement, bitmap, structSize, frame, options,
                       {rowCallback, callbackData, nullptr});
}

DicomStatus GetImageRows(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                         uint32_t structSize, uint32_t frame, int32_t /*reserved1*/, int32_t /*reserved2*/,
                         uint32_t options, RowTaker* taker)
{
    return GetImageFor(dataSet, pixelElement, bitmap, structSize, frame, options, {nullptr, nullptr, taker});
}
}  // namespace talv
