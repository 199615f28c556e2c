#pragma once

#include <cstdint>

#include "raster/bitmap.h"

namespace talv {
/// Smallest and largest pixel value of a grey bitmap (colour order 2, 12 or 16 bits): of every sample the
/// bits from lowBit to highBit, signed when flag kBitmapSigned is set. kRasterNullBitmap,
/// kRasterNotAllocated, kRasterInvalid (another colour order). Signed rasters hold offset binary (the sign
/// bit flipped).
int32_t GetBitmapStatistics(ImageBitmap* bitmap, int32_t* minValue, int32_t* maxValue);
}  // namespace talv
