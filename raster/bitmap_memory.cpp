#include <cstring>

#include "platform/memory.h"
#include "raster/bitmap_storage.h"
#include "raster/spare_mappings.h"

namespace talv {
namespace {
constexpr uintptr_t kPixelAlignment = 32;

/// The address of the pixels while this object lives, locking a movable block that is not locked yet.
class PixelAccess
{
  public:
    explicit PixelAccess(ImageBitmap* bitmap) : bitmap_(bitmap), wasLocked_(1)
    {
        if ((bitmap->flags & kBitmapMovable) != 0) wasLocked_ = IsLocked(bitmap);
    }
    ~PixelAccess()
    {
        if (wasLocked_ >= 0) ReleaseLock(bitmap_, wasLocked_);
    }
    PixelAccess(const PixelAccess&) = delete;
    PixelAccess& operator=(const PixelAccess&) = delete;

    int32_t Status() const
    {
        if (wasLocked_ < 0) return wasLocked_;
        return bitmap_->data != nullptr ? kRasterOk : kRasterNotAllocated;
    }

  private:
    ImageBitmap* bitmap_;
    int32_t wasLocked_;
};
}  // namespace

int32_t BuildMappedPixels(ImageBitmap* bitmap, bool cleared)
{
    const MappedMemory mapping = TakeMapping(uint64_t{bitmap->dataSize} + kPixelAlignment - 1, cleared);
    if (mapping.view == nullptr) return kRasterNoMemory;
    const auto misalignment = reinterpret_cast<uintptr_t>(mapping.view) % kPixelAlignment;
    bitmap->dataOffset = misalignment == 0 ? 0 : static_cast<uint32_t>(kPixelAlignment - misalignment);
    bitmap->storageHandle = mapping.handle;
    bitmap->data = mapping.view + bitmap->dataOffset;
    bitmap->flags |= kBitmapAllocated | kBitmapInMemory;
    return kRasterOk;
}

void ReleaseMemoryPixels(ImageBitmap* bitmap)
{
    if ((bitmap->flags & kBitmapMovable) != 0) {
        if ((bitmap->flags & kBitmapLocked) != 0) UnlockMovable(bitmap->storageHandle);
        FreeMovable(bitmap->storageHandle);
        return;
    }
    MappedMemory mapping;
    mapping.handle = bitmap->storageHandle;
    mapping.view = bitmap->data - bitmap->dataOffset;
    mapping.size = uint64_t{bitmap->dataSize} + kPixelAlignment - 1;
    KeepSpareMapping(mapping);
}

int32_t ReadMemoryRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    const PixelAccess access(bitmap);
    if (int32_t status = access.Status(); status < 0) return status;
    std::memcpy(buffer, bitmap->data + LocateRow(bitmap, row), byteCount);
    return static_cast<int32_t>(byteCount);
}

int32_t WriteMemoryRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    const PixelAccess access(bitmap);
    if (int32_t status = access.Status(); status < 0) return status;
    std::memcpy(bitmap->data + LocateRow(bitmap, row), buffer, byteCount);
    return static_cast<int32_t>(byteCount);
}
}  // namespace talv
