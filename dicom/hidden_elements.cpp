#include <algorithm>
#include <iterator>

#include "dicom/data_set.h"

namespace talv {
namespace {
// clang-format off
constexpr uint32_t kHiddenTags[] = {
    0x00020010,
    0x00041200, 0x00041202, 0x00041400, 0x00041420,
    0x00280002, 0x00280004, 0x00280006, 0x00280008, 0x00280010, 0x00280011, 0x00280030, 0x00280034,
    0x00280100, 0x00280101, 0x00280102, 0x00280103, 0x00280106, 0x00280107,
    0x00281101, 0x00281102, 0x00281103, 0x00281199, 0x00281201, 0x00281202, 0x00281203,
    0x00540070, 0x00540080, 0x00540081,
};
// clang-format on
static_assert(std::is_sorted(std::begin(kHiddenTags), std::end(kHiddenTags)));
}  // namespace

bool IsHiddenElement(const DicomElement* element)
{
    if (element == nullptr) return false;
    if (element->tag == kTagItem) return element->parent != nullptr && element->parent->tag == kTagPixelData;
    return std::binary_search(std::begin(kHiddenTags), std::end(kHiddenTags), element->tag);
}
}  // namespace talv
