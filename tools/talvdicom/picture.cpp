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
constexpr uint32_t kTagModalityTables = 0x00283000;
constexpr uint32_t kTagVoiTables = 0x00283010;

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

bool MakeLevels(ImageBitmap* bitmap, GreyView* view)
{
    if (view->ownWindow || bitmap->lut == nullptr) {
        const int32_t status = RemapWindow(bitmap, view->center, view->width, view->invert, kRemapLut);
        if (status < 0) return false;
    }
    view->levels.resize(bitmap->lutLength);
    for (size_t i = 0; i < view->levels.size(); ++i) view->levels[i] = bitmap->lut[i].green;
    return true;
}

bool DrawGreyLevels(ImageBitmap* bitmap, GreyView* view, Picture* picture)
{
    const BitWindow bits = GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit);
    if (view->levels.empty() && !MakeLevels(bitmap, view)) return false;
    if (view->levels.size() != size_t{bits.mask} + 1) return false;
    return DrawRows(bitmap, picture, [&](const uint8_t* row, uint8_t* out) {
        for (int32_t x = 0; x < bitmap->width; ++x) {
            const uint32_t stored = row[2 * x] | uint32_t{row[2 * x + 1]} << 8;
            out[x] = view->levels[stored >> bits.shift & bits.mask];
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

GreyView ChooseView(const FrameSource& source)
{
    DicomDataSet* dataSet = source.dataSet;
    const auto has = [&](uint32_t tag) { return dataSet->FindFirstElement(nullptr, tag, true) != nullptr; };
    const auto number = [&](uint32_t tag, double* value) {
        return TagReal(dataSet, tag, value) && std::isfinite(*value);
    };
    double center = 0, width = 0, slope = 1, intercept = 0;
    const bool hasWindow = number(kTagWindowCenter, &center) && number(kTagWindowWidth, &width) && width >= 1;
    GreyView view;
    view.ownWindow = !hasWindow && !has(kTagModalityTables) && !has(kTagVoiTables);
    if (!view.ownWindow) return view;

    if (!number(kTagRescaleSlope, &slope) || !number(kTagRescaleIntercept, &intercept) || slope == 0)
        slope = 1, intercept = 0;
    const double one = source.minPixelValue * slope + intercept;
    const double other = source.maxPixelValue * slope + intercept;
    // Black at center - 0.5 - (width - 1) / 2 and below, white from center - 0.5 + (width - 1) / 2 on.
    view.center = (one + other) / 2 + 0.5;
    view.width = std::abs(other - one) + 1;
    const std::string photometric = TagText(dataSet, kTagPhotometric);
    view.invert = photometric.empty() || photometric == "MONOCHROME1";
    return view;
}

bool DrawBitmap(ImageBitmap* bitmap, GreyView* view, Picture* picture)
{
    *picture = {};
    picture->width = bitmap->width;
    picture->height = bitmap->height;
    switch (bitmap->bitsPerPixel) {
        case 1:
        case 8:
            return DrawIndices(bitmap, picture);
        case 16:
            return bitmap->colorOrder == kOrderGrey && DrawGreyLevels(bitmap, view, picture);
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
