#include <algorithm>

#include "raster/palette.h"
#include "raster/pixel_converter.h"

namespace talv {
namespace {
constexpr uint32_t kWholeRange = 65535;

/// Fills kind and palette; false for a depth or an order that no pixel has.
bool DescribePixels(int32_t bits, uint32_t order, const PaletteEntry* palette, PixelFormat* format)
{
    if (!IsBitmapDepth(bits)) return false;
    if (order > kOrderGrey && order != kOrderSecondSpace) return false;
    if (order == kOrderSecondSpace && bits != 24 && bits != 48) return false;
    if (order == kOrderGrey && bits > 16) return false;
    if (order != kOrderGrey && bits == 12) return false;

    format->bits = bits;
    format->order = order;
    format->palette = nullptr;
    format->colors = bits <= 8 ? 1u << bits : 0;
    format->window = GetBitWindow(bits, bits, -1, -1);
    if (order == kOrderGrey)
        format->kind = PixelKind::level;
    else if (bits <= 8)
        format->kind = PixelKind::index;
    else
        format->kind = bits == 16 ? PixelKind::color555 : bits <= 32 ? PixelKind::color8 : PixelKind::color16;
    if (format->kind == PixelKind::index)
        format->palette = palette != nullptr ? palette : DefaultPalette(format->colors);
    return true;
}

/// The second colour space is reached from colours and not left again.
bool ConvertsOrder(const Conversion& conversion)
{
    const PixelFormat& in = conversion.in;
    if (in.order == kOrderSecondSpace) return conversion.out.order == kOrderSecondSpace;
    if (conversion.out.order != kOrderSecondSpace) return true;
    return in.kind != PixelKind::index && in.kind != PixelKind::level;
}

/// Indices to narrower indices. Kept: without a palette these become black and white whatever the output
/// depth, where one would expect its own default palette. Pinned by
/// ConvertBuffer.NarrowerIndicesWithoutAPaletteAreBlackAndWhite.
bool FewerColors(const Conversion& conversion)
{
    return conversion.in.kind == PixelKind::index && conversion.out.kind == PixelKind::index &&
           conversion.out.bits < conversion.in.bits;
}

/// Narrows the significant bits of a level; false for bits that it does not have.
bool ApplyWindow(int32_t lowBit, int32_t highBit, PixelFormat* format)
{
    if (highBit >= format->bits) return false;
    format->window = GetBitWindow(format->bits, format->bits, lowBit, highBit);
    return format->window.count > 0;
}

bool CheckFlags(uint32_t flags, int32_t bitsIn, int32_t bitsOut)
{
    const bool windowIn = (flags & kConvertWindowIn) != 0, windowOut = (flags & kConvertWindowOut) != 0;
    const bool greyIn = (flags & kConvertGreyIn) != 0, greyOut = (flags & kConvertGreyOut) != 0;
    if (windowIn && windowOut) return false;
    if ((windowIn && !greyIn) || (windowOut && !greyOut)) return false;
    if ((bitsIn == 12 && !greyIn) || (bitsOut == 12 && !greyOut)) return false;
    return bitsIn >= 0 && bitsIn <= 64 && bitsOut >= 0 && bitsOut <= 64;
}

bool SpansAllBits(int32_t lowBit, int32_t highBit, int32_t bits)
{
    return lowBit < 1 && (highBit < 0 || highBit == bits - 1);
}

/// One channel of the second colour space; the first row of the matrix adds up to a little more than 1.
uint32_t MixChannels(const uint32_t c[3], uint32_t w0, uint32_t w1, uint32_t w2, uint32_t largest)
{
    const uint64_t sum = uint64_t{w0} * c[0] + uint64_t{w1} * c[1] + uint64_t{w2} * c[2];
    return static_cast<uint32_t>(std::min<uint64_t>((sum + 4095) >> 13, largest));
}

void EnterSecondSpace(uint8_t* buffer, size_t pixelCount, int32_t bits)
{
    const bool words = bits == 48;
    const size_t step = words ? 2 : 1;
    const uint32_t largest = words ? 65535 : 255;
    uint8_t* pixel = buffer;
    for (size_t i = 0; i < pixelCount; ++i, pixel += 3 * step) {
        uint32_t c[3], mixed[3];
        for (size_t k = 0; k < 3; ++k) c[k] = words ? LoadWord(pixel + 2 * k) : pixel[k];
        mixed[0] = MixChannels(c, 7151, 897, 145, largest);
        mixed[1] = MixChannels(c, 394, 7067, 731, largest);
        mixed[2] = MixChannels(c, 1067, 2841, 4284, largest);
        for (size_t k = 0; k < 3; ++k) {
            if (words)
                StoreWord(pixel + 2 * k, mixed[k]);
            else
                pixel[k] = static_cast<uint8_t>(mixed[k]);
        }
    }
}
}  // namespace

int32_t ConvertBuffer(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut, uint32_t orderIn,
                      uint32_t orderOut, const PaletteEntry* paletteIn, const PaletteEntry* paletteOut,
                      uint32_t convertFlags, int32_t lowBit, int32_t highBit, uint32_t maxValue)
{
    if (buffer == nullptr || pixelCount == 0) return kRasterInvalid;
    uint32_t flags = convertFlags & ~uint32_t{kConvertGreyIn | kConvertGreyOut};
    if (orderIn == kOrderGrey) flags |= kConvertGreyIn;
    if (orderOut == kOrderGrey) flags |= kConvertGreyOut;
    if (!CheckFlags(flags, bitsIn, bitsOut)) return kRasterInvalid;
    if (SpansAllBits(lowBit, highBit, bitsIn)) flags &= ~uint32_t{kConvertWindowIn};
    if (SpansAllBits(lowBit, highBit, bitsOut)) flags &= ~uint32_t{kConvertWindowOut};

    Conversion conversion;
    if (bitsIn != 0 && !DescribePixels(bitsIn, orderIn, paletteIn, &conversion.in)) return kRasterInvalid;
    if (bitsOut != 0 && !DescribePixels(bitsOut, orderOut, paletteOut, &conversion.out))
        return kRasterInvalid;
    if (bitsIn == 0 || bitsOut == 0) return kRasterOk;
    if (!ConvertsOrder(conversion)) return kRasterInvalid;
    if (paletteOut == nullptr && FewerColors(conversion)) {
        conversion.out.colors = 2;
        conversion.out.palette = DefaultPalette(2);
    }
    if ((flags & kConvertWindowIn) != 0 && !ApplyWindow(lowBit, highBit, &conversion.in))
        return kRasterInvalid;
    if ((flags & kConvertWindowOut) != 0 && !ApplyWindow(lowBit, highBit, &conversion.out))
        return kRasterInvalid;

    conversion.buffer = static_cast<uint8_t*>(buffer);
    conversion.pixelCount = pixelCount;
    conversion.keepsValues = conversion.in.kind == PixelKind::level && bitsIn > 8 && bitsOut > 8 &&
                             (flags & kConvertWindowOut) == 0;
    conversion.fourth = (flags & kConvertFourthByte) != 0 ? static_cast<uint16_t>(maxValue & kWholeRange) : 0;
    switch (conversion.in.kind) {
        case PixelKind::index:
            ConvertFromIndices(conversion);
            break;
        case PixelKind::level:
            ConvertFromLevels(conversion);
            break;
        default:
            ConvertFromColors(conversion);
            break;
    }
    if (orderOut == kOrderSecondSpace && orderIn != kOrderSecondSpace)
        EnterSecondSpace(conversion.buffer, pixelCount, bitsOut);
    return kRasterOk;
}

int32_t ConvertBufferSimple(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut,
                            uint32_t orderIn, uint32_t orderOut, const PaletteEntry* paletteIn,
                            const PaletteEntry* paletteOut)
{
    return ConvertBuffer(buffer, pixelCount, bitsIn, bitsOut, orderIn, orderOut, paletteIn, paletteOut, 0, -1,
                         -1, kWholeRange);
}

int32_t ConvertBufferExt(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut, uint32_t orderIn,
                         uint32_t orderOut, const PaletteEntry* paletteIn, const PaletteEntry* paletteOut,
                         uint32_t convertFlags, int32_t lowBit, int32_t highBit)
{
    return ConvertBuffer(buffer, pixelCount, bitsIn, bitsOut, orderIn, orderOut, paletteIn, paletteOut,
                         convertFlags, lowBit, highBit, kWholeRange);
}
}  // namespace talv
