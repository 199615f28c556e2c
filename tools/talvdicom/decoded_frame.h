#pragma once

#include <cstdint>

#include "filter/frame_source.h"
#include "image/get_image.h"

namespace talv {
/// One frame of a loaded file, decoded as the player does it; the bitmap lives as long as this.
class DecodedFrame
{
  public:
    DecodedFrame(const FrameSource& source, int64_t frame)
        : status_(GetImage(source.dataSet, source.pixelDataElement, &bitmap_, kBitmapStructSize,
                           static_cast<uint32_t>(frame), 0, 0, kPlayerImageOptions, nullptr, nullptr))
    {}
    ~DecodedFrame()
    {
        if (status_ == kDicomOk) FreeBitmap(&bitmap_);
    }
    DecodedFrame(const DecodedFrame&) = delete;
    DecodedFrame& operator=(const DecodedFrame&) = delete;

    DicomStatus Status() const { return status_; }
    ImageBitmap* Bitmap() { return &bitmap_; }

  private:
    ImageBitmap bitmap_ = {};
    DicomStatus status_;
};
}  // namespace talv
