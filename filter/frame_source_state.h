#pragma once

#include <memory>
#include <vector>

#include "filter/frame_source.h"
#include "raster/bitmap.h"

namespace talv {
/// What a FrameSource keeps to itself.
struct FrameSource::State
{
    /// Frames are decoded into the two bitmaps in turn: the one that is not being decoded into is the last
    /// good frame. So keeping it costs memory but no copying.
    ImageBitmap bitmaps[2] = {};
    int lastGood = -1;  ///< index of the last good frame; negative before the first

    void* streamHandle = nullptr;  ///< movable block with the MPEG-2 stream, locked while it exists

    /// Own data sets that were dropped, not deleted: callers may still hold their address.
    std::vector<std::unique_ptr<DicomDataSet>> dropped;
};

/// A new, empty data set with this module's codecs; null when memory is short.
DicomDataSet* NewDataSet();
}  // namespace talv
