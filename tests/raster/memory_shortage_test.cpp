#include <gtest/gtest.h>

#include "raster/palette.h"
#include "raster/remap.h"
#include "raster/statistics.h"
#include "raster/temporary_store.h"
#include "raster_fixture.h"
#include "tests/support/failing_memory.h"

namespace talv {
namespace {
template <class Work>
int32_t FailEveryAllocation(Work work)
{
    return FailEveryAllocation(kRasterNoMemory, work);
}

TEST(MemoryShortage, StoragesReportItAndLeakNothing)
{
    const uint64_t filesBefore = TemporaryStore::BytesInUse();
    const SettingsScope scope;
    for (uint32_t kind :
         {kMemory, kMemoryDisk, kMemoryNoTiles128, kMemoryCompressedRows, kMemoryCompressedBlocks}) {
        rasterSettings.maxMemoryBlock = kind == kMemoryDisk ? 4096 : 0;
        rasterSettings.maxInMemory = kind == kMemoryDisk ? 1 : INT64_MAX;
        std::vector<uint8_t> noise = RandomBytes(4096, 1), got(4096);
        const int32_t failures = FailEveryAllocation([&] {
            ImageBitmap bitmap;
            int32_t status = CreateBitmap(&bitmap, 164, kind, 8000, 40, 1, 0, nullptr, 1, nullptr, 0);
            for (int32_t row = 0; row < 40 && status > 0; row += 13)
                status = PutBitmapRow(&bitmap, noise.data(), row, bitmap.bytesPerLine);
            for (int32_t row = 0; row < 40 && status > 0; row += 13) {
                status = GetBitmapRow(&bitmap, got.data(), row, bitmap.bytesPerLine);
                if (status > 0) {
                    EXPECT_TRUE(std::equal(noise.begin(), noise.begin() + status, got.begin()));
                }
            }
            FreeBitmap(&bitmap);
            return status;
        });
        if (kind != kMemory) {
            EXPECT_GT(failures, 0) << kind;
        }
        EXPECT_EQ(TemporaryStore::BytesInUse(), filesBefore);
    }
}

TEST(MemoryShortage, StatisticsAndRemapsChangeNothing)
{
    TestBitmap bitmap(100, 10, 12);
    const std::vector<uint8_t> noise = RandomBytes(bitmap->bytesPerLine, 1);
    for (int32_t row = 0; row < 10; ++row) PutBitmapRow(bitmap, noise.data(), row, bitmap->bytesPerLine);
    int32_t low = 0, high = 0;
    EXPECT_GT(FailEveryAllocation([&] { return GetBitmapStatistics(bitmap, &low, &high); }), 0);
    EXPECT_GT(FailEveryAllocation([&] { return RemapLinear(bitmap, 2, -5, kRemapLut); }), 0);
    EXPECT_GT(FailEveryAllocation([&] { return RemapWindow(bitmap, 20, 100, false, kRemapLut); }), 0);
    EXPECT_GT(FailEveryAllocation([&] { return RemapLinear(bitmap, 0.5, 0, kRemapPixels); }), 0);
    EXPECT_EQ(bitmap->lut, nullptr);
}
}  // namespace
}  // namespace talv
