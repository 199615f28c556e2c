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
