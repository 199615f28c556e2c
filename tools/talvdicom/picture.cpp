#include "tools/talvdicom/picture.h"

#include <algorithm>
#include <cmath>

#include "filter/frame_source.h"
#include "raster/convert.h"
#include "raster/palette.h"
#include "raster/remap.h"
#include "tools/talvdicom/opened_file.h"

namespace talv {
namespace {
constexpr uint32_t kTagPhotometric = 0x00280004;
constexpr uint32_t kTagWindowCenter = 0x00281050;
constexpr uint32_t kTagWindowWidth = 0x00281051;
constexpr uint32_t kTagRescaleIntercept = 0x00281052;
constexpr uint32_t kTagRescaleSlope = 0x00281053;

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

bool DrawGreyLevels(ImageBitmap* bitmap, const ViewWindow& window, Picture* picture)
{
    if (RemapWindow(bitmap, window.center, window.width, window.invert, kRemapLut) != kRasterOk) return false;
    const BitWindow bits = GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit);
    if (bitmap->lutLength <= bits.mask) return false;
    return DrawRows(bitmap, picture, [&](const uint8_t* row, uint8_t* out) {
        for (int32_t x = 0; x < bitmap->width; ++x) {
            const uint32_t stored = row[2 * x] | uint32_t{row[2 * x + 1]} << 8;
            out[x] = bitmap->lut[stored >> bits.shift & bits.mask].green;
        }
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

ViewWindow ChooseWindow(const FrameSource& source)
{
    DicomDataSet* dataSet = source.dataSet;
    const std::string photometric = TagText(dataSet, kTagPhotometric);
    ViewWindow window;
    window.invert = photometric.empty() || photometric == "MONOCHROME1";
    if (TagReal(dataSet, kTagWindowCenter, &window.center) &&
        TagReal(dataSet, kTagWindowWidth, &window.width) && std::isfinite(window.center) &&
        std::isfinite(window.width) && window.width >= 1)
        return window;

    double slope = 1.0, intercept = 0.0;
    if (!TagReal(dataSet, kTagRescaleSlope, &slope) || !std::isfinite(slope) || slope == 0) slope = 1.0;
    if (!TagReal(dataSet, kTagRescaleIntercept, &intercept) || !std::isfinite(intercept)) intercept = 0.0;
    const double one = source.minPixelValue * slope + intercept;
    const double other = source.maxPixelValue * slope + intercept;
    // A window of center c and width w is black up to c - 0.5 - (w - 1) / 2 and white from c - 0.5 + (w - 1)
    // / 2.
    window.center = (one + other) / 2 + 0.5;
    window.width = std::abs(other - one) + 1;
    return window;
}

bool DrawBitmap(ImageBitmap* bitmap, const ViewWindow& window, Picture* picture)
{
    *picture = {};
    picture->width = bitmap->width;
    picture->height = bitmap->height;
    switch (bitmap->bitsPerPixel) {
        case 1:
        case 8:
            return DrawIndices(bitmap, picture);
        case 16:
            return bitmap->colorOrder == kOrderGrey && DrawGreyLevels(bitmap, window, picture);
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
