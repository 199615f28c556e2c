#include "raster/palette.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace talv {
namespace {
/// A colour cube: red varies fastest, then green, then blue; the levels of a channel are spread evenly over
/// 0..255.
template <uint32_t redLevels, uint32_t greenLevels, uint32_t blueLevels>
constexpr auto ColorCube()
{
    std::array<PaletteEntry, redLevels * greenLevels * blueLevels> cube{};
    uint32_t index = 0;
    for (uint32_t blue = 0; blue < blueLevels; ++blue)
        for (uint32_t green = 0; green < greenLevels; ++green)
            for (uint32_t red = 0; red < redLevels; ++red)
                cube[index++] = {static_cast<uint8_t>(blue * 255 / (blueLevels - 1)),
                                 static_cast<uint8_t>(green * 255 / (greenLevels - 1)),
                                 static_cast<uint8_t>(red * 255 / (redLevels - 1)), 0};
    return cube;
}

// 2 and 4 colours share the first table.
constexpr PaletteEntry kPalette4[] = {{0, 0, 0, 0}, {255, 255, 255, 0}, {0, 0, 0, 0}, {85, 85, 85, 0}};
constexpr auto kPalette8 = ColorCube<2, 2, 2>();
// clang-format off
constexpr PaletteEntry kPalette16[] = {
//    blue green red
    {   0,   0,   0, 0 },  // black
    {   0,   0, 128, 0 },  // dark red
    {   0, 128,   0, 0 },  // dark green
    {   0, 128, 128, 0 },  // dark yellow
    { 128,   0,   0, 0 },  // dark blue
    { 128,   0, 128, 0 },  // dark magenta
    { 128, 128,   0, 0 },  // dark cyan
    { 128, 128, 128, 0 },  // grey 128
    { 192, 192, 192, 0 },  // grey 192
    {   0,   0, 255, 0 },  // red
    {   0, 255,   0, 0 },  // green
    {   0, 255, 255, 0 },  // yellow
    { 255,   0,   0, 0 },  // blue
    { 255,   0, 255, 0 },  // magenta
    { 255, 255,   0, 0 },  // cyan
    { 255, 255, 255, 0 },  // white
};
// clang-format on
constexpr auto kPalette32 = ColorCube<2, 4, 4>();
constexpr auto kPalette64 = ColorCube<4, 4, 4>();
constexpr auto kPalette128 = ColorCube<4, 8, 4>();
constexpr auto kPalette256 = ColorCube<8, 8, 4>();

static_assert(kPalette8[3].red == 255 && kPalette8[3].green == 255 && kPalette8[3].blue == 0, "yellow");
static_assert(kPalette32[2].red == 0 && kPalette32[2].green == 85 && kPalette32[8].blue == 85);

/// Hands `entries`, a block of CopyPalette or null, to the bitmap in place of its palette.
int32_t ReplacePalette(ImageBitmap* bitmap, PaletteEntry* entries, uint32_t count)
{
    if (entries == nullptr) return kRasterNoMemory;
    FreePalette(bitmap->palette);
    bitmap->palette = entries;
    bitmap->colorCount = count;
    return kRasterOk;
}

bool IsColor(const PaletteEntry& entry, int32_t red, int32_t green, int32_t blue)
{
    return entry.red == red && entry.green == green && entry.blue == blue;
}

int32_t SquaredDistance(const PaletteEntry& entry, int32_t red, int32_t green, int32_t blue)
{
    const int32_t dr = entry.red - red, dg = entry.green - green, db = entry.blue - blue;
    return dr * dr + dg * dg + db * db;
}

/// Which channel leads: bit 4 red below blue, bit 2 green lowest, bit 1 the larger of red and blue is not the
/// largest.
int32_t OrderingCode(int32_t red, int32_t green, int32_t blue)
{
    const int32_t smaller = std::min(red, blue);
    const int32_t larger = std::max(red, blue);
    int32_t code = red < blue ? 4 : 0;
    if (green < smaller) code |= 2;
    if (larger < std::max(green, smaller)) code |= 1;
    return code;
}
}  // namespace

int32_t CreateGreyPalette(ImageBitmap* bitmap)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (bitmap->bitsPerPixel < 1 || bitmap->bitsPerPixel > 8) return kRasterBadDepth;
    const uint32_t count = 1u << bitmap->bitsPerPixel;
    PaletteEntry entries[256];
    for (uint32_t i = 0; i < count; ++i) {
        const auto level = static_cast<uint8_t>(i * 255 / (count - 1));
        entries[i] = {level, level, level, 0};
    }
    return ReplacePalette(bitmap, CopyPalette(entries, count), count);
}

PaletteEntry* CopyPalette(const PaletteEntry* entries, uint32_t count)
{
    if (entries == nullptr || count < 1 || count > 256) return nullptr;
    auto* copy = static_cast<PaletteEntry*>(std::malloc(count * sizeof(PaletteEntry)));
    if (copy != nullptr) std::memcpy(copy, entries, count * sizeof(PaletteEntry));
    return copy;
}

void FreePalette(PaletteEntry* palette)
{
    std::free(palette);
}

int32_t CopyBitmapPalette(ImageBitmap* target, const ImageBitmap* source)
{
    if (int32_t status = CheckDescriptor(target); status < 0) return status;
    if (int32_t status = CheckDescriptor(source); status < 0) return status;
    return SetBitmapPalette(target, source->palette, source->colorCount);
}

int32_t SetBitmapPalette(ImageBitmap* bitmap, const PaletteEntry* entries, uint32_t count)
{
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if (entries == nullptr || count < 1 || count > 256) return kRasterInvalid;
    return ReplacePalette(bitmap, CopyPalette(entries, count), count);
}

const PaletteEntry* DefaultPalette(uint32_t count)
{
    switch (count) {
        case 2:
        case 4:
            return kPalette4;
        case 8:
            return kPalette8.data();
        case 16:
            return kPalette16;
        case 32:
            return kPalette32.data();
        case 64:
            return kPalette64.data();
        case 128:
            return kPalette128.data();
        case 256:
            return kPalette256.data();
        default:
            return nullptr;
    }
}

int32_t FindNearestColor(const PaletteEntry* palette, uint32_t count, int32_t red, int32_t green,
                         int32_t blue)
{
    if (palette == nullptr || count == 0) return -1;
    red = std::clamp(red, 0, 255);
    green = std::clamp(green, 0, 255);
    blue = std::clamp(blue, 0, 255);
    const auto last = static_cast<int32_t>(count - 1);
    if (red == 255 && green == 255 && blue == 255) {
        if (IsColor(palette[last], 255, 255, 255)) return last;
        if (IsColor(palette[0], 255, 255, 255)) return 0;
    }
    if (red == 0 && green == 0 && blue == 0) {
        if (IsColor(palette[0], 0, 0, 0)) return 0;
        if (IsColor(palette[last], 0, 0, 0)) return last;
    }

    const int32_t targetCode = OrderingCode(red, green, blue);
    int32_t best = 0;
    int32_t bestDistance = SquaredDistance(palette[0], red, green, blue);
    for (int32_t i = 1; i <= last && bestDistance != 0; ++i) {
        const PaletteEntry& entry = palette[i];
        const int32_t distance = SquaredDistance(entry, red, green, blue);
        const bool wins =
            distance < bestDistance ||
            (distance == bestDistance && OrderingCode(entry.red, entry.green, entry.blue) == targetCode);
        if (!wins) continue;
        best = i;
        bestDistance = distance;
    }
    return best;
}

int32_t MapPalette(const PaletteEntry* paletteIn, uint32_t countIn, const PaletteEntry* paletteOut,
                   uint32_t countOut, uint8_t* map)
{
    if (paletteIn == nullptr || paletteOut == nullptr || map == nullptr || countOut == 0) return 0;
    const bool identical =
        countOut >= countIn && std::memcmp(paletteIn, paletteOut, countIn * sizeof *paletteIn) == 0;
    bool identity = true;
    for (uint32_t i = 0; i < countIn; ++i) {
        const PaletteEntry& entry = paletteIn[i];
        const uint32_t index = identical ? i
                                         : static_cast<uint32_t>(FindNearestColor(
                                               paletteOut, countOut, entry.red, entry.green, entry.blue));
        map[i] = static_cast<uint8_t>(index);
        identity = identity && map[i] == i;
    }
    return identity ? 1 : 0;
}
}  // namespace talv
