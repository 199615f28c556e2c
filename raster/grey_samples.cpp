#include "raster/grey_samples.h"

#include "raster/row_kernels.h"

namespace talv {
int32_t CheckGreyBitmap(const ImageBitmap* bitmap)
{
    if (bitmap == nullptr) return kRasterNullBitmap;
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapAllocated) == 0) return kRasterNotAllocated;
    if (bitmap->colorOrder != kOrderGrey) return kRasterInvalid;
    return bitmap->bitsPerPixel == 12 || bitmap->bitsPerPixel == 16 ? kRasterOk : kRasterInvalid;
}

BitWindow SignificantBits(const ImageBitmap& bitmap)
{
    const int32_t bits = bitmap.bitsPerPixel;
    return GetBitWindow(bits, bits, bitmap.lowBit, bitmap.highBit < bits ? bitmap.highBit : bits - 1);
}

int32_t ZeroOfSigned(const ImageBitmap& bitmap, const BitWindow& window)
{
    return (bitmap.flags & kBitmapSigned) != 0 ? static_cast<int32_t>((window.mask + 1) / 2) : 0;
}

size_t GreyWordBytes(const ImageBitmap& bitmap)
{
    return 2 * static_cast<size_t>(bitmap.width);
}

const uint8_t* WordsOfGreyRow(const ImageBitmap& bitmap, const uint8_t* row, uint8_t* words)
{
    if (bitmap.bitsPerPixel == 16) return row;
    const auto width = static_cast<size_t>(bitmap.width);
    BestRowKernels().widen12(row, words, width / 2);
    if (width % 2 != 0) {
        words[2 * width - 2] = row[width / 2 * 3];
        words[2 * width - 1] = row[width / 2 * 3 + 1] & 15;
    }
    return words;
}
}  // namespace talv
