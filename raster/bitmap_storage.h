#pragma once

#include <cstdint>

#include "raster/bitmap.h"

// The storages behind a bitmap, for the allocation and the row operations only. Row functions get a row and a
// count that are already known to be within the bitmap.

namespace talv {
/// One block of memory: an anonymous mapping, a movable global block or the caller's buffer.
int32_t BuildMappedPixels(ImageBitmap* bitmap);
void ReleaseMemoryPixels(ImageBitmap* bitmap);
int32_t ReadMemoryRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteMemoryRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// Moves the row cursor to `row` and returns its byte offset; a neighbouring row costs one addition.
uint32_t LocateRow(ImageBitmap* bitmap, int32_t row);
}  // namespace talv
