#include "raster/palette.h"
#include "raster/pixel_converter.h"

namespace talv {
namespace {
/// Palette to palette: every index has one answer, found before the first pixel.
void ConvertToIndices(const Conversion& conversion, PixelWriter* writer)
{
    uint8_t map[256];
    const bool same = MapPalette(conversion.in.palette, conversion.in.colors, conversion.out.palette,
                                 conversion.out.colors, map) == 1;
    if (same && conversion.in.bits == conversion.out.bits) return;
    ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
        uint8_t values[kChunkPixels];
        UnpackBitFields(source, conversion.in.bits, pixels, values);
        for (size_t i = 0; i < pixels; ++i) values[i] = map[values[i]];
        writer->WriteIndices(values, pixels, target);
    });
}

/// Every index is its own grey level, as in a picture without a window.
bool IsGreyRamp(const PixelFormat& format)
{
    if (format.bits != 8) return false;
    for (uint32_t i = 0; i < 256; ++i) {
        const PaletteEntry& entry = format.palette[i];
        if (entry.red != i || entry.green != i || entry.blue != i) return false;
    }
    return true;
}

/// Colours of 24 and 32 bits: the palette in the byte order of the output, then one look-up for each pixel.
void ConvertToColors(const Conversion& conversion)
{
    uint8_t table[256][4] = {};
    for (uint32_t i = 0; i < conversion.in.colors; ++i) {
        const PaletteEntry& entry = conversion.in.palette[i];
        const bool bgr = conversion.out.order == kOrderBgr;
        table[i][0] = bgr ? entry.blue : entry.red;
        table[i][1] = entry.green;
        table[i][2] = bgr ? entry.red : entry.blue;
        table[i][3] = static_cast<uint8_t>(conversion.fourth);
    }
    const RowKernels& kernels = BestRowKernels();
    const auto lookUp = conversion.out.bits == 24 ? kernels.lookUp24 : kernels.lookUp32;
    ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
        uint8_t values[kChunkPixels];
        const uint8_t* indices = source;
        if (conversion.in.bits < 8) {
            UnpackBitFields(source, conversion.in.bits, pixels, values);
            indices = values;
        }
        lookUp(indices, table, target, pixels);
    });
}
}  // namespace

void ConvertFromIndices(const Conversion& conversion)
{
    PixelWriter writer(conversion);
    if (conversion.out.kind == PixelKind::index) return ConvertToIndices(conversion, &writer);
    if (conversion.out.kind == PixelKind::color8) {
        if (!IsGreyRamp(conversion.in)) return ConvertToColors(conversion);
        Conversion grey = conversion;
        grey.in.kind = PixelKind::level;
        return ConvertFromLevels(grey);
    }
    ForEachChunk(conversion, [&](const uint8_t* source, uint8_t* target, size_t pixels) {
        uint8_t values[kChunkPixels];
        PaletteEntry colors[kChunkPixels];
        UnpackBitFields(source, conversion.in.bits, pixels, values);
        for (size_t i = 0; i < pixels; ++i) colors[i] = conversion.in.palette[values[i]];
        writer.WriteColors(colors, pixels, target);
    });
}
}  // namespace talv
