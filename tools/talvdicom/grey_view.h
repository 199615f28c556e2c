#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "raster/bitmap.h"

namespace talv {
class OpenedFile;

enum class WindowKind
{
    automatic,  ///< the file's own window or tables; without them the first frame's range of values
    minmax,     ///< the range of values of all frames that are asked for
    file,       ///< the file's own; refused when it has none
    given,      ///< center and width
    none,       ///< 16-bit pictures only: values as they are stored
};

/// What a user asks for with --window.
struct WindowRule
{
    WindowKind kind = WindowKind::automatic;
    double center = 0, width = 0;  ///< of WindowKind::given: of rescaled values, as in the file
};
/// Reads auto, minmax, file, none or "C,W". An error message, empty when `text` is good.
std::string ParseWindowRule(const std::string& text, WindowRule* rule);

/// How the grey frames of a clip are shown: one rule for all of them.
struct GreyView
{
    /// Grey levels are those of the bitmap's palette (8 bits) or lut (above); else the ramp below holds.
    bool fromBitmap = true;
    bool windowOfFile = false;  ///< the ramp's window is the file's, where frames may have their own
    bool storedValues = false;  ///< no levels at all: a stored value is its own level
    double slope = 1, intercept = 0;
    double center = 0, width = 0;  ///< PS3.3 C.11.2.1.2 over the rescaled values
    bool invert = false;
    bool isSigned = false;         ///< of 8-bit frames; bitmaps above tell it themselves
    bool swapBytes = false;        ///< the two bytes of a sample lie in the order of their RLE segments
    std::vector<uint16_t> levels;  ///< 0..65535 for each stored value; made when a frame is drawn
};

/// The view that `rule` asks for over `frames` (counted from 0); `fine` for pictures of 16 bits. False, with
/// the reason in `refusal`, when it cannot be had.
bool MakeGreyView(OpenedFile* opened, const WindowRule& rule, bool fine, const std::vector<int64_t>& frames,
                  GreyView* view, std::string* refusal);

/// Makes `view` ready for `frame`, which may have a rescale or a window of its own; before its bitmap is
/// drawn.
void UseFrame(OpenedFile* opened, int64_t frame, GreyView* view);

/// The stored sample of a 16-bit grey row, in its byte order.
uint16_t StoredSample(const uint8_t* bytes, const GreyView& view, uint16_t signBit);
/// The bit that signed bitmaps hold flipped; 0 for unsigned ones.
uint16_t SignBit(const ImageBitmap& bitmap);
/// Fills `view->levels` for bitmaps like this grey one. False when its lut is missing.
bool MakeLevels(ImageBitmap* bitmap, GreyView* view);
}  // namespace talv
