#pragma once

#include "filter/greydisplay/grey_block.h"

namespace talv {
/// A window in units of the values (PS3.3 C.11.2.1.2): levels run from black at center - 0.5 - (width - 1) /
/// 2 to white at center - 0.5 + (width - 1) / 2.
struct GreyWindow
{
    double center = 0.5, width = 1;

    double Start() const { return center - 0.5 - (width - 1) / 2; }
    double Span() const { return width - 1; }
};

/// From the smallest value, black, to the largest, white.
GreyWindow WindowOfRange(double smallest, double largest);

/// What the block does not say and a frame may tell.
struct FrameHints
{
    bool isSigned = false;      ///< half the range of a stored value stands for 0
    bool bytesSwapped = false;  ///< the two bytes of every word stand in the other order
};

/// What stored values of a block mean and how their file wants them seen.
struct GreyScale
{
    double slope = 1, offset = 0;  ///< value = stored * slope + offset
    bool inverted = false;         ///< small values are white
    bool showsPalette = false;     ///< the block's palette is the file's own view; `window` comes near it
    bool windowFromRange = false;  ///< the file has no window; the first frame's values made it
    GreyWindow window;

    double ValueOf(uint32_t stored) const { return stored * slope + offset; }
};

/// The block as its writer meant it. Fractions that its whole numbers lost are found again in the palette,
/// which was made before they went.
GreyScale ReadGreyScale(const GreyBlock& block, const FrameHints& hints);

/// True when the block leaves open whether values are signed: none that it names is negative, and all would
/// do as either.
bool SignIsOpen(const GreyBlock& block);
/// Looks at a frame of at least block.FrameBytes() bytes. `settled` is false when it is so plain that it does
/// not tell the order of the bytes; another one may.
FrameHints LookAtFrame(const GreyBlock& block, const uint8_t* frame, bool* settled);
/// The smallest and the largest stored value of a frame.
void StoredRange(const GreyBlock& block, const FrameHints& hints, const uint8_t* frame, uint32_t* smallest,
                 uint32_t* largest);
/// The stored value in a word of the frame.
uint32_t StoredValue(const GreyBlock& block, const FrameHints& hints, uint32_t word);
}  // namespace talv
