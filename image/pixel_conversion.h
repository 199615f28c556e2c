#pragma once

#include <cstdint>
#include <vector>

#include "image/bitmap_row_writer.h"
#include "image/palette_mapping.h"
#include "image/pixel_layout.h"
#include "image/value_scaling.h"

namespace talv {
// From the bytes of one frame to the rows of its bitmap. A frame whose rows are no longer than the bitmap's
// and as deep may lie at the end of the bitmap's own pixels: every row is then moved forward.

/// 1 bit, first pixel in the lowest bit, or a codec's byte a pixel -> 1 bit, first pixel in the highest bit.
void ConvertOneBit(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows);
/// Grey of any stored depth -> 8 bits.
void ConvertGrey8(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows);
/// Grey of 16 bits -> 16 bits; signed data become offset binary.
void ConvertGrey16(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows);
/// Packed 12-bit samples -> 16 bits.
void ConvertPacked12(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows);
/// 32-bit samples -> 16 bits, from 0 for the smallest value: offset binary where they are signed.
void ConvertLongs(const PixelLayout& layout, ValueRange range, const uint8_t* frame, BitmapRowWriter* rows);
/// Palette samples -> 8-bit indices. `table` has an entry for every stored sample of 1 or 2 bytes; without it
/// every sample is looked up.
void ConvertPaletteIndices(const PixelLayout& layout, const PaletteMapping& mapping,
                           const std::vector<uint8_t>& table, const uint8_t* frame, BitmapRowWriter* rows);
/// Palette samples -> 24 bits.
void ConvertPaletteColors(const PixelLayout& layout, const PaletteMapping& mapping,
                          const std::vector<PaletteEntry>& table, const uint8_t* frame,
                          BitmapRowWriter* rows);
/// Three or four samples -> 24 bits.
void ConvertColors(const PixelLayout& layout, const ByteScale& scale, ColorSamples* samples,
                   BitmapRowWriter* rows);
/// Blue, green, red bytes of a codec, as they are.
void CopyCodecColors(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows);
/// Bytes that a row of CMYK takes while it is built.
inline size_t CmykRowBytes(const PixelLayout& layout)
{
    return size_t{layout.columns} * 4;
}
}  // namespace talv
