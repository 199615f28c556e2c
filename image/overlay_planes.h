#pragma once

#include "dicom/data_set.h"
#include "raster/bitmap.h"

namespace talv {
/// Draws the overlay planes (PS3.3 C.9.2) that hold for `frame` into a finished bitmap, white as the bitmap
/// is shown: those of the groups 6000 to 601E that have a plane of their own. Planes inside the pixel data
/// (retired) are left out, as is what the file does not hold. kDicomShortWrite when a row cannot be written.
/// Throws std::bad_alloc.
DicomStatus DrawOverlayPlanes(DicomDataSet* dataSet, uint32_t frame, ImageBitmap* bitmap);
}  // namespace talv
