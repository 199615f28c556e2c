#pragma once

#include <cstddef>
#include <cstdint>

#include "image/frame_index.h"
#include "image/image_description.h"

namespace talv {
/// Expands one run-length coded frame (PS3.5 Annex G) into `buffer`: description->frameSize bytes, laid out
/// as native pixel data. What the segments do not fill is zero. kDicomShortRead when the header or a segment
/// cannot be read from `description->frameElement`, kDicomNoMemory.
DicomStatus DecodeRleFrame(DicomDataSet* dataSet, const ImageDescription* description, uint8_t* buffer);

/// The same for an item that is in memory.
DicomStatus DecodeRleItem(const uint8_t* item, size_t itemBytes, const ImageDescription& description,
                          uint8_t* buffer);
}  // namespace talv
