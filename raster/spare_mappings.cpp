#include "raster/spare_mappings.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace talv {
namespace {
/// Oldest first; guarded by `listInUse`.
MappedMemory spares[kMaxSpareMappings];
size_t spareCount = 0;
uint64_t spareBytes = 0;
std::atomic_flag listInUse = ATOMIC_FLAG_INIT;

/// Holds the list, or finds it held by another thread and does without. Waiting would not do: at process exit
/// the holder may be a thread that the system has ended.
class ListLock
{
  public:
    ListLock() : held_(!listInUse.test_and_set(std::memory_order_acquire)) {}
    ~ListLock()
    {
        if (held_) listInUse.clear(std::memory_order_release);
    }
    ListLock(const ListLock&) = delete;
    ListLock& operator=(const ListLock&) = delete;

    bool held() const { return held_; }

  private:
    bool held_;
};

MappedMemory RemoveSpare(size_t index)
{
    const MappedMemory mapping = spares[index];
    std::move(spares + index + 1, spares + spareCount, spares + index);
    --spareCount;
    spareBytes -= mapping.size;
    return mapping;
}

void ReleaseOldest()
{
    MappedMemory mapping = RemoveSpare(0);
    ReleaseMappedMemory(&mapping);
}

/// The latest spare of this size, which the processor's caches may still hold; a null view without one.
MappedMemory FindSpare(uint64_t size)
{
    const ListLock lock;
    if (!lock.held()) return {};
    for (size_t i = spareCount; i-- > 0;)
        if (spares[i].size == size) return RemoveSpare(i);
    return {};
}
}  // namespace

MappedMemory TakeMapping(uint64_t size, bool cleared)
{
    MappedMemory mapping = FindSpare(size);
    if (mapping.view != nullptr) {
        // Rows that a decoder leaves out must not show what another picture left here.
        if (cleared) std::memset(mapping.view, 0, static_cast<size_t>(size));
        return mapping;
    }
    mapping = CreateMappedMemory(size);
    if (mapping.view != nullptr) return mapping;
    ReleaseSpareMappings();
    return CreateMappedMemory(size);
}

void KeepSpareMapping(MappedMemory mapping)
{
    const ListLock lock;
    if (!lock.held() || mapping.size > kMaxSpareBytes) return ReleaseMappedMemory(&mapping);
    while (spareCount == kMaxSpareMappings || spareBytes + mapping.size > kMaxSpareBytes) ReleaseOldest();
    spares[spareCount++] = mapping;
    spareBytes += mapping.size;
}

void ReleaseSpareMappings()
{
    const ListLock lock;
    while (lock.held() && spareCount > 0) ReleaseOldest();
}

uint64_t SpareBytesKept()
{
    const ListLock lock;
    return lock.held() ? spareBytes : 0;
}
}  // namespace talv
