#pragma once

#include <dshow.h>

#include "filter/directshow/media_type.h"
#include "filter/media_format.h"

namespace talv {
/// The framework's record for the loaded image's format. VFW_S_NO_MORE_ITEMS when its depth has none.
HRESULT MakeVideoType(const FrameSource& source, MediaType* out);
/// A framework type as far as the pin checks it; false when its format block is too short.
bool DescribeType(const AM_MEDIA_TYPE& type, ProposedFormat* proposed);
}  // namespace talv
