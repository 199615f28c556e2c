#pragma once

#include <cstdint>
#include <vector>

#include "tools/talvdicom/picture.h"

namespace talv {
/// `picture` as a PNG file (ISO/IEC 15948): 8-bit grey or RGB, 16-bit grey, or 1-bit grey when it is bilevel.
/// The cross tools for Windows come with zlib but not with a PNG library: there the chunks are framed by
/// hand (windows/png_from_zlib.cpp).
std::vector<uint8_t> EncodePng(const Picture& picture);
}  // namespace talv
