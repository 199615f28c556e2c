#include "image/functional_groups.h"

namespace talv {
namespace {
constexpr uint32_t kTagSharedGroups = 0x52009229, kTagGroupsOfFrames = 0x52009230;

/// The sequence of a group's item in which `tag` is looked for; 0 for tags of no group.
uint32_t MacroOf(uint32_t tag)
{
    switch (tag) {
        case 0x00280030:  // Pixel Spacing
            return 0x00289110;
        case 0x00281050:  // Window Center
        case 0x00281051:  // Window Width
            return 0x00289132;
        case 0x00281052:  // Rescale Intercept
        case 0x00281053:  // Rescale Slope
            return 0x00289145;
        default:
            return 0;
    }
}

DicomElement* FindInLevel(DicomDataSet* dataSet, DicomElement* parent, uint32_t tag)
{
    DicomElement* const first = parent != nullptr ? parent->firstChild : nullptr;
    return first != nullptr ? dataSet->FindFirstElement(first, tag, true) : nullptr;
}
}  // namespace

DicomElement* FunctionalGroups::Find(DicomDataSet* dataSet, uint32_t frame, uint32_t tag) const
{
    const uint32_t macro = MacroOf(tag);
    if (macro == 0) return nullptr;
    for (DicomElement* group : {frame < ofFrames.size() ? ofFrames[frame] : nullptr, shared}) {
        const DicomElement* const sequence = FindInLevel(dataSet, group, macro);
        if (sequence == nullptr) continue;
        if (DicomElement* const element = FindInLevel(dataSet, sequence->firstChild, tag)) return element;
    }
    return nullptr;
}

FunctionalGroups FindFunctionalGroups(DicomDataSet* dataSet)
{
    FunctionalGroups groups;
    if (const DicomElement* sequence = dataSet->FindFirstElement(nullptr, kTagSharedGroups, true))
        groups.shared = sequence->firstChild;
    const DicomElement* const sequence = dataSet->FindFirstElement(nullptr, kTagGroupsOfFrames, true);
    for (DicomElement* item = sequence != nullptr ? sequence->firstChild : nullptr; item != nullptr;
         item = item->nextSibling)
        groups.ofFrames.push_back(item);
    return groups;
}
}  // namespace talv
