#pragma once

#include <cstdint>
#include <vector>

#include "tools/talvdicom/picture.h"

namespace talv {
/// `picture` as a PNG file (ISO/IEC 15948): 8-bit grey, 8-bit RGB, or 1-bit grey when it is bilevel.
std::vector<uint8_t> EncodePng(const Picture& picture);
}  // namespace talv
