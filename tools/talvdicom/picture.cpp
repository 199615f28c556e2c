#include "tools/talvdicom/picture.h"

#include <algorithm>

#include "raster/convert.h"
#include "raster/palette.h"

namespace talv {
namespace {
bool IsGrey(const PaletteEntry* palette, uint32_t count)
{
    return std::all_of(palette, palette + count,
                       [](const PaletteEntry& e) { return e.red == e.green && e.green == e.blue; });
}

void PutEntry(const PaletteEntry& entry, int32_t channels, uint8_t* out)
{
    if (channels == 1) {
        *out = entry.green;
        return;
    }
    out[0] = entry.red;
    out[1] = entry.green;
    out[2] = entry.blue;
}

/// Calls `draw(row bytes, first output byte)` for every row, top first.
template <class Draw>
bool DrawRows(ImageBitmap* bitmap, Picture* picture, Draw draw)
{
    const size_t rowBytes = size_t(bitmap->width) * size_t(picture->channels);
    picture->pixels.resize(rowBytes * size_t(bitmap->height));
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    for (int32_t y = 0; y < bitmap->height; ++y) {
        const int32_t got = GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine);
        if (got != static_cast<int32_t>(bitmap->bytesPerLine)) return false;
        draw(row.data(), picture->pixels.data() + size_t(y) * rowBytes);
    }
    return true;
}

bool DrawIndices(ImageBitmap* bitmap, Picture* picture)
{
    const uint32_t colours = 1u << bitmap->bitsPerPixel;
    const PaletteEntry* palette = bitmap->palette;
    if (palette == nullptr || bitmap->colorCount < colours) palette = DefaultPalette(colours);
    const bool oneBit = bitmap->bitsPerPixel == 1;
    picture->channels = IsGrey(palette, colours) ? 1 : 3;
    picture->bilevel = oneBit && picture->channels == 1 && palette[0].red + palette[1].red == 255 &&
                       std::max(palette[0].red, palette[1].red) == 255;
    return DrawRows(bitmap, picture, [&](const uint8_t* row, uint8_t* out) {
        for (int32_t x = 0; x < bitmap->width; ++x, out += picture->channels) {
            const uint32_t index = oneBit ? row[x >> 3] >> (7 - (x & 7)) & 1u : row[x];
            PutEntry(palette[index], picture->channels, out);
        }
    });
}

/// Calls `put(pixel number, stored value)` for every pixel of a 16-bit grey bitmap.
template <class Put>
bool EachStored(ImageBitmap* bitmap, const GreyView& view, Put put)
{
    const BitWindow bits = GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit);
    const uint16_t signBit = SignBit(*bitmap);
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    size_t pixel = 0;
    for (int32_t y = 0; y < bitmap->height; ++y) {
        const int32_t got = GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine);
        if (got != static_cast<int32_t>(bitmap->bytesPerLine)) return false;
        for (int32_t x = 0; x < bitmap->width; ++x)
            put(pixel++,
                StoredSample(&row[2 * static_cast<size_t>(x)], view, signBit) >> bits.shift & bits.mask);
    }
    return true;
}

bool DrawDeepGrey(ImageBitmap* bitmap, GreyView* view, bool sixteenBits, Picture* picture)
{
    const BitWindow bits = GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit);
    const size_t count = size_t(bitmap->width) * size_t(bitmap->height);
    if (view->storedValues) {
        if (!sixteenBits) return false;
    } else {
        if (view->levels.empty() && !MakeLevels(bitmap, view)) return false;
        if (view->levels.size() != size_t{bits.mask} + 1) return false;
    }
    if (sixteenBits) {
        picture->deep.resize(count);
        return EachStored(bitmap, *view, [&](size_t pixel, uint32_t stored) {
            picture->deep[pixel] = view->storedValues ? static_cast<uint16_t>(stored) : view->levels[stored];
        });
    }
    picture->pixels.resize(count);
    std::vector<uint8_t> bytes(view->levels.size());
    std::transform(view->levels.begin(), view->levels.end(), bytes.begin(),
                   [](uint16_t level) { return static_cast<uint8_t>((level + 128) / 257); });
    return EachStored(bitmap, *view,
                      [&](size_t pixel, uint32_t stored) { picture->pixels[pixel] = bytes[stored]; });
}

/// 8-bit grey through a window of the user's own.
bool DrawWindowedBytes(ImageBitmap* bitmap, GreyView* view, Picture* picture)
{
    if (view->levels.empty() && !MakeLevels(bitmap, view)) return false;
    return DrawRows(bitmap, picture, [&](const uint8_t* row, uint8_t* out) {
        for (int32_t x = 0; x < bitmap->width; ++x)
            out[x] = static_cast<uint8_t>((view->levels[row[x]] + 128) / 257);
    });
}

bool DrawColours(ImageBitmap* bitmap, Picture* picture)
{
    picture->channels = 3;
    const int32_t step = bitmap->bitsPerPixel / 8;
    const int red = bitmap->colorOrder == kOrderPaletteOrRgb ? 0 : 2;
    return DrawRows(bitmap, picture, [&](const uint8_t* row, uint8_t* out) {
        for (int32_t x = 0; x < bitmap->width; ++x, row += step, out += 3) {
            out[0] = row[red];
            out[1] = row[1];
            out[2] = row[2 - red];
        }
    });
}
}  // namespace

bool DrawBitmap(ImageBitmap* bitmap, GreyView* view, bool sixteenBits, Picture* picture)
{
    *picture = {};
    picture->width = bitmap->width;
    picture->height = bitmap->height;
    switch (bitmap->bitsPerPixel) {
        case 8:
            if (!view->fromBitmap) return DrawWindowedBytes(bitmap, view, picture);
            [[fallthrough]];
        case 1:
            return DrawIndices(bitmap, picture);
        case 16:
            return bitmap->colorOrder == kOrderGrey && DrawDeepGrey(bitmap, view, sixteenBits, picture);
        case 24:
        case 32:
            return DrawColours(bitmap, picture);
        default:
            return false;
    }
}

void MakeColour(Picture* picture)
{
    if (picture->channels == 3) return;
    std::vector<uint8_t> colour;
    colour.reserve(picture->pixels.size() * 3);
    for (const uint8_t level : picture->pixels) colour.insert(colour.end(), 3, level);
    picture->pixels = std::move(colour);
    picture->channels = 3;
    picture->bilevel = false;
}
}  // namespace talv
