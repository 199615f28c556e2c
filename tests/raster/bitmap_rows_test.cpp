#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "platform/memory.h"
#include "raster/pack_bits.h"
#include "raster/run_length_row.h"
#include "raster/temporary_store.h"
#include "raster_fixture.h"

namespace talv {
namespace {
constexpr uint32_t kMovableKind = 1u << 31;  // of these tests only

struct StorageCase
{
    const char* name;
    uint32_t kind;
    int32_t residentTiles;  ///< with a small block limit unless 100
    uint32_t flags;         ///< expected storage flags
    std::vector<int32_t> depths;
};

std::vector<StorageCase> StorageCases()
{
    const std::vector<int32_t> all = {1, 3, 8, 12, 16, 24, 64};
    return {
        {"mapped", kMemory, 100, 0x0003, all},
        {"no tiles", kMemoryNoTiles9, 100, 0x0003, all},
        {"small disk request", kMemoryDisk, 100, 0x0003, all},
        {"movable", kMovableKind, 100, 0x1003, all},
        {"caller", kMemoryCaller, 100, 0x0403, all},
        {"tiles, one resident", kMemory, 0, 0x4003, all},
        {"tiles, half resident", kMemoryDisk, -50, 0x4003, all},
        {"tiles, all resident", kMemory, -100, 0x4003, all},
        {"disk", kMemoryNoTiles128, 100, 0x0005, all},
        {"disk for want of memory", kMemoryNoTiles, 0, 0x0005, all},
        {"compressed rows", kMemoryCompressedRows, 100, 0x0103, {1}},
        {"compressed rows, 1 bit", kMemoryCompressedRows1Bit, 100, 0x0103, {1}},
        {"no compressed rows above 1 bit", kMemoryCompressedRows1Bit, 100, 0x0003, {2, 8, 24}},
        {"compressed blocks", kMemoryCompressedBlocks, 100, 0x8003, {1, 8, 24}},
        {"compressed blocks, 1025", kMemoryCompressedBlocks1, 100, 0x8003, {1, 8, 24}},
        {"no compressed blocks at other depths", kMemoryCompressedBlocks, 100, 0x0003, {4, 16, 48}},
    };
}

void Allocate(const StorageCase& storage, int32_t width, int32_t height, int32_t bits,
              std::vector<uint8_t>* callerPixels, ImageBitmap* bitmap)
{
    ASSERT_EQ(InitBitmap(bitmap, 164, width, height, bits), kRasterOk);
    if (storage.residentTiles != 100) {
        rasterSettings.maxMemoryBlock = bitmap->bytesPerLine * 9;
        rasterSettings.maxResidentTiles = storage.residentTiles;
        rasterSettings.maxInMemory = bitmap->dataSize - 1;
    }
    callerPixels->assign(bitmap->dataSize, 0);
    if (storage.kind == kMovableKind) {
        ASSERT_EQ(AdoptMovableBlock(bitmap, AllocateMovable(bitmap->dataSize + 8), 8), kRasterOk);
    } else if (storage.kind == kMemoryCaller) {
        ASSERT_EQ(CreateBitmap(bitmap, 164, kMemoryCaller, width, height, bits, bits == 12 ? 2 : 1, nullptr,
                               0, callerPixels->data(), bitmap->dataSize),
                  kRasterOk);
    } else {
        ASSERT_EQ(AllocateBitmap(bitmap, storage.kind), kRasterOk);
    }
}

/// A row with flat stretches and noise; bits beyond the width are 0, as some storages do not keep them.
std::vector<uint8_t> TestRow(const ImageBitmap& bitmap, uint32_t seed)
{
    std::vector<uint8_t> row = RandomBytes(bitmap.bytesPerLine, seed);
    if (seed % 3 != 0) std::fill(row.begin() + row.size() / 4, row.end(), seed % 3 == 1 ? 0xFF : 0x00);
    const size_t bits = size_t(bitmap.width) * size_t(bitmap.bitsPerPixel);
    for (size_t bit = bits; bit < row.size() * 8; ++bit) row[bit / 8] &= ~uint8_t(0x80 >> bit % 8);
    return row;
}

TEST(BitmapRows, EveryStorageGivesBackWhatWasPut)
{
    constexpr int32_t kHeight = 37;
    const uint64_t filesBefore = TemporaryStore::BytesInUse();
    for (const StorageCase& storage : StorageCases())
        for (int32_t bits : storage.depths)
            // Compressed blocks of more than one band at the largest width.
            for (int32_t width : {1, 61, (storage.flags & kBitmapCompressedBlocks) != 0 ? 3000 : 700}) {
                SCOPED_TRACE(testing::Message() << storage.name << ", bits " << bits << ", width " << width);
                const SettingsScope scope;
                std::vector<uint8_t> callerPixels;
                TestBitmap bitmap;
                Allocate(storage, width, kHeight, bits, &callerPixels, bitmap);
                if (HasFatalFailure()) return;
                ASSERT_EQ(bitmap->flags, storage.flags);
                const uint32_t count = bitmap->bytesPerLine;

                std::vector<uint8_t> got(count, 0xCD);
                ASSERT_EQ(GetBitmapRow(bitmap, got.data(), kHeight - 1, count), int32_t(count));
                ASSERT_EQ(got, std::vector<uint8_t>(count)) << "rows never written are zero";

                // Twice, so that rows are overwritten by longer and by shorter ones.
                std::vector<int32_t> order(kHeight);
                std::iota(order.begin(), order.end(), 0);
                std::mt19937 random(7);
                std::vector<std::vector<uint8_t>> rows(kHeight);
                for (uint32_t pass = 0; pass < 2; ++pass) {
                    std::shuffle(order.begin(), order.end(), random);
                    for (int32_t row : order) {
                        rows[row] = TestRow(*bitmap, uint32_t(row) + 1 + pass);
                        ASSERT_EQ(PutBitmapRow(bitmap, rows[row].data(), row, count), int32_t(count));
                    }
                }
                std::shuffle(order.begin(), order.end(), random);
                for (int32_t row : order) {
                    ASSERT_EQ(GetBitmapRow(bitmap, got.data(), row, count), int32_t(count));
                    ASSERT_EQ(got, rows[row]) << row;
                }

                // A part of a row leaves its rest alone.
                std::vector<uint8_t> part = TestRow(*bitmap, 100);
                ASSERT_EQ(PutBitmapRow(bitmap, part.data(), 20, count / 2), int32_t(count / 2));
                std::copy(part.begin(), part.begin() + count / 2, rows[20].begin());
                ASSERT_EQ(GetBitmapRow(bitmap, got.data(), 20, count), int32_t(count));
                EXPECT_EQ(got, rows[20]);

                uint8_t untouched = 0xCD;
                for (int32_t row : {-1, kHeight, INT32_MAX, INT32_MIN})
                    EXPECT_EQ(GetBitmapRow(bitmap, &untouched, row, 1), kRasterInvalid);
                EXPECT_EQ(GetBitmapRow(bitmap, &untouched, 0, count + 1), kRasterInvalid);
                EXPECT_EQ(PutBitmapRow(bitmap, nullptr, 0, count), kRasterInvalid);
                EXPECT_EQ(untouched, 0xCD);
            }
    EXPECT_EQ(TemporaryStore::BytesInUse(), filesBefore);
}

TEST(BitmapRows, CursorMovesByOneRow)
{
    TestBitmap bitmap(10, 20, 8);
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    for (int32_t wanted : {5, 6, 5, 9, 0, 19, 18}) {
        // A shifted cursor shows whether the offset came from it or from a multiplication.
        bitmap->cachedRowOffset = bitmap->cachedRow * bitmap->bytesPerLine + 1;
        const bool near = std::abs(wanted - int32_t(bitmap->cachedRow)) <= 1;
        ASSERT_GT(GetBitmapRow(bitmap, row.data(), wanted, 4), 0);
        EXPECT_EQ(bitmap->cachedRow, uint32_t(wanted));
        EXPECT_EQ(bitmap->cachedRowOffset, uint32_t(wanted) * bitmap->bytesPerLine + (near ? 1 : 0))
            << wanted;
    }
}

TEST(BitmapRows, CallerOwnedPixelsNeedABuffer)
{
    TestBitmap bitmap(4, 4, 8, 0, kMemoryCaller);
    ASSERT_EQ(bitmap.status, kRasterOk);
    uint8_t row[4];
    EXPECT_EQ(GetBitmapRow(bitmap, row, 0, 4), kRasterNotAllocated);
}

TEST(BitmapRows, WideOneBitRowsAreSplitIntoRuns)
{
    for (int32_t width : {65535, 65536, 131070, 200000}) {
        TestBitmap bitmap(width, 3, 1, 0, kMemoryCompressedRows);
        ASSERT_EQ(bitmap.status, kRasterOk);
        std::vector<uint8_t> ones(bitmap->bytesPerLine), got(bitmap->bytesPerLine);
        for (int32_t bit = 0; bit < width; ++bit) ones[size_t(bit) / 8] |= uint8_t(0x80 >> bit % 8);
        ASSERT_GT(PutBitmapRow(bitmap, ones.data(), 1, bitmap->bytesPerLine), 0);
        for (int32_t row : {0, 1, 2}) {
            ASSERT_GT(GetBitmapRow(bitmap, got.data(), row, bitmap->bytesPerLine), 0);
            EXPECT_EQ(got, row == 1 ? ones : std::vector<uint8_t>(ones.size())) << width << " row " << row;
        }
    }
}

TEST(BitmapRows, NineHundredMegabytesFitIntoALittleMemory)
{
    const SettingsScope scope;
    rasterSettings.maxInMemory = int64_t{256} << 20;
    TestBitmap bitmap(30000, 30000, 8, 0, kMemory);
    ASSERT_EQ(bitmap.status, kRasterOk);
    EXPECT_NE(bitmap->flags & (kBitmapTiled | kBitmapOnDisk), 0u);
    EXPECT_GE(TemporaryStore::BytesInUse(), (uint64_t{900} << 20) - (uint64_t{300} << 20));
    std::vector<uint8_t> got(bitmap->bytesPerLine);
    for (int32_t row = 0; row < 30000; row += 1499) {
        const std::vector<uint8_t> put = RandomBytes(bitmap->bytesPerLine, uint32_t(row));
        ASSERT_EQ(PutBitmapRow(bitmap, put.data(), row, bitmap->bytesPerLine), 30000);
        ASSERT_EQ(GetBitmapRow(bitmap, got.data(), row, bitmap->bytesPerLine), 30000);
        ASSERT_EQ(got, put) << row;
    }
}

TEST(PackBits, UnpacksToWhatWasPackedAndRefusesDamage)
{
    std::mt19937 random(3);
    for (size_t count : {0, 1, 2, 3, 127, 128, 129, 130, 1000, 5000})
        for (uint32_t values : {1u, 2u, 256u}) {
            std::vector<uint8_t> bytes(count), packed(MaxPackedSize(count)), got(count);
            for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() % values);
            const size_t size = PackBits(bytes.data(), count, packed.data());
            ASSERT_LE(size, packed.size());
            ASSERT_TRUE(UnpackBits(packed.data(), size, got.data(), count));
            EXPECT_EQ(got, bytes);
            if (size == 0) continue;
            EXPECT_FALSE(UnpackBits(packed.data(), size - 1, got.data(), count));
            EXPECT_FALSE(UnpackBits(packed.data(), size, got.data(), count - 1));
        }
}
}  // namespace
}  // namespace talv
