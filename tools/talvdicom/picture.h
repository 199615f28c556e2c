#pragma once

#include <cstdint>
#include <vector>

#include "raster/bitmap.h"
#include "tools/talvdicom/grey_view.h"

namespace talv {
/// A frame as a viewer shows it: grey levels, or red, green and blue; top row first, rows unpadded.
struct Picture
{
    int32_t width = 0, height = 0;
    int32_t channels = 1;         ///< 1 grey, 3 colour
    bool bilevel = false;         ///< grey of 0 and 255 only
    std::vector<uint8_t> pixels;  ///< 8 bits each; empty when the next one is not
    std::vector<uint16_t> deep;   ///< grey of 16 bits
};

/// Draws `bitmap` through its palette or through `view`; with `sixteenBits` grey of more than 8 bits gets
/// 65,536 levels. False for a depth that no frame comes in, or when rows are missing.
bool DrawBitmap(ImageBitmap* bitmap, GreyView* view, bool sixteenBits, Picture* picture);
/// Makes an 8-bit grey picture a colour picture of the same look.
void MakeColour(Picture* picture);
}  // namespace talv
