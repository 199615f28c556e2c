#include "raster/palette.h"
#include "raster/pixel_converter.h"

namespace talv {
namespace {
/// Byte or word positions of red, green and blue. All orders but blue-green-red begin with red.
struct ChannelOrder
{
    int32_t red, green, blue;
};

ChannelOrder ChannelsOf(const PixelFormat& format)
{
    return format.order == kOrderBgr ? ChannelOrder{2, 1, 0} : ChannelOrder{0, 1, 2};
}

void Store555(const PaletteEntry* colors, size_t pixels, uint32_t order, uint8_t* target)
{
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t red = colors[i].red >> 3u, green = colors[i].green >> 3u, blue = colors[i].blue >> 3u;
        const uint32_t high = order == kOrderBgr ? red : blue, low = order == kOrderBgr ? blue : red;
        StoreWord(target + 2 * i, high << 10 | green << 5 | low);
    }
}

void StoreColors(const PaletteEntry* colors, size_t pixels, const Conversion& conversion, uint8_t* target)
{
    const ChannelOrder channel = ChannelsOf(conversion.out);
    const size_t step = static_cast<size_t>(conversion.out.bits) / 8;
    for (size_t i = 0; i < pixels; ++i, target += step) {
        target[channel.red] = colors[i].red;
        target[channel.green] = colors[i].green;
        target[channel.blue] = colors[i].blue;
        if (step == 4) target[3] = static_cast<uint8_t>(conversion.fourth);
    }
}

void StoreDeepColors(const DeepColor* colors, size_t pixels, const Conversion& conversion, uint8_t* target)
{
    const ChannelOrder channel = ChannelsOf(conversion.out);
    const size_t step = static_cast<size_t>(conversion.out.bits) / 8;
    for (size_t i = 0; i < pixels; ++i, target += step) {
        StoreWord(target + 2 * channel.red, colors[i].red);
        StoreWord(target + 2 * channel.green, colors[i].green);
        StoreWord(target + 2 * channel.blue, colors[i].blue);
        if (step == 8) StoreWord(target + 6, conversion.fourth);
    }
}

void StoreLevels(const uint16_t* levels, size_t pixels, int32_t bits, uint8_t* target)
{
    if (bits == 16) {
        std::memcpy(target, levels, 2 * pixels);
        return;
    }
    if (bits == 12) {
        size_t i = 0;
        for (; i + 2 <= pixels; i += 2, target += 3) {
            target[0] = static_cast<uint8_t>(levels[i]);
            target[1] = static_cast<uint8_t>(levels[i] >> 8 | levels[i + 1] << 4);
            target[2] = static_cast<uint8_t>(levels[i + 1] >> 4);
        }
        if (i < pixels) StoreWord(target, levels[i]);
        return;
    }
    uint8_t values[kChunkPixels];
    for (size_t i = 0; i < pixels; ++i) values[i] = static_cast<uint8_t>(levels[i]);
    PackBitFields(values, bits, pixels, target);
}
}  // namespace

PixelWriter::PixelWriter(const Conversion& conversion) : conversion_(conversion) {}

uint8_t PixelWriter::NearestIndex(const PaletteEntry& color)
{
    const uint32_t key = 1u << 24 | uint32_t{color.red} << 16 | uint32_t{color.green} << 8 | color.blue;
    KnownColor& known = known_[(key * 2654435761u) >> 24];
    if (known.color != key) {
        const PixelFormat& out = conversion_.out;
        known.index = static_cast<uint8_t>(
            FindNearestColor(out.palette, out.colors, color.red, color.green, color.blue));
        known.color = key;
    }
    return known.index;
}

void PixelWriter::WriteColors(const PaletteEntry* colors, size_t pixels, uint8_t* target)
{
    switch (conversion_.out.kind) {
        case PixelKind::index: {
            uint8_t indices[kChunkPixels];
            for (size_t i = 0; i < pixels; ++i) indices[i] = NearestIndex(colors[i]);
            WriteIndices(indices, pixels, target);
            break;
        }
        case PixelKind::level: {
            uint16_t levels[kChunkPixels];
            for (size_t i = 0; i < pixels; ++i)
                levels[i] = static_cast<uint16_t>(Luma(colors[i].red, colors[i].green, colors[i].blue));
            WriteLevels(levels, 8, pixels, target);
            break;
        }
        case PixelKind::color555:
            Store555(colors, pixels, conversion_.out.order, target);
            break;
        case PixelKind::color8:
            StoreColors(colors, pixels, conversion_, target);
            break;
        case PixelKind::color16: {
            DeepColor deep[kChunkPixels];
            for (size_t i = 0; i < pixels; ++i)
                deep[i] = {uint16_t(colors[i].blue * 257), uint16_t(colors[i].green * 257),
                           uint16_t(colors[i].red * 257)};
            StoreDeepColors(deep, pixels, conversion_, target);
            break;
        }
    }
}

void PixelWriter::WriteDeepColors(const DeepColor* colors, size_t pixels, uint8_t* target)
{
    if (conversion_.out.kind == PixelKind::color16) {
        StoreDeepColors(colors, pixels, conversion_, target);
    } else if (conversion_.out.kind == PixelKind::level) {
        uint16_t levels[kChunkPixels];
        for (size_t i = 0; i < pixels; ++i)
            levels[i] = static_cast<uint16_t>(Luma(colors[i].red, colors[i].green, colors[i].blue));
        WriteLevels(levels, 16, pixels, target);
    } else {
        PaletteEntry narrow[kChunkPixels];
        for (size_t i = 0; i < pixels; ++i)
            narrow[i] = {uint8_t(colors[i].blue >> 8), uint8_t(colors[i].green >> 8),
                         uint8_t(colors[i].red >> 8), 0};
        WriteColors(narrow, pixels, target);
    }
}

void PixelWriter::WriteLevels(const uint16_t* levels, int32_t bits, size_t pixels, uint8_t* target)
{
    if (conversion_.out.kind == PixelKind::level) {
        const BitWindow& window = conversion_.out.window;
        const int32_t wanted = conversion_.keepsValues && bits < window.count ? bits : window.count;
        uint16_t scaled[kChunkPixels];
        for (size_t i = 0; i < pixels; ++i)
            scaled[i] = static_cast<uint16_t>(ScaleLevel(levels[i], bits, wanted) << window.shift);
        StoreLevels(scaled, pixels, conversion_.out.bits, target);
    } else if (conversion_.out.kind == PixelKind::color16) {
        DeepColor deep[kChunkPixels];
        for (size_t i = 0; i < pixels; ++i) {
            const auto level = static_cast<uint16_t>(ScaleLevel(levels[i], bits, 16));
            deep[i] = {level, level, level};
        }
        StoreDeepColors(deep, pixels, conversion_, target);
    } else {
        PaletteEntry colors[kChunkPixels];
        for (size_t i = 0; i < pixels; ++i) {
            const auto level = static_cast<uint8_t>(ScaleLevel(levels[i], bits, 8));
            colors[i] = {level, level, level, 0};
        }
        WriteColors(colors, pixels, target);
    }
}

void PixelWriter::WriteIndices(const uint8_t* indices, size_t pixels, uint8_t* target) const
{
    PackBitFields(indices, conversion_.out.bits, pixels, target);
}

void UnpackBitFields(const uint8_t* packed, int32_t bits, size_t count, uint8_t* values)
{
    if (bits == 8) {
        std::memcpy(values, packed, count);
        return;
    }
    const uint32_t mask = (1u << bits) - 1;
    uint32_t window = 0;
    int32_t held = 0;
    for (size_t i = 0; i < count; ++i) {
        if (held < bits) {
            window = window << 8 | *packed++;
            held += 8;
        }
        held -= bits;
        values[i] = static_cast<uint8_t>(window >> held & mask);
    }
}

void PackBitFields(const uint8_t* values, int32_t bits, size_t count, uint8_t* packed)
{
    if (bits == 8) {
        std::memcpy(packed, values, count);
        return;
    }
    const uint32_t mask = (1u << bits) - 1;
    uint32_t window = 0;
    int32_t held = 0;
    for (size_t i = 0; i < count; ++i) {
        window = window << bits | (values[i] & mask);
        held += bits;
        if (held < 8) continue;
        held -= 8;
        *packed++ = static_cast<uint8_t>(window >> held);
    }
    if (held > 0) *packed = static_cast<uint8_t>(window << (8 - held));
}
}  // namespace talv
