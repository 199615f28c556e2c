#include <memory>

#include "raster/bitmap_storage.h"
#include "raster/temporary_store.h"

namespace talv {
namespace {
TemporaryStore* StoreOf(ImageBitmap* bitmap)
{
    return static_cast<TemporaryStore*>(bitmap->storageHandle);
}
}  // namespace

int32_t BuildDiskPixels(ImageBitmap* bitmap)
{
    std::unique_ptr<TemporaryStore> store;
    if (int32_t status = TemporaryStore::Create(bitmap->dataSize, &store); status < 0) return status;
    bitmap->storageHandle = store.release();
    bitmap->flags |= kBitmapAllocated | kBitmapOnDisk;
    return kRasterOk;
}

void ReleaseDiskPixels(ImageBitmap* bitmap)
{
    delete StoreOf(bitmap);
}

int32_t ReadDiskRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    return StoreOf(bitmap)->Read(LocateRow(bitmap, row), buffer, byteCount);
}

int32_t WriteDiskRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    return StoreOf(bitmap)->Write(LocateRow(bitmap, row), buffer, byteCount);
}
}  // namespace talv
