#include "dicom/element_arena.h"

#include <algorithm>
#include <new>
#include <type_traits>

#include "dicom/allocator.h"

namespace talv {
namespace {
// 32 nodes hold a short header; 4096 nodes (400 KB) make the heap calls of a long one disappear.
constexpr size_t kFirstBlock = 32;
constexpr size_t kLargestBlock = 4096;

void FreeValues(DicomElement* element)
{
    if (element->values != nullptr) dicomAllocator.free(element->values);
    element->values = nullptr;
}
}  // namespace

static_assert(std::is_trivially_destructible_v<DicomElement>);

DicomElement* ElementArena::Allocate()
{
    if (free_ != nullptr) {
        DicomElement* const node = free_;
        free_ = node->nextSibling;
        return new (node) DicomElement();
    }
    if (blocks_ == nullptr || blocks_->used == capacity_) {
        static_assert(sizeof(Block) % alignof(DicomElement) == 0);
        const size_t capacity = std::clamp(capacity_ * 2, kFirstBlock, kLargestBlock);
        void* const memory = dicomAllocator.allocate(1, sizeof(Block) + capacity * sizeof(DicomElement));
        if (memory == nullptr) return nullptr;
        blocks_ = new (memory) Block{blocks_, 0};
        capacity_ = capacity;
    }
    return new (blocks_->Nodes() + blocks_->used++) DicomElement();
}

void ElementArena::Free(DicomElement* element)
{
    FreeValues(element);
    element->valueCount = kFreeNode;
    element->nextSibling = free_;
    free_ = element;
}

void ElementArena::Clear()
{
    for (Block* block = blocks_; block != nullptr;) {
        for (size_t i = 0; i < block->used; ++i) FreeValues(block->Nodes() + i);
        Block* const next = block->next;
        dicomAllocator.free(block);
        block = next;
    }
    blocks_ = nullptr;
    capacity_ = 0;
    free_ = nullptr;
}
}  // namespace talv
