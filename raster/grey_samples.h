#pragma once

#include <cstddef>
#include <cstdint>

#include "raster/bitmap.h"
#include "raster/convert.h"

// Samples of grey bitmaps above 8 bits, as the statistics and the remaps see them.

namespace talv {
/// kRasterNullBitmap, kRasterWrongStructSize, kRasterNotAllocated, or kRasterInvalid unless the bitmap has
/// colour order 2 and 12 or 16 bits.
int32_t CheckGreyBitmap(const ImageBitmap* bitmap);
/// lowBit to highBit, cut to the bits that a sample has.
BitWindow SignificantBits(const ImageBitmap& bitmap);
/// What to subtract from the significant bits of a sample: signed data are kept with the sign bit flipped, so
/// half the range stands for 0. 0 for unsigned data.
int32_t ZeroOfSigned(const ImageBitmap& bitmap, const BitWindow& window);
/// Bytes that WordsOfGreyRow needs for its words.
size_t GreyWordBytes(const ImageBitmap& bitmap);
/// The samples of a row as 16-bit words: the row itself at 16 bits, `words` at 12.
const uint8_t* WordsOfGreyRow(const ImageBitmap& bitmap, const uint8_t* row, uint8_t* words);
}  // namespace talv
