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

/// How grey frames above 8 bits are shown: through the lut that the file's own steps give, or through a
/// window (PS3.3 C.11.2.1.2) over the rescaled values.
struct GreyView
{
    bool ownWindow = false;  ///< the file has none: the fields below hold
    double center = 0, width = 1;
    bool invert = false;
    std::vector<uint8_t> levels;  ///< of each stored value; made by the first frame
};

/// The view that the file asks for; when it asks for none, a window over the values that the first frame has.
GreyView ChooseView(const FrameSource& source);

/// Draws `bitmap` through its palette or through `view`. False for a depth that no frame comes in, or when
/// rows are missing.
bool DrawBitmap(ImageBitmap* bitmap, GreyView* view, Picture* picture);
/// Makes a grey picture a colour picture of the same look.
void MakeColour(Picture* picture);
}  // namespace talv
