#include "raster/bitmap.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "raster/palette.h"
#include "raster/raster_settings.h"

namespace talv {
namespace {
int32_t DefaultHighBit(int32_t bitsPerPixel)
{
    switch (bitsPerPixel) {
        case 16:
        case 48:
        case 64:
            return 15;
        case 24:
        case 32:
            return 7;
        default:
            return bitsPerPixel - 1;
    }
}

uint32_t DefaultColorOrder(int32_t bitsPerPixel)
{
    if (bitsPerPixel <= 8) return kOrderPaletteOrRgb;
    return bitsPerPixel == 12 ? kOrderGrey : kOrderBgr;
}

int32_t CheckColorOrder(uint32_t colorOrder, int32_t bitsPerPixel)
{
    if (colorOrder == kOrderSecondSpace)
        return bitsPerPixel == 24 || bitsPerPixel == 48 ? kRasterOk : kRasterBadDepth;
    if (bitsPerPixel <= 8) return kRasterOk;  // the order of palette images is fixed, whatever is asked for
    return colorOrder <= kOrderGrey ? kRasterOk : kRasterBadDepth;
}

int32_t InstallPalette(ImageBitmap* bitmap, bool grey, const PaletteEntry* palette)
{
    if (grey) return CreateGreyPalette(bitmap);
    return SetBitmapPalette(bitmap, palette != nullptr ? palette : DefaultPalette(bitmap->colorCount),
                            bitmap->colorCount);
}

/// The caller's buffer becomes the pixels of a bitmap that was allocated for it.
int32_t AttachCallerPixels(ImageBitmap* bitmap, void* userData, uint32_t userDataSize)
{
    constexpr uint32_t needed = kBitmapAllocated | kBitmapCallerOwned;
    if ((bitmap->flags & needed) != needed || (bitmap->flags & kBitmapMovable) != 0) return kRasterInvalid;
    if (userDataSize != bitmap->dataSize) return kRasterInvalid;
    bitmap->data = static_cast<uint8_t*>(userData);
    return kRasterOk;
}
}  // namespace

bool IsBitmapDepth(int32_t bitsPerPixel)
{
    switch (bitsPerPixel) {
        case 12:
        case 16:
        case 24:
        case 32:
        case 48:
        case 64:
            return true;
        default:
            return bitsPerPixel >= 1 && bitsPerPixel <= 8;
    }
}

int32_t CheckDescriptor(const ImageBitmap* bitmap)
{
    if (bitmap == nullptr) return kRasterInvalid;
    return bitmap->structSize == kBitmapStructSize ? kRasterOk : kRasterWrongStructSize;
}

int32_t InitBitmap(ImageBitmap* bitmap, uint32_t structSize, int32_t width, int32_t height,
                   int32_t bitsPerPixel)
{
    if (bitmap == nullptr) return kRasterInvalid;
    if (structSize != kBitmapStructSize) return kRasterWrongStructSize;
    std::memset(bitmap, 0, sizeof *bitmap);
    bitmap->structSize = kBitmapStructSize;
    if (width == 0 && height == 0 && bitsPerPixel == 0) return kRasterOk;

    if (!IsBitmapDepth(bitsPerPixel)) return kRasterBadDepth;
    if (width < 0 || height < 0) return kRasterInvalid;
    const uint64_t bytesPerLine =
        BytesPerLine(static_cast<uint64_t>(width), static_cast<uint64_t>(bitsPerPixel));
    const uint64_t dataSize = bytesPerLine * static_cast<uint64_t>(height);  // below 2^34 * 2^31
    const uint64_t largest = std::max(kMaxStoredBitmapBytes, MaxBitmapBytes());
    if (bytesPerLine > largest || dataSize > largest) return kRasterInvalid;

    bitmap->width = width;
    bitmap->height = height;
    bitmap->bitsPerPixel = bitsPerPixel;
    bitmap->bytesPerLine = static_cast<uint32_t>(bytesPerLine);
    bitmap->dataSize = static_cast<uint32_t>(dataSize);
    bitmap->rowOrder = rasterSettings.rowOrder;
    bitmap->xResolution = rasterSettings.xResolution > 0 ? rasterSettings.xResolution : 150;
    bitmap->yResolution = rasterSettings.yResolution > 0 ? rasterSettings.yResolution : 150;
    bitmap->layoutCode = 4;
    bitmap->colorOrder = DefaultColorOrder(bitsPerPixel);
    bitmap->colorCount = bitsPerPixel <= 8 ? 1u << bitsPerPixel : 0;
    bitmap->highBit = DefaultHighBit(bitsPerPixel);
    bitmap->displayHighBit = bitmap->highBit;
    bitmap->displayScale = 100;
    return kRasterOk;
}

int32_t CreateBitmap(ImageBitmap* bitmap, uint32_t structSize, uint32_t memoryKind, int32_t width,
                     int32_t height, int32_t bitsPerPixel, uint32_t colorOrder, const PaletteEntry* palette,
                     uint32_t layoutCode, void* userData, uint32_t userDataSize)
{
    const bool greyPalette = bitsPerPixel == 0;
    const int32_t depth = greyPalette ? 8 : bitsPerPixel;
    if (int32_t status = InitBitmap(bitmap, structSize, width, height, depth); status < 0) return status;
    if (int32_t status = CheckColorOrder(colorOrder, depth); status < 0) return status;
    if (layoutCode > 8) return kRasterInvalid;
    bitmap->layoutCode = layoutCode == 0 ? 1 : layoutCode;

    if (int32_t status = AllocateBitmap(bitmap, memoryKind); status < 0) return status;
    int32_t status = kRasterOk;
    if (depth > 8)
        bitmap->colorOrder = colorOrder;
    else
        status = InstallPalette(bitmap, greyPalette, palette);
    const bool callerOwned = (memoryKind & ~uint32_t{kMemoryAnyContent}) == kMemoryCaller;
    if (status > 0 && callerOwned && userData != nullptr)
        status = AttachCallerPixels(bitmap, userData, userDataSize);
    if (status < 0) {
        FreeBitmap(bitmap);
        InitBitmap(bitmap, structSize, width, height, depth);
    }
    return status;
}
}  // namespace talv
