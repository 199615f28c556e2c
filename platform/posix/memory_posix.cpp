#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/memory.h"

namespace talv {
namespace {
// Every block is preceded by its size, which a reallocation needs to clear exactly the bytes it adds.
struct alignas(std::max_align_t) BlockHeader
{
    size_t size;
};

BlockHeader* HeaderOf(void* block)
{
    return static_cast<BlockHeader*>(block) - 1;
}

constexpr size_t kLargestBlock = std::numeric_limits<size_t>::max() / 2 - sizeof(BlockHeader);
}  // namespace

void* AllocateGlobal(size_t count, size_t size)
{
    size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes) || bytes > kLargestBlock) return nullptr;
    auto* header = static_cast<BlockHeader*>(std::calloc(1, sizeof(BlockHeader) + bytes));
    if (header == nullptr) return nullptr;
    header->size = bytes;
    return header + 1;
}

void* ReallocateGlobal(void* block, size_t size)
{
    if (block == nullptr) return AllocateGlobal(1, size);
    if (size > kLargestBlock) return nullptr;
    const size_t oldSize = HeaderOf(block)->size;
    auto* header = static_cast<BlockHeader*>(std::realloc(HeaderOf(block), sizeof(BlockHeader) + size));
    if (header == nullptr) return nullptr;
    header->size = size;
    auto* bytes = reinterpret_cast<uint8_t*>(header + 1);
    if (size > oldSize) std::memset(bytes + oldSize, 0, size - oldSize);
    return bytes;
}

void FreeGlobal(void* block)
{
    if (block != nullptr) std::free(HeaderOf(block));
}

// Nothing moves here, so the handle is the address and a lock only hands it out.
void* AllocateMovable(size_t size)
{
    return AllocateGlobal(1, size);
}
void* LockMovable(void* handle)
{
    return handle;
}
void UnlockMovable(void*) {}
void FreeMovable(void* handle)
{
    FreeGlobal(handle);
}

MappedMemory CreateMappedMemory(uint64_t size)
{
    MappedMemory mapping;
    if (size == 0 || size > std::numeric_limits<size_t>::max() / 2) return mapping;
    void* view =
        mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (view == MAP_FAILED) return mapping;
    mapping.view = static_cast<uint8_t*>(view);
    mapping.size = size;
    return mapping;
}

void ReleaseMappedMemory(MappedMemory* mapping)
{
    if (mapping->view != nullptr) (void)munmap(mapping->view, static_cast<size_t>(mapping->size));
    *mapping = {};
}

MemoryStatus QueryMemoryStatus()
{
    MemoryStatus status;
    const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    status.totalPhysical = static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) * page;
    status.availablePhysical = static_cast<uint64_t>(sysconf(_SC_AVPHYS_PAGES)) * page;
    std::FILE* file = std::fopen("/proc/meminfo", "re");
    if (file == nullptr) return status;
    char line[128];
    while (std::fgets(line, sizeof(line), file) != nullptr) {
        unsigned long long kilobytes = 0;
        // The free pages that sysconf knows leave out the cache, which the system gives back when asked.
        if (std::sscanf(line, "MemAvailable: %llu", &kilobytes) == 1)
            status.availablePhysical = kilobytes * 1024;
        if (std::sscanf(line, "SwapTotal: %llu", &kilobytes) == 1) status.totalPageFile = kilobytes * 1024;
        if (std::sscanf(line, "SwapFree: %llu", &kilobytes) == 1) status.availablePageFile = kilobytes * 1024;
    }
    std::fclose(file);
    return status;
}
}  // namespace talv
