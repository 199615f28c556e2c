#pragma once

#include <cstddef>

namespace talv {
/// The three slots every allocation of the data-set library goes through (nodes, values, dictionary nodes).
/// Blocks come zero-filled from `allocate`. Tests replace a slot to make call number n fail.
struct DicomAllocator
{
    void* (*allocate)(size_t count, size_t size);
    void* (*reallocate)(void* block, size_t size);
    void (*free)(void* block);
};

/// The process-wide slots; changed only while no data set exists.
extern DicomAllocator dicomAllocator;

/// Fills the slots: mode 1 the run-time heap, mode 2 the system's global memory. Returns the previous mode;
/// any other mode is refused with 0 and changes nothing.
int SelectAllocator(int mode);
}  // namespace talv
