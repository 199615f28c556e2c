#pragma once

#include <cstdint>

#include "image/frame_index.h"
#include "image/image_description.h"

namespace talv {
/// Which frames a Pixel Data element holds and where their bytes lie; nothing is decoded.
class FrameMap
{
  public:
    DicomStatus Build(DicomDataSet* dataSet, DicomElement* pixelElement);

    const ImageDescription& Description() const { return description_; }
    /// Frames found, whole or not.
    int64_t Found() const { return index_.frameCount(); }
    /// Frames found whose bytes are all in the file.
    int64_t Whole() const;
    bool Locate(int64_t frame, FrameLocation* location) const;
    bool IsWhole(int64_t frame) const;
    /// Where the bytes of `frame` (from 0) begin in the file; -1 when it has no such frame.
    int64_t FilePosition(int64_t frame) const;

  private:
    ImageDescription description_;
    FrameIndex index_;
};
}  // namespace talv
