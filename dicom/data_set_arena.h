#pragma once

#include "dicom/data_set.h"
#include "dicom/element_arena.h"
#include "dicom/level_index.h"

namespace talv {
/// What a data set keeps its nodes in.
struct DicomDataSet::Arena
{
    ElementArena nodes;
    LevelIndex index;
};
}  // namespace talv
