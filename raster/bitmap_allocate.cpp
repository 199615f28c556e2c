#include <cstdlib>

#include "platform/memory.h"
#include "raster/bitmap_storage.h"
#include "raster/palette.h"

namespace talv {
namespace {
constexpr uint32_t kStorageFlags = kBitmapAllocated | kBitmapInMemory | kBitmapOnDisk | kBitmapLocked |
                                   kBitmapCompressedRows | kBitmapCallerOwned | kBitmapMovable |
                                   kBitmapTiled | kBitmapCompressedBlocks;

bool IsMemoryKind(uint32_t kind)
{
    switch (kind) {
        case kMemory:
        case kMemoryCaller:
        case kMemoryDisk:
        case kMemoryNoTiles:
        case kMemoryNoTiles9:
        case kMemoryNoTiles128:
        case kMemoryCompressedRows:
        case kMemoryCompressedRows1Bit:
        case kMemoryCompressedBlocks:
        case kMemoryCompressedBlocks1:
            return true;
        default:
            return false;
    }
}

bool CreateRemapTable(ImageBitmap* bitmap)
{
    std::free(bitmap->remapTable);
    bitmap->remapTable = static_cast<uint8_t*>(std::malloc(256));
    if (bitmap->remapTable == nullptr) return false;
    for (int32_t i = 0; i < 256; ++i) bitmap->remapTable[i] = static_cast<uint8_t>(i);
    return true;
}

int32_t BuildStorage(ImageBitmap* bitmap, uint32_t memoryKind)
{
    if (memoryKind == kMemoryCaller) {
        bitmap->storageHandle = nullptr;
        bitmap->data = nullptr;
        bitmap->flags |= kBitmapAllocated | kBitmapInMemory | kBitmapCallerOwned;
        return kRasterOk;
    }
    return BuildMappedPixels(bitmap);
}
}  // namespace

int32_t AllocateBitmap(ImageBitmap* bitmap, uint32_t memoryKind)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (bitmap->dataSize == 0) return kRasterEmpty;
    if (!IsMemoryKind(memoryKind)) return kRasterInvalid;
    if ((bitmap->flags & kBitmapAllocated) != 0) return kRasterInvalid;

    bitmap->flags &= ~kStorageFlags;
    if (!CreateRemapTable(bitmap)) return kRasterNoMemory;
    const int32_t status = BuildStorage(bitmap, memoryKind);
    if (status < 0) {
        std::free(bitmap->remapTable);
        bitmap->remapTable = nullptr;
    }
    return status;
}

int32_t FreeBitmap(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    FreeGlobal(bitmap->region);
    FreePalette(bitmap->palette);
    std::free(bitmap->lut);
    std::free(bitmap->remapTable);
    if ((bitmap->flags & kBitmapAllocated) != 0 && (bitmap->flags & kBitmapCallerOwned) == 0)
        ReleaseMemoryPixels(bitmap);
    return InitBitmap(bitmap, kBitmapStructSize, 0, 0, 0);
}
}  // namespace talv
