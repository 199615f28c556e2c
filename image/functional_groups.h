#pragma once

#include <cstdint>
#include <vector>

#include "dicom/data_set.h"

namespace talv {
/// Where an enhanced multi-frame object keeps attributes that others have at their top level (PS3.3
/// C.7.6.16): spacing, window and rescale, once for all frames or for each one. Plain data: pointers into the
/// data set's tree.
struct FunctionalGroups
{
    DicomElement* shared = nullptr;       ///< the item that holds for all frames
    std::vector<DicomElement*> ofFrames;  ///< one item for each frame, as far as the file has them

    /// True when a frame may have a window or a rescale of its own.
    bool VaryByFrame() const { return !ofFrames.empty(); }
    /// The element of a group's macro with `tag` that holds for `frame`, whose own item comes first; null
    /// when there is none, and for tags that no group is searched for.
    DicomElement* Find(DicomDataSet* dataSet, uint32_t frame, uint32_t tag) const;
};

FunctionalGroups FindFunctionalGroups(DicomDataSet* dataSet);
}  // namespace talv
