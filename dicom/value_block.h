#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "dicom/allocator.h"

namespace talv {
/// Owner of one zero-filled block of the data-set allocator.
class ValueBlock
{
  public:
    ValueBlock() = default;
    /// Holds nothing when there is no memory for so many bytes.
    explicit ValueBlock(uint64_t bytes) { Allocate(bytes); }
    ~ValueBlock()
    {
        if (block_ != nullptr) dicomAllocator.free(block_);
    }
    ValueBlock(const ValueBlock&) = delete;
    ValueBlock& operator=(const ValueBlock&) = delete;

    /// For a block that holds nothing yet. False when there is no memory.
    bool Allocate(uint64_t bytes)
    {
        if (bytes <= static_cast<uint64_t>(std::numeric_limits<ptrdiff_t>::max()))
            block_ = dicomAllocator.allocate(bytes > 0 ? static_cast<size_t>(bytes) : 1, 1);
        return block_ != nullptr;
    }
    explicit operator bool() const { return block_ != nullptr; }
    template <class T>
    T* As() const
    {
        return static_cast<T*>(block_);
    }
    /// Hands the block to the caller.
    void* Release()
    {
        void* const block = block_;
        block_ = nullptr;
        return block;
    }

  private:
    void* block_ = nullptr;
};
}  // namespace talv
