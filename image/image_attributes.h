#pragma once

#include "image/attribute_reader.h"
#include "image/image_description.h"

namespace talv {
/// Reads all that belongs to the image as a whole, palette tables and frame location apart. kDicomNoGeometry,
/// kDicomUnknownPhotometric (also when the samples do not fit the photometric interpretation), kDicomNoFrame
/// when no frame of that shape can be shown.
DicomStatus ReadImageAttributes(const AttributeReader& reader, ImageDescription* description);

/// Makes Bits Allocated, Bits Stored and High Bit agree; the one place where they are checked. Absent values
/// follow from the others (Bits Allocated: 8). False when Bits Allocated is above 32.
bool ClampBitAttributes(ImageDescription* description);
}  // namespace talv
