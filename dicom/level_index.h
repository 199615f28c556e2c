#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>

#include "dicom/element.h"
#include "dicom/slot_allocator.h"

namespace talv {
/// Where an element with some tag is, or belongs, in its level.
struct LevelPlace
{
    DicomElement* existing = nullptr;  ///< the sibling with that tag
    DicomElement* before =
        nullptr;  ///< else: the first sibling with a greater tag; null for the end of the level
};

/// Finds places in levels, whose elements are in ascending tag order. A place near either end of the level,
/// where nearly all are, costs a few comparisons; the first other one makes an index of the level, so that a
/// level of millions of elements in any order is built in near linear time.
class LevelIndex
{
  public:
    /// Place of `tag`, which is no item's, in the level that begins with `first` and ends with `last`.
    /// Throws std::bad_alloc.
    LevelPlace Find(DicomElement* parent, DicomElement* first, DicomElement* last, uint32_t tag);
    /// To be called after linking `element`. A level whose index cannot grow loses it, not its order.
    void NoteLinked(DicomElement* element) noexcept;
    /// To be called before unlinking `element`.
    void NoteUnlinking(const DicomElement* element);
    /// To be called when an item was put before an element of lower tag: from now on every place is found by
    /// walking, because elements among items need not be in order any more.
    void NoteScatteredItem() { walkOnly_ = true; }
    bool HasScatteredItems() const { return walkOnly_; }
    void Clear();

  private:
    struct Level
    {
        std::map<uint32_t, DicomElement*, std::less<uint32_t>,
                 SlotAllocator<std::pair<const uint32_t, DicomElement*>>>
            elements;  // all but items
        DicomElement* firstItem = nullptr;
    };
    Level& Index(DicomElement* parent, DicomElement* first);

    std::unordered_map<const DicomElement*, Level, std::hash<const DicomElement*>,
                       std::equal_to<const DicomElement*>,
                       SlotAllocator<std::pair<const DicomElement* const, Level>>>
        levels_;  // by parent
    bool walkOnly_ = false;
};
}  // namespace talv
