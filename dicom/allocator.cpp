#include "dicom/allocator.h"

#include <cstdlib>

#include "platform/memory.h"

namespace talv {
namespace {
constexpr int kHeapMode = 1;
constexpr int kGlobalMode = 2;

void* AllocateHeap(size_t count, size_t size)
{
    return std::calloc(count, size);
}
void* ReallocateHeap(void* block, size_t size)
{
    return std::realloc(block, size);
}
void FreeHeap(void* block)
{
    std::free(block);
}

int currentMode = kHeapMode;
}  // namespace

DicomAllocator dicomAllocator = {AllocateHeap, ReallocateHeap, FreeHeap};

int SelectAllocator(int mode)
{
    if (mode == kHeapMode) {
        dicomAllocator = {AllocateHeap, ReallocateHeap, FreeHeap};
    } else if (mode == kGlobalMode) {
        dicomAllocator = {AllocateGlobal, ReallocateGlobal, FreeGlobal};
    } else {
        return 0;
    }
    const int previous = currentMode;
    currentMode = mode;
    return previous;
}
}  // namespace talv
