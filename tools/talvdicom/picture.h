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

/// How grey frames above 8 bits are shown: rescaled (PS3.3 C.11.1.1.2), then through a window (PS3.3
/// C.11.2.1.2).
struct GreyView
{
    double slope = 1, intercept = 0;
    double center = 0, width = 1;  ///< in rescaled values
    bool invert = false;
    bool useLut = false;  ///< the file has look-up tables, which are in the bitmap's lut: nothing else counts
    std::vector<uint8_t> levels;  ///< of each stored value; made by the first frame
    bool levelsSigned = false;
};

/// The view that the file asks for; without a window in the file one over the values that the first frame
/// has.
GreyView ChooseView(const FrameSource& source);

/// Draws `bitmap` through its palette or through `view`. False for a depth that no frame comes in, or when
/// rows are missing.
bool DrawBitmap(ImageBitmap* bitmap, GreyView* view, Picture* picture);
/// Makes a grey picture a colour picture of the same look.
void MakeColour(Picture* picture);
}  // namespace talv
