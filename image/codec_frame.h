#pragma once

#include <cstdint>

#include "image/frame_bytes.h"
#include "image/pixel_layout.h"

namespace talv {
/// Decodes one compressed frame with the data set's JPEG or JPEG 2000 entry point. `target` receives
/// `layout.frameBytes` bytes: rows padded to 4 bytes, first row first. `encoded` receives the stream.
///
/// kDicomCodecMissing, kDicomNoMemory, kDicomShortRead (fragment unreadable), kDicomNoFrame (JPEG 2000
/// failed), or the negative result of the JPEG codec as 16 bits. `*wrongDepth` is set when that codec said
/// that the depth does not fit the stream.
DicomStatus DecodeCodecFrame(DicomDataSet* dataSet, int32_t compression, const FrameLocation& location,
                             const PixelLayout& layout, EncodedFrame* encoded, uint8_t* target,
                             bool* wrongDepth);
}  // namespace talv
