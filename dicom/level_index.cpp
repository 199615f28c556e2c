#include "dicom/level_index.h"

namespace talv {
namespace {
constexpr int kStepsBeforeIndex = 32;

LevelPlace WalkFromStart(DicomElement* first, uint32_t tag)
{
    LevelPlace place;
    for (DicomElement* element = first; element != nullptr; element = element->nextSibling) {
        if (element->tag == tag) return {element, nullptr};
        if (place.before == nullptr && element->tag > tag) place.before = element;
    }
    return place;
}
}  // namespace

LevelPlace LevelIndex::Find(DicomElement* parent, DicomElement* first, DicomElement* last, uint32_t tag)
{
    if (walkOnly_) return WalkFromStart(first, tag);
    if (first == nullptr) return {};
    if (first->tag > tag) return {nullptr, first};

    // Items were appended where the level ended then; all elements behind one have greater tags than an item,
    // so the elements are in order when the items are left out.
    LevelPlace place;
    DicomElement* element = last;
    for (int steps = 0; steps < kStepsBeforeIndex; ++steps, element = element->prevSibling) {
        if (element == nullptr) return place;
        if (element->tag == tag) return {element, nullptr};
        if (element->tag > tag)
            place.before = element;
        else if (element->tag != kTagItem)
            return place;
    }

    const Level& level = Index(parent, first);
    const auto next = level.elements.lower_bound(tag);
    if (next == level.elements.end()) return {nullptr, tag < kTagItem ? level.firstItem : nullptr};
    if (next->first == tag) return {next->second, nullptr};
    const bool itemComesFirst = level.firstItem != nullptr && tag < kTagItem && next->first > kTagItem;
    return {nullptr, itemComesFirst ? level.firstItem : next->second};
}

LevelIndex::Level& LevelIndex::Index(DicomElement* parent, DicomElement* first)
{
    const auto [entry, isNew] = levels_.try_emplace(parent);
    Level& level = entry->second;
    if (!isNew) return level;
    try {
        for (DicomElement* element = first; element != nullptr; element = element->nextSibling) {
            if (element->tag != kTagItem)
                level.elements.emplace_hint(level.elements.end(), element->tag, element);
            else if (level.firstItem == nullptr)
                level.firstItem = element;
        }
    } catch (...) {
        levels_.erase(entry);
        throw;
    }
    return level;
}

void LevelIndex::NoteLinked(DicomElement* element) noexcept
{
    if (levels_.empty()) return;
    const auto entry = levels_.find(element->parent);
    if (entry == levels_.end()) return;
    Level& level = entry->second;
    if (element->tag == kTagItem) {
        if (level.firstItem == nullptr || level.firstItem == element->nextSibling) level.firstItem = element;
        return;
    }
    try {
        level.elements.emplace(element->tag, element);
    } catch (const std::bad_alloc&) {
        levels_.erase(entry);
    }
}

void LevelIndex::NoteUnlinking(const DicomElement* element)
{
    if (levels_.empty()) return;
    levels_.erase(element);
    const auto entry = levels_.find(element->parent);
    if (entry == levels_.end()) return;
    if (element->tag != kTagItem)
        entry->second.elements.erase(element->tag);
    else if (entry->second.firstItem == element)
        levels_.erase(entry);
}

void LevelIndex::Clear()
{
    levels_ = {};
    walkOnly_ = false;
}
}  // namespace talv
