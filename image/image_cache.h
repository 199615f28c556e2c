#pragma once

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "image/display_steps.h"
#include "image/frame_bytes.h"
#include "image/frame_index.h"
#include "image/image_description.h"
#include "image/palette_mapping.h"
#include "raster/bitmap.h"

namespace talv {
/// Everything about one Pixel Data element that does not change from frame to frame.
struct ImageRecord
{
    ImageDescription description;  ///< without a frame's location
    FrameIndex index;
    FunctionalGroups groups;          ///< of an image at the top level
    bool alwaysMeasureRange = false;  ///< the manufacturer's value range attributes are not trusted
    bool palettesLoaded = false;

    // Made when the first frame is converted.
    bool prepared = false;
    DicomStatus preparedStatus = kDicomOk;
    DisplaySteps display;  ///< its numbers are those of the frame prepared last
    bool spanKnown = false;
    std::optional<ValueSpan> span;  ///< of frame 0; none when that cannot be decoded
    RememberedLut lut;
    EncodedFrame encoded;  ///< the frame decoded last, for its memory
    PaletteMapping mapping;
    std::vector<uint8_t> indexTable;        ///< palette of up to 256 entries
    std::vector<PaletteEntry> colorTable;   ///< larger palette
    std::vector<PaletteEntry> greyPalette;  ///< 8-bit grey output
};

/// The Pixel Data elements whose frames are counted through, and the number of each one's first frame.
struct FrameRun
{
    DicomElement* pixelElement;
    uint64_t firstFrame;
};

/// What this room remembers about a data set.
class ImageCache : public DataSetAttachment
{
  public:
    /// The data set's cache, made when there is none.
    static ImageCache& Of(DicomDataSet* dataSet);

    /// The record of `pixelElement`; made when there is none. Failures are not remembered. The palettes are
    /// loaded when asked for.
    DicomStatus FindRecord(DicomDataSet* dataSet, DicomElement* pixelElement, bool loadPalettes,
                           ImageRecord** record);

    std::vector<FrameRun> runs;  ///< with an end mark
    bool runsKnown = false;

  private:
    std::unordered_map<const DicomElement*, std::unique_ptr<ImageRecord>> records_;
};

/// Makes the tables that conversion of `frame` needs; what all frames share once for a record.
DicomStatus PrepareRecord(DicomDataSet* dataSet, DicomElement* pixelElement, uint32_t frame,
                          ImageRecord* record);
}  // namespace talv
