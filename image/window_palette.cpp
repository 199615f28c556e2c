#include "image/window_palette.h"

#include <algorithm>

#include "image/attribute_reader.h"

namespace talv {
DicomStatus MakeWindowPalette(double center, double width, bool inverted, PaletteEntry* entries,
                              uint32_t count)
{
    if (count != 256) return kDicomInvalidArgument;
    int32_t low = std::max(TruncateToInt32(center - width / 2), 0);
    int32_t high = std::min(TruncateToInt32(center + width / 2), 255);
    if (low >= high) low = 0, high = 255;

    for (int32_t i = 0; i < 256; ++i) {
        const int32_t ramp = i < low ? 0 : i < high ? (i - low) * 255 / (high - low) : 255;
        const auto level = static_cast<uint8_t>(inverted ? 255 - ramp : ramp);
        entries[i] = {level, level, level, 0};
    }
    return kDicomOk;
}
}  // namespace talv
