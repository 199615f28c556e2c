#pragma once

#include <cstdint>

#include "raster/bitmap.h"

// The storages behind a bitmap, for the allocation and the row operations only.
//
// Build... fills storageHandle, data and flags of a bitmap that has none, or leaves it as it was and says
// why. Release... gives back what Build... made. Read... and Write...Row get a row and a count within the
// bitmap and answer the bytes copied or a negative status. Rows that were never written read as zeros in
// every storage of our own.

namespace talv {
/// One block of memory: an anonymous mapping (a spare one where there is one), a movable global block or the
/// caller's buffer.
int32_t BuildMappedPixels(ImageBitmap* bitmap, bool cleared);
void ReleaseMemoryPixels(ImageBitmap* bitmap);
int32_t ReadMemoryRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteMemoryRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// One temporary file that holds all rows.
int32_t BuildDiskPixels(ImageBitmap* bitmap);
void ReleaseDiskPixels(ImageBitmap* bitmap);
int32_t ReadDiskRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteDiskRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// Bands of rows. The first tiles stay in memory, as many as `memoryBudget` bytes and the settings allow but
/// at least one; each of the others has a temporary file of its own, which the system's file cache keeps
/// warm. `tileBytes` is the size aimed at; it is halved while no table of tiles can be built.
int32_t BuildTiles(ImageBitmap* bitmap, uint64_t tileBytes, uint64_t memoryBudget);
void ReleaseTiles(ImageBitmap* bitmap);
int32_t ReadTileRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteTileRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// 1-bit rows kept as run lengths.
int32_t BuildCompressedRows(ImageBitmap* bitmap);
void ReleaseCompressedRows(ImageBitmap* bitmap);
int32_t ReadCompressedRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteCompressedRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// Bands of rows kept compressed, one of them unpacked at a time.
int32_t BuildCompressedBlocks(ImageBitmap* bitmap);
void ReleaseCompressedBlocks(ImageBitmap* bitmap);
int32_t ReadBlockRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
int32_t WriteBlockRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);

/// Moves the row cursor to `row` and returns its byte offset; a neighbouring row costs one addition.
uint32_t LocateRow(ImageBitmap* bitmap, int32_t row);

/// Pixels of up to this many bytes go to one block of memory unasked.
uint64_t MemoryBlockLimit();

/// What the settings and the machine leave for pixels in memory.
struct MemoryAllowance
{
    uint64_t available;    ///< physical and page-file memory less the reserve
    uint64_t maxInMemory;  ///< most bytes of one bitmap that may be in memory
};
MemoryAllowance QueryMemoryAllowance();
}  // namespace talv
