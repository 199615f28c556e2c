#include "raster/temporary_store.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "raster/raster_settings.h"
#include "raster/raster_status.h"

namespace talv {
namespace {
std::atomic<uint64_t> bytesInUse{0};

bool ReserveBytes(uint64_t size)
{
    const auto limit = static_cast<uint64_t>(std::max<int64_t>(rasterSettings.maxTemporaryBytes, 0));
    uint64_t used = bytesInUse.load();
    do {
        if (used > limit || size > limit - used) return false;
    } while (!bytesInUse.compare_exchange_weak(used, used + size));
    return true;
}
}  // namespace

int32_t TemporaryStore::Create(uint64_t size, std::unique_ptr<TemporaryStore>* store)
{
    if (!ReserveBytes(size)) return kRasterWriteFailed;
    std::unique_ptr<TemporaryStore> made(new (std::nothrow) TemporaryStore(size));
    if (made == nullptr) {
        bytesInUse -= size;
        return kRasterNoMemory;
    }
    made->file_ = File::CreateTemporary(nullptr, "tvr");
    if (!made->file_.IsOpen()) return kRasterNoMemory;
    // The last byte and one past it: the file has its full length from here on, and what is not written reads
    // as zeros.
    const uint8_t zeros[2] = {0, 0};
    const uint64_t position = size > 0 ? size - 1 : 0;
    if (made->file_.WriteAt(position, zeros, sizeof zeros) != int64_t{sizeof zeros})
        return kRasterWriteFailed;
    *store = std::move(made);
    return kRasterOk;
}

TemporaryStore::~TemporaryStore()
{
    bytesInUse -= size_;
}

int32_t TemporaryStore::Read(uint64_t position, void* buffer, uint32_t byteCount) const
{
    if (file_.ReadAt(position, buffer, byteCount) != int64_t{byteCount}) return kRasterReadFailed;
    return static_cast<int32_t>(byteCount);
}

int32_t TemporaryStore::Write(uint64_t position, const void* bytes, uint32_t byteCount)
{
    if (file_.WriteAt(position, bytes, byteCount) != int64_t{byteCount}) return kRasterWriteFailed;
    return static_cast<int32_t>(byteCount);
}

uint64_t TemporaryStore::BytesInUse()
{
    return bytesInUse;
}
}  // namespace talv
