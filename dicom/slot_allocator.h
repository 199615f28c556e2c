#pragma once

#include <cstddef>
#include <limits>
#include <new>

#include "dicom/allocator.h"

namespace talv {
/// Lets containers of the language take their memory from the library's slots. Throws std::bad_alloc.
template <class T>
struct SlotAllocator
{
    using value_type = T;
    SlotAllocator() = default;
    template <class U>
    SlotAllocator(const SlotAllocator<U>&)
    {}

    T* allocate(size_t count)
    {
        if (count > std::numeric_limits<size_t>::max() / sizeof(T)) throw std::bad_alloc();
        void* const block = dicomAllocator.allocate(count, sizeof(T));
        if (block == nullptr) throw std::bad_alloc();
        return static_cast<T*>(block);
    }
    void deallocate(T* block, size_t) { dicomAllocator.free(block); }

    template <class U>
    bool operator==(const SlotAllocator<U>&) const
    {
        return true;
    }
};
}  // namespace talv
