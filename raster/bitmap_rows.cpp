#include "platform/memory.h"
#include "raster/bitmap_storage.h"

namespace talv {
namespace {
/// Everything the row operations refuse before they touch a storage.
int32_t CheckRowAccess(const ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapAllocated) == 0) return kRasterNotAllocated;
    if (buffer == nullptr || row < 0 || row >= bitmap->height) return kRasterInvalid;
    if (byteCount > bitmap->bytesPerLine) return kRasterInvalid;
    return kRasterOk;
}
}  // namespace

uint32_t LocateRow(ImageBitmap* bitmap, int32_t row)
{
    const auto wanted = static_cast<uint32_t>(row);
    if (wanted == bitmap->cachedRow + 1)
        bitmap->cachedRowOffset += bitmap->bytesPerLine;
    else if (wanted + 1 == bitmap->cachedRow)
        bitmap->cachedRowOffset -= bitmap->bytesPerLine;
    else if (wanted != bitmap->cachedRow)
        bitmap->cachedRowOffset = bitmap->bytesPerLine * wanted;
    bitmap->cachedRow = wanted;
    return bitmap->cachedRowOffset;
}

int32_t GetBitmapRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    if (int32_t status = CheckRowAccess(bitmap, buffer, row, byteCount); status < 0) return status;
    const uint32_t flags = bitmap->flags;
    if ((flags & kBitmapCompressedRows) != 0) return ReadCompressedRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapTiled) != 0) return ReadTileRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapCompressedBlocks) != 0) return ReadBlockRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapOnDisk) != 0) return ReadDiskRow(bitmap, buffer, row, byteCount);
    return ReadMemoryRow(bitmap, buffer, row, byteCount);
}

int32_t PutBitmapRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    if (int32_t status = CheckRowAccess(bitmap, buffer, row, byteCount); status < 0) return status;
    const uint32_t flags = bitmap->flags;
    if ((flags & kBitmapCompressedRows) != 0) return WriteCompressedRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapTiled) != 0) return WriteTileRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapCompressedBlocks) != 0) return WriteBlockRow(bitmap, buffer, row, byteCount);
    if ((flags & kBitmapOnDisk) != 0) return WriteDiskRow(bitmap, buffer, row, byteCount);
    return WriteMemoryRow(bitmap, buffer, row, byteCount);
}

int32_t LockBitmap(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapMovable) == 0 || (bitmap->flags & kBitmapLocked) != 0) return kRasterOk;
    auto* block = static_cast<uint8_t*>(LockMovable(bitmap->storageHandle));
    if (block == nullptr) return kRasterNoMemory;
    bitmap->data = block + bitmap->dataOffset;
    bitmap->flags |= kBitmapLocked;
    return kRasterOk;
}

int32_t UnlockBitmap(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapMovable) == 0 || (bitmap->flags & kBitmapLocked) == 0) return kRasterOk;
    UnlockMovable(bitmap->storageHandle);
    bitmap->data = nullptr;
    bitmap->flags &= ~uint32_t{kBitmapLocked};
    return kRasterOk;
}

int32_t IsLocked(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapLocked) != 0) return 1;
    const int32_t status = LockBitmap(bitmap);
    return status < 0 ? status : 0;
}

int32_t ReleaseLock(ImageBitmap* bitmap, int32_t wasLocked)
{
    return wasLocked == 0 ? UnlockBitmap(bitmap) : CheckDescriptor(bitmap);
}
}  // namespace talv
