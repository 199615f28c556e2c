#include <windows.h>

#include <algorithm>
#include <limits>

#include "platform/memory.h"

namespace talv {
namespace {
// The global heap takes a size of 0 for a request to discard the block; one byte is what the caller can live
// with.
size_t AtLeastOne(size_t size)
{
    return std::max<size_t>(size, 1);
}

HANDLE CreateSection(uint64_t size, DWORD kind)
{
    return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | kind,
                              static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
}
}  // namespace

void* AllocateGlobal(size_t count, size_t size)
{
    size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
    return GlobalAlloc(GMEM_FIXED | GMEM_ZEROINIT, AtLeastOne(bytes));
}

void* ReallocateGlobal(void* block, size_t size)
{
    if (block == nullptr) return AllocateGlobal(1, size);
    // For a fixed block the flag means that it may get a new address.
    return GlobalReAlloc(block, AtLeastOne(size), GMEM_MOVEABLE | GMEM_ZEROINIT);
}

void FreeGlobal(void* block)
{
    if (block != nullptr) GlobalFree(block);
}

void* AllocateMovable(size_t size)
{
    return GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, AtLeastOne(size));
}
void* LockMovable(void* handle)
{
    return handle != nullptr ? GlobalLock(handle) : nullptr;
}
void UnlockMovable(void* handle)
{
    if (handle != nullptr) GlobalUnlock(handle);
}
void FreeMovable(void* handle)
{
    FreeGlobal(handle);
}

MappedMemory CreateMappedMemory(uint64_t size)
{
    MappedMemory mapping;
    if (size == 0 || size > std::numeric_limits<size_t>::max()) return mapping;
    HANDLE section = CreateSection(size, SEC_COMMIT | SEC_NOCACHE);
    if (section == nullptr) section = CreateSection(size, SEC_COMMIT);  // some systems refuse uncached pages
    if (section == nullptr) return mapping;
    void* view = MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, static_cast<size_t>(size));
    if (view == nullptr) {
        CloseHandle(section);
        return mapping;
    }
    mapping = {section, static_cast<uint8_t*>(view), size};
    return mapping;
}

void ReleaseMappedMemory(MappedMemory* mapping)
{
    if (mapping->view != nullptr) UnmapViewOfFile(mapping->view);
    if (mapping->handle != nullptr) CloseHandle(mapping->handle);
    *mapping = {};
}

MemoryStatus QueryMemoryStatus()
{
    MemoryStatus status;
    MEMORYSTATUSEX system = {};
    system.dwLength = sizeof(system);
    if (!GlobalMemoryStatusEx(&system)) return status;
    // The system's page-file figures include the physical memory; ours stand beside it.
    status.totalPhysical = system.ullTotalPhys;
    status.availablePhysical = system.ullAvailPhys;
    status.totalPageFile = system.ullTotalPageFile - std::min(system.ullTotalPageFile, system.ullTotalPhys);
    status.availablePageFile =
        system.ullAvailPageFile - std::min(system.ullAvailPageFile, system.ullAvailPhys);
    return status;
}
}  // namespace talv
