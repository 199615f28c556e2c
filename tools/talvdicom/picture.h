#pragma once

#include <cstdint>
#include <vector>

#include "dicom/data_set.h"
#include "raster/bitmap.h"

namespace talv {
class FrameSource;

/// A frame as a viewer shows it: grey levels, or red, green and blue, 8 bits each; top row first, rows
/// unpadded.
struct Picture
{
    int32_t width = 0, height = 0;
    int32_t channels = 1;  ///< 1 grey, 3 colour
    bool bilevel = false;  ///< grey of 0 and 255 only
    std::vector<uint8_t> pixels;
};

/// The window that grey frames above 8 bits are shown through, in rescaled values (PS3.3 C.11.2.1.2).
struct ViewWindow
{
    double center = 0, width = 0;
    bool invert = false;
};

/// The window of the file, or else one over the range of values that the first frame has.
ViewWindow ChooseWindow(const FrameSource& source);

/// Draws `bitmap`; palette and window are applied. False for a depth that no frame comes in, or when rows are
/// missing. A grey bitmap above 8 bits gets the window's lut.
bool DrawBitmap(ImageBitmap* bitmap, const ViewWindow& window, Picture* picture);
/// Makes a grey picture a colour picture of the same look.
void MakeColour(Picture* picture);
}  // namespace talv
