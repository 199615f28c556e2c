#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
/// Zero-filled blocks of the system's global heap (GlobalAlloc on Windows). A failed call returns null;
/// a failed reallocation leaves the old block as it was. Bytes added by a reallocation are zero.
void* AllocateGlobal(size_t count, size_t size);
void* ReallocateGlobal(void* block, size_t size);
void FreeGlobal(void* block);

/// A movable, zero-filled global block; its address is valid only while it is locked.
void* AllocateMovable(size_t size);  ///< returns a handle, null on failure
void* LockMovable(void* handle);     ///< returns the address, null on failure; calls nest
void UnlockMovable(void* handle);
void FreeMovable(void* handle);

/// An anonymous, committed, zero-filled read-write mapping.
struct MappedMemory
{
    void* handle = nullptr;   ///< the mapping object; null where the system needs none
    uint8_t* view = nullptr;  ///< first byte; null when creation failed
    uint64_t size = 0;
};
MappedMemory CreateMappedMemory(uint64_t size);
void ReleaseMappedMemory(MappedMemory* mapping);

/// Bytes of physical and page-file memory.
struct MemoryStatus
{
    uint64_t totalPhysical = 0;
    uint64_t availablePhysical = 0;
    uint64_t totalPageFile = 0;
    uint64_t availablePageFile = 0;
};
MemoryStatus QueryMemoryStatus();
}  // namespace talv
