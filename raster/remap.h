#pragma once

#include <cstdint>
#include <vector>

#include "raster/bitmap.h"

// Remaps of grey bitmaps (colour order 2, 12 or 16 bits).
//
// A sample's value is what stands in its significant bits, lowBit to highBit; signed data (kBitmapSigned) are
// kept with the sign bit flipped and count from minus half the range.
//
// Mode 2 rewrites the samples. Results are rounded to the nearest integer and saturate at what the depth
// holds. lowBit, highBit and kBitmapSigned afterwards describe the results of all values the samples could
// have had, not of those that happen to be there, so that all frames of a clip come out alike; minValue and
// maxValue are those present.
//
// Mode 10 leaves the samples and builds `lut`: one grey entry (blue, green, red, 0) for each value of the
// significant bits as stored, lutLength = 2^(number of significant bits). Beside the lut the bitmap remembers
// the unrounded result for each stored value. The next remap, of either mode, starts from these results and
// not from 8-bit entries: a rescale followed by a window is exact. Without a window the entries run evenly
// from 0 for the smallest result to 255 for the largest. Mode 2 drops the lut, as its index no longer is what
// the samples hold.
//
// All answer kRasterOk, kRasterNullBitmap, kRasterWrongStructSize, kRasterNotAllocated, kRasterInvalid
// (colour order, depth, mode, empty table, number that is not finite), kRasterNoMemory, or the status of a
// row operation; after the last kind some rows may be rewritten already, after the others nothing is changed.

namespace talv {
enum RemapMode : int32_t
{
    kRemapPixels = 2,
    kRemapLut = 10,
};

/// value * slope + intercept (PS3.3 C.11.1.1.2).
int32_t RemapLinear(ImageBitmap* bitmap, double slope, double intercept, int32_t mode);

/// table[value - firstMapped], the value clamped to the table; of an entry the low `bitsPerEntry` (1 to 16)
/// bits count (PS3.3 C.11.1.1.1).
int32_t RemapTable(ImageBitmap* bitmap, const uint16_t* table, uint32_t count, int32_t firstMapped,
                   uint32_t bitsPerEntry, int32_t mode);

/// The linear window function (PS3.3 C.11.2.1.2.1) onto the whole grey range, black for the largest values
/// when `invert`: in mode 2 unsigned samples of as many significant bits as before. A width below 1 means the
/// evenly spread range. In mode 10 the remembered results stay as they were before the window, so that
/// another window replaces this one.
int32_t RemapWindow(ImageBitmap* bitmap, double center, double width, bool invert, int32_t mode);

/// A bitmap's lut with the results remembered beside it, for further bitmaps whose samples mean the same: the
/// frames of a clip. A copy costs a fraction of the remaps that made it.
class KeptLut
{
  public:
    bool IsEmpty() const { return length_ == 0; }
    /// Takes a copy of the lut of `bitmap`; empty afterwards when it has none or memory is short.
    void KeepFrom(const ImageBitmap& bitmap);
    /// Replaces the lut of `bitmap`; a further remap goes on as it would on the first one. kRasterOk or
    /// kRasterNoMemory.
    int32_t InstallIn(ImageBitmap* bitmap) const;

  private:
    std::vector<uint8_t> block_;
    uint32_t length_ = 0;  ///< entries
    uint32_t kind_ = 0;    ///< what stands behind them
};
}  // namespace talv
