#pragma once

#include <cstdint>

#include "dicom/data_set.h"
#include "raster/bitmap.h"

namespace talv {
/// Options of GetImage.
enum ImageOptions : uint32_t
{
    kImageOverlays = 0x1,
    kImageModality = 0x2,
    kImageVoi = 0x4,
    kImageSecondMode = 0x8,  ///< remaps build the bitmap's lut instead of rewriting pixels
    kImageRowsOnly = 0x100,  ///< leaves minValue, maxValue and lut out; the rows and the answer stay the same
};
inline constexpr uint32_t kPlayerImageOptions = kImageModality | kImageVoi | kImageSecondMode;

/// Process-wide settings of this room; changed only while no other thread uses it.
struct ImageSettings
{
    /// Takes large frames whatever share of their bytes the file holds. Without it such a frame is refused
    /// with kDicomNoFrame, for a small file must not cost a large allocation.
    bool acceptSparseFrames = false;
};
extern ImageSettings imageSettings;

/// What a row callback is told about the image.
struct ImageFileInfo
{
    uint32_t structSize;
    int32_t width, height, bitsPerPixel;
    uint32_t bytesPerLine;
    uint32_t colorOrder;
    int32_t xResolution, yResolution;
    const char* compressionName;
};

/// Flags handed to a row callback.
enum RowFlags : uint32_t
{
    kRowAlways = 3,
    kRowFirst = 4,
    kRowLast = 8,
};

/// Called after each row has been converted and before it is written; any answer but 1 ends GetImage with
/// that answer.
using RowCallback = int32_t (*)(const ImageFileInfo* info, ImageBitmap* bitmap, uint8_t* row,
                                uint32_t rowFlags, int32_t rowIndex, int32_t one, void* callbackData);

/// Decodes frame `frame` (from 0) of `pixelElement` into a new bitmap, which the caller frees with
/// FreeBitmap. `structSize` must be kBitmapStructSize; `reserved1` and `reserved2` are not used. On failure
/// no bitmap is left.
DicomStatus GetImage(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                     uint32_t structSize, uint32_t frame, int32_t reserved1, int32_t reserved2,
                     uint32_t options, RowCallback rowCallback, void* callbackData);

/// Wants the rows of a bitmap as they are finished, while the processor's nearest cache still holds them.
class RowTaker
{
  public:
    virtual ~RowTaker() = default;
    /// Shown the bitmap before its first row; false: no row is wanted.
    virtual bool Accepts(const ImageBitmap& bitmap) = 0;
    /// Row `row`, bytesPerLine bytes of which those behind the last pixel are zero. Every row comes once, the
    /// first one first, before steps that rewrite finished pixels (kImageOverlays, remaps of the first mode).
    virtual void Take(const uint8_t* bytes, int32_t row) = 0;
};

/// GetImage without a row callback. `taker` may have got rows although the call fails.
DicomStatus GetImageRows(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                         uint32_t structSize, uint32_t frame, int32_t reserved1, int32_t reserved2,
                         uint32_t options, RowTaker* taker);

/// GetImage; with a null `pixelElement` frames are counted across all Pixel Data elements of the data set.
DicomStatus GetImageFromDataSet(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                                uint32_t structSize, uint32_t frame, int32_t reserved1, int32_t reserved2,
                                uint32_t options, RowCallback rowCallback, void* callbackData);

/// The tables a data set is made with: the codecs that this module exports, looked up by name, and the raster
/// library's operations.
DataSetTables StandardTables();
}  // namespace talv
