#include "raster/pixel_converter.h"

namespace talv {
namespace {
void LoadLevels(const uint8_t* source, int32_t bits, size_t pixels, uint16_t* levels)
{
    if (bits == 16) {
        std::memcpy(levels, source, 2 * pixels);
        return;
    }
    if (bits == 12) {
        BestRowKernels().widen12(source, reinterpret_cast<uint8_t*>(levels), pixels / 2);
        // The last sample of an odd count has no partner, and no third byte.
        if (pixels % 2 != 0) levels[pixels - 1] = LoadWord(source + pixels / 2 * 3) & 0x0FFF;
        return;
    }
    uint8_t values[kChunkPixels];
    UnpackBitFields(source, bits, pixels, values);
    for (size_t i = 0; i < pixels; ++i) levels[i] = values[i];
}

bool IsWholeRange(const PixelFormat& format)
{
    return format.window.count == format.bits;
}

/// The pairs that frames pass; false when this is none of them.
bool ConvertHotPair(const Conversion& conversion)
{
    const PixelFormat& in = conversion.in;
    const PixelFormat& out = conversion.out;
    const RowKernels& kernels = BestRowKernels();
    if (in.bits == out.bits && out.kind == PixelKind::level && IsWholeRange(in) && IsWholeRange(out))
        return true;
    if (in.bits == 12 && IsWholeRange(in) && out.bits == 16 && conversion.keepsValues &&
        out.kind == PixelKind::level) {
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            kernels.widen12(source, target, pixels / 2);
            if (pixels % 2 != 0)
                StoreWord(target + 2 * (pixels - 1), LoadWord(source + pixels / 2 * 3) & 0x0FFF);
        });
        return true;
    }
    if (in.bits == 16 && in.window.count >= 8 && out.bits == 8 && out.kind == PixelKind::level &&
        IsWholeRange(out)) {
        const int32_t shift = in.window.shift + in.window.count - 8;
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            kernels.narrow16(source, target, pixels, shift);
        });
        return true;
    }
    if (in.bits == 8 && IsWholeRange(in) && out.kind == PixelKind::color8) {
        ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
            if (out.bits == 24)
                kernels.grey8To24(source, target, pixels);
            else
                kernels.grey8To32(source, target, pixels, static_cast<uint8_t>(conversion.fourth));
        });
        return true;
    }
    return false;
}
}  // namespace

void ConvertFromLevels(const Conversion& conversion)
{
    if (ConvertHotPair(conversion)) return;
    PixelWriter writer(conversion);
    const BitWindow& window = conversion.in.window;
    ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
        uint16_t levels[kChunkPixels];
        LoadLevels(source, conversion.in.bits, pixels, levels);
        for (size_t i = 0; i < pixels; ++i)
            levels[i] = static_cast<uint16_t>(uint32_t{levels[i]} >> window.shift & window.mask);
        writer.WriteLevels(levels, window.count, pixels, target);
    });
}
}  // namespace talv
