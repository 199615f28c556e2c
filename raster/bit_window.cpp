#include <algorithm>

#include "raster/convert.h"

namespace talv {
BitWindow GetBitWindow(int32_t bits, int32_t width, int32_t lowBit, int32_t highBit)
{
    const int32_t low = std::max(lowBit, 0);
    const int32_t high = highBit < 0 ? bits - 1 : highBit;
    // Bit numbers come from files: an impossible range is an empty window, not an undefined shift.
    const int64_t span = std::max<int64_t>(int64_t{high} - low + 1, 0);
    BitWindow window;
    window.count = static_cast<int32_t>(std::min<int64_t>(span, std::clamp(width, 0, 32)));
    window.mask = static_cast<uint32_t>((uint64_t{1} << window.count) - 1);
    window.shift = static_cast<int32_t>(std::clamp<int64_t>(int64_t{high} - window.count + 1, 0, 31));
    return window;
}
}  // namespace talv
