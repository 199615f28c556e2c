#include "raster/statistics.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "raster/convert.h"

namespace talv {
namespace {
/// Smallest and largest windowed sample seen so far.
struct SampleRange
{
    uint32_t smallest = UINT32_MAX;
    uint32_t largest = 0;

    void Add(uint32_t value)
    {
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
    }
};

uint32_t SampleAt(const uint8_t* row, int32_t pixel, int32_t bitsPerPixel)
{
    if (bitsPerPixel == 16) return row[2 * size_t(pixel)] | row[2 * size_t(pixel) + 1] << 8;
    const uint8_t* pair = row + size_t(pixel) / 2 * 3;
    return (pixel & 1) == 0 ? pair[0] | (pair[1] & 15) << 8 : pair[1] >> 4 | pair[2] << 4;
}

int32_t ScanRows(ImageBitmap* bitmap, const BitWindow& window, SampleRange* range)
{
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    for (int32_t y = 0; y < bitmap->height; ++y) {
        if (int32_t got = GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine); got < 0) return got;
        for (int32_t x = 0; x < bitmap->width; ++x)
            range->Add(SampleAt(row.data(), x, bitmap->bitsPerPixel) >> window.shift & window.mask);
    }
    return kRasterOk;
}
}  // namespace

int32_t GetBitmapStatistics(ImageBitmap* bitmap, int32_t* minValue, int32_t* maxValue)
{
    if (bitmap == nullptr) return kRasterNullBitmap;
    if (int32_t status = CheckDescriptor(bitmap); status < 0) return status;
    if ((bitmap->flags & kBitmapAllocated) == 0) return kRasterNotAllocated;
    const int32_t bits = bitmap->bitsPerPixel;
    if (bitmap->colorOrder != kOrderGrey || (bits != 12 && bits != 16)) return kRasterInvalid;
    if (minValue == nullptr || maxValue == nullptr) return kRasterInvalid;

    const BitWindow window = GetBitWindow(bits, bits, bitmap->lowBit, bitmap->highBit);
    SampleRange range;
    int32_t status = kRasterNoMemory;
    try {
        status = ScanRows(bitmap, window, &range);
    } catch (const std::bad_alloc&) {
    }
    if (status < 0) return status;

    // Signed data are kept with the sign bit flipped: the stored value less half the range is the true one.
    const int32_t zero = (bitmap->flags & kBitmapSigned) != 0 ? int32_t((window.mask + 1) / 2) : 0;
    *minValue = static_cast<int32_t>(range.smallest) - zero;
    *maxValue = static_cast<int32_t>(range.largest) - zero;
    return kRasterOk;
}
}  // namespace talv
