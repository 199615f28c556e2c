#include "raster/pixel_converter.h"

namespace talv {
namespace {
void Load555(const uint8_t* source, uint32_t order, size_t pixels, PaletteEntry* colors)
{
    const auto widen = [](uint32_t channel) { return static_cast<uint8_t>((channel & 31) * 255 / 31); };
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t word = LoadWord(source + 2 * i);
        const uint8_t high = widen(word >> 10), green = widen(word >> 5), low = widen(word);
        colors[i] =
            order == kOrderBgr ? PaletteEntry{low, green, high, 0} : PaletteEntry{high, green, low, 0};
    }
}

void LoadColors(const uint8_t* source, const PixelFormat& format, size_t pixels, PaletteEntry* colors)
{
    const size_t step = static_cast<size_t>(format.bits) / 8;
    const bool bgr = format.order == kOrderBgr;
    for (size_t i = 0; i < pixels; ++i, source += step)
        colors[i] = {source[bgr ? 0 : 2], source[1], source[bgr ? 2 : 0], 0};
}

void LoadDeepColors(const uint8_t* source, const PixelFormat& format, size_t pixels, DeepColor* colors)
{
    const size_t step = static_cast<size_t>(format.bits) / 8;
    const bool bgr = format.order == kOrderBgr;
    for (size_t i = 0; i < pixels; ++i, source += step)
        colors[i] = {LoadWord(source + (bgr ? 0 : 4)), LoadWord(source + 2),
                     LoadWord(source + (bgr ? 4 : 0))};
}

/// The pairs that frames pass; false when this is none of them.
bool ConvertHotPair(const Conversion& conversion)
{
    const PixelFormat& in = conversion.in;
    const PixelFormat& out = conversion.out;
    const RowKernels& kernels = BestRowKernels();
    const bool sameOrder = (in.order == kOrderBgr) == (out.order == kOrderBgr);
    if (in.bits == out.bits && sameOrder && (in.bits == 24 || in.bits == 48)) return true;
    if (in.bits == 24 && out.bits == 24) {
        kernels.swapColor24(conversion.buffer, conversion.buffer, conversion.pixelCount);
        return true;
    }
    if (in.bits == 24 && out.bits == 8 && out.kind == PixelKind::level && out.window.count == 8) {
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            kernels.luma24(source, target, pixels, in.order != kOrderBgr);
        });
        return true;
    }
    if (in.bits == 24 && out.bits == 32 && sameOrder) {
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            kernels.color24To32(source, target, pixels, static_cast<uint8_t>(conversion.fourth));
        });
        return true;
    }
    if (in.bits == 32 && out.bits == 24 && sameOrder) {
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            kernels.color32To24(source, target, pixels);
        });
        return true;
    }
    return false;
}
}  // namespace

void ConvertFromColors(const Conversion& conversion)
{
    if (ConvertHotPair(conversion)) return;
    PixelWriter writer(conversion);
    ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
        if (conversion.in.kind == PixelKind::color16) {
            DeepColor deep[kChunkPixels];
            LoadDeepColors(source, conversion.in, pixels, deep);
            writer.WriteDeepColors(deep, pixels, target);
            return;
        }
        PaletteEntry colors[kChunkPixels];
        if (conversion.in.kind == PixelKind::color555)
            Load555(source, conversion.in.order, pixels, colors);
        else
            LoadColors(source, conversion.in, pixels, colors);
        writer.WriteColors(colors, pixels, target);
    });
}
}  // namespace talv
