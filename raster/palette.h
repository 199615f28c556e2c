#pragma once

#include <cstdint>

#include "raster/bitmap.h"

namespace talv {
/// Gives a bitmap of depth 1 to 8 the grey palette: 2^depth entries, entry i = i * 255 / (entries - 1).
/// kRasterBadDepth for other depths.
int32_t CreateGreyPalette(ImageBitmap* bitmap);
/// A new block with a copy of `count` (1 to 256) entries, to be freed with FreePalette; null otherwise.
PaletteEntry* CopyPalette(const PaletteEntry* entries, uint32_t count);
void FreePalette(PaletteEntry* palette);
/// Replaces `target`'s palette by a copy of `source`'s.
int32_t CopyBitmapPalette(ImageBitmap* target, const ImageBitmap* source);
/// Replaces `bitmap`'s palette by a copy of `count` (1 to 256) entries.
int32_t SetBitmapPalette(ImageBitmap* bitmap, const PaletteEntry* entries, uint32_t count);
/// The fixed default palette of `count` entries (2, 4, 8, 16, 32, 64, 128 or 256), never freed; null for
/// other counts.
const PaletteEntry* DefaultPalette(uint32_t count);

/// Index of the entry nearest to the colour by squared distance; -1 for an empty palette.
int32_t FindNearestColor(const PaletteEntry* palette, uint32_t count, int32_t red, int32_t green,
                         int32_t blue);
/// Fills `map[0 .. countIn)`, counts up to 256, with the nearest entries of `paletteOut`, or with the
/// identity when its first `countIn` entries are those of `paletteIn`. Returns 1 when every entry maps to
/// itself, else 0; null pointers and an empty output palette leave the map alone.
int32_t MapPalette(const PaletteEntry* paletteIn, uint32_t countIn, const PaletteEntry* paletteOut,
                   uint32_t countOut, uint8_t* map);
}  // namespace talv
