#include <algorithm>
#include <cstdlib>

#include "platform/file.h"
#include "platform/memory.h"
#include "raster/bitmap_storage.h"
#include "raster/palette.h"
#include "raster/raster_settings.h"

namespace talv {
namespace {
constexpr uint64_t kDefaultBlockLimit = 16 << 20;
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

/// Whatever is allocated has a remap table too. Storage bits without one come from a caller and mean nothing.
bool HoldsPixels(const ImageBitmap& bitmap)
{
    return (bitmap.flags & kBitmapAllocated) != 0 && bitmap.remapTable != nullptr;
}

bool CreateRemapTable(ImageBitmap* bitmap)
{
    std::free(bitmap->remapTable);
    bitmap->remapTable = static_cast<uint8_t*>(std::malloc(256));
    if (bitmap->remapTable == nullptr) return false;
    for (int32_t i = 0; i < 256; ++i) bitmap->remapTable[i] = static_cast<uint8_t>(i);
    return true;
}

/// `setting` bytes, or when negative that percentage of `whole`.
uint64_t BytesOrPercent(int64_t setting, uint64_t whole)
{
    if (setting >= 0) return static_cast<uint64_t>(setting);
    const uint64_t percent = setting < -100 ? 100 : static_cast<uint64_t>(-setting);
    return whole / 100 * percent + whole % 100 * percent / 100;
}

/// Drops what the depth does not allow: row compression needs 1 bit, block compression 1, 8 or 24.
uint32_t AllowedKind(uint32_t kind, int32_t bitsPerPixel)
{
    if (bitsPerPixel != 1) kind &= ~0x0300u;
    if (bitsPerPixel != 1 && bitsPerPixel != 8 && bitsPerPixel != 24) kind &= ~0x0400u;
    return kind;
}

/// Adds the disk bit for pixels that memory should not hold; takes it away from those that one block holds
/// easily, without asking for the state of the machine, which costs as much as a small frame.
uint32_t ChooseDisk(uint32_t kind, uint64_t dataSize)
{
    if (dataSize <= MemoryBlockLimit()) return kind & ~uint32_t{kMemoryDisk};
    const MemoryAllowance allowance = QueryMemoryAllowance();
    const bool tooLarge =
        dataSize > allowance.available || dataSize > allowance.maxInMemory || dataSize > MaxBitmapBytes();
    return tooLarge ? kind | kMemoryDisk : kind;
}

int32_t BuildStorage(ImageBitmap* bitmap, uint32_t memoryKind, bool cleared)
{
    if (memoryKind == kMemoryCaller) {
        bitmap->storageHandle = nullptr;
        bitmap->data = nullptr;
        bitmap->flags |= kBitmapAllocated | kBitmapInMemory | kBitmapCallerOwned;
        return kRasterOk;
    }
    uint32_t kind = AllowedKind(memoryKind, bitmap->bitsPerPixel);
    if ((kind & kMemoryCompressedBlocks) != 0) return BuildCompressedBlocks(bitmap);
    if ((kind & kMemoryCompressedRows) != 0) return BuildCompressedRows(bitmap);

    kind = ChooseDisk(kind, bitmap->dataSize);
    if ((kind & (kMemoryDisk | kMemoryNoTiles128)) == 0 && BuildMappedPixels(bitmap, cleared) > 0)
        return kRasterOk;
    if ((kind & (kMemoryNoTiles | kMemoryNoTiles128)) == 0) {
        const MemoryAllowance allowance = QueryMemoryAllowance();
        const uint64_t budget = std::min({allowance.available, allowance.maxInMemory, MaxBitmapBytes()});
        if (BuildTiles(bitmap, MemoryBlockLimit(), budget) > 0) return kRasterOk;
    }
    return BuildDiskPixels(bitmap);
}

void ReleasePixels(ImageBitmap* bitmap)
{
    const uint32_t flags = bitmap->flags;
    if ((flags & kBitmapCallerOwned) != 0) return;
    if ((flags & kBitmapCompressedRows) != 0) return ReleaseCompressedRows(bitmap);
    if ((flags & kBitmapTiled) != 0) return ReleaseTiles(bitmap);
    if ((flags & kBitmapCompressedBlocks) != 0) return ReleaseCompressedBlocks(bitmap);
    if ((flags & kBitmapOnDisk) != 0) return ReleaseDiskPixels(bitmap);
    ReleaseMemoryPixels(bitmap);
}
}  // namespace

uint64_t MaxBitmapBytes()
{
    // Offsets inside a bitmap are kept in 32 bits, some of them signed.
    return rasterSettings.maxBitmapBytes > 0
               ? static_cast<uint64_t>(std::min<int64_t>(rasterSettings.maxBitmapBytes, INT32_MAX))
               : kMaxBitmapBytes;
}

uint64_t MemoryBlockLimit()
{
    return rasterSettings.maxMemoryBlock > 0 ? static_cast<uint64_t>(rasterSettings.maxMemoryBlock)
                                             : kDefaultBlockLimit;
}

MemoryAllowance QueryMemoryAllowance()
{
    const MemoryStatus memory = QueryMemoryStatus();
    const uint64_t total = memory.totalPhysical + memory.totalPageFile;
    const uint64_t free = memory.availablePhysical + memory.availablePageFile;
    const uint64_t reserve = BytesOrPercent(rasterSettings.minFreeMemory, total);
    MemoryAllowance allowance;
    allowance.available = free > reserve ? free - reserve : 0;
    allowance.maxInMemory = BytesOrPercent(rasterSettings.maxInMemory, free);
    return allowance;
}

int32_t AllocateBitmap(ImageBitmap* bitmap, uint32_t memoryKind)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (bitmap->dataSize == 0) return kRasterEmpty;
    const bool cleared = (memoryKind & kMemoryAnyContent) == 0;
    memoryKind &= ~uint32_t{kMemoryAnyContent};
    if (!IsMemoryKind(memoryKind)) return kRasterInvalid;
    if (HoldsPixels(*bitmap)) return kRasterInvalid;

    bitmap->flags &= ~kStorageFlags;
    if (!CreateRemapTable(bitmap)) return kRasterNoMemory;
    const int32_t status = BuildStorage(bitmap, memoryKind, cleared);
    if (status < 0) {
        std::free(bitmap->remapTable);
        bitmap->remapTable = nullptr;
    }
    return status;
}

int32_t AdoptMovableBlock(ImageBitmap* bitmap, void* block, uint32_t dataOffset)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (bitmap->dataSize == 0) return kRasterEmpty;
    if (block == nullptr || HoldsPixels(*bitmap)) return kRasterInvalid;
    if (!CreateRemapTable(bitmap)) return kRasterNoMemory;
    bitmap->flags = (bitmap->flags & ~kStorageFlags) | kBitmapAllocated | kBitmapInMemory | kBitmapMovable;
    bitmap->storageHandle = block;
    bitmap->data = nullptr;
    bitmap->dataOffset = dataOffset;
    return kRasterOk;
}

int32_t FreeBitmap(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (HoldsPixels(*bitmap)) ReleasePixels(bitmap);
    FreeGlobal(bitmap->region);
    FreePalette(bitmap->palette);
    std::free(bitmap->lut);
    std::free(bitmap->remapTable);
    delete static_cast<File*>(bitmap->tempFile);
    return InitBitmap(bitmap, kBitmapStructSize, 0, 0, 0);
}
}  // namespace talv
