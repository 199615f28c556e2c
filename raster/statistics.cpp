#include "raster/statistics.h"

#include <new>
#include <vector>

#include "raster/grey_samples.h"
#include "raster/row_kernels.h"

namespace talv {
namespace {
int32_t ScanRows(ImageBitmap* bitmap, const BitWindow& window, uint16_t* smallest, uint16_t* largest)
{
    const auto width = static_cast<size_t>(bitmap->width);
    std::vector<uint8_t> row(bitmap->bytesPerLine), words(GreyWordBytes(*bitmap));
    for (int32_t y = 0; y < bitmap->height; ++y) {
        if (int32_t got = GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine); got < 0) return got;
        const uint8_t* samples = WordsOfGreyRow(*bitmap, row.data(), words.data());
        BestRowKernels().range16(samples, width, window.shift, static_cast<uint16_t>(window.mask), smallest,
                                 largest);
    }
    return kRasterOk;
}
}  // namespace

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

int32_t GetBitmapStatistics(ImageBitmap* bitmap, int32_t* minValue, int32_t* maxValue)
{
    if (int32_t status = CheckGreyBitmap(bitmap); status < 0) return status;
    if (minValue == nullptr || maxValue == nullptr) return kRasterInvalid;

    const BitWindow window = SignificantBits(*bitmap);
    uint16_t smallest = UINT16_MAX, largest = 0;
    try {
        if (int32_t status = ScanRows(bitmap, window, &smallest, &largest); status < 0) return status;
    } catch (const std::bad_alloc&) {
        return kRasterNoMemory;
    }
    const int32_t zero = ZeroOfSigned(*bitmap, window);
    *minValue = smallest - zero;
    *maxValue = largest - zero;
    return kRasterOk;
}
}  // namespace talv
