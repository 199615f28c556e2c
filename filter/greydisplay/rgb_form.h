#pragma once

#include <vector>

#include "filter/greydisplay/grey_block.h"

namespace talv {
/// How a picture of RGB32 lies in a sample.
struct RgbForm
{
    size_t stride = 0;  ///< bytes from row to row
    size_t bytes = 0;   ///< of the whole picture
    bool topDown = false;
};

/// Reads a VIDEOINFOHEADER block that proposes RGB32 for the pictures of `grey`. A renderer may ask for
/// longer rows (a header wider than its target rectangle) and for the first row first (a negative height).
/// False for other sizes, rectangles that scale or move the picture, compression, and blocks that are too
/// short.
bool ReadRgbBlock(const uint8_t* bytes, size_t size, const GreyBlock& grey, RgbForm* form);
/// The block that a display offers by itself: rows without gaps, last row first. Throws std::bad_alloc.
std::vector<uint8_t> MakeRgbBlock(const GreyBlock& grey);
}  // namespace talv
