#pragma once

#include <cstddef>
#include <cstdint>

#include "dicom/element.h"

namespace talv {
/// Gives out the nodes of one data set from blocks that grow with the tree, so that an element costs no heap
/// call of its own. A deleted node is given out again; the blocks go when the tree is emptied.
class ElementArena
{
  public:
    ElementArena() = default;
    ElementArena(const ElementArena&) = delete;
    ElementArena& operator=(const ElementArena&) = delete;
    ~ElementArena() { Clear(); }

    /// A node in its initial state; null when memory is short.
    DicomElement* Allocate();
    /// Takes back a node that is linked nowhere, with its converted values.
    void Free(DicomElement* element);
    /// True for a node that was taken back and not given out again.
    static bool IsFree(const DicomElement* element) { return element->valueCount == kFreeNode; }
    /// Frees every node and its converted values.
    void Clear();

  private:
    struct Block
    {
        Block* next;
        size_t used;
        DicomElement* Nodes() { return reinterpret_cast<DicomElement*>(this + 1); }
    };
    static constexpr int32_t kFreeNode = -2;  // in `valueCount`

    Block* blocks_ = nullptr;  // the one being filled first
    size_t capacity_ = 0;      // nodes in that block
    DicomElement* free_ = nullptr;
};
}  // namespace talv
