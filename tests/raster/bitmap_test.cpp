#include "raster/bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/memory.h"
#include "raster/palette.h"
#include "raster/temporary_store.h"
#include "raster_fixture.h"

namespace talv {
namespace {
TEST(InitBitmap, GeometryFollowsFromTheDepth)
{
    struct Case
    {
        int32_t width, bits;
        uint32_t bytesPerLine, colorOrder, colorCount;
        int32_t highBit;
    };
    const Case cases[] = {
        {1, 1, 4, 0, 2, 0},    {33, 1, 8, 0, 2, 0},  {3, 24, 12, 1, 0, 7}, {5, 3, 4, 0, 8, 2},
        {7, 12, 12, 2, 0, 11}, {3, 16, 8, 1, 0, 15}, {2, 32, 8, 1, 0, 7},  {1, 48, 8, 1, 0, 15},
        {2, 64, 16, 1, 0, 15}, {4, 8, 4, 0, 256, 7},
    };
    for (const Case& c : cases) {
        ImageBitmap bitmap;
        std::memset(&bitmap, 0xCD, sizeof bitmap);
        ASSERT_EQ(InitBitmap(&bitmap, 164, c.width, 10, c.bits), kRasterOk);
        EXPECT_EQ(bitmap.bytesPerLine, c.bytesPerLine) << c.bits;
        EXPECT_EQ(bitmap.dataSize, c.bytesPerLine * 10);
        EXPECT_EQ(bitmap.colorOrder, c.colorOrder) << c.bits;
        EXPECT_EQ(bitmap.colorCount, c.colorCount) << c.bits;
        EXPECT_EQ(bitmap.highBit, c.highBit) << c.bits;
        EXPECT_EQ(bitmap.displayHighBit, c.highBit) << c.bits;
        EXPECT_EQ(bitmap.xResolution, 150);
        EXPECT_EQ(bitmap.displayScale, 100);
        EXPECT_EQ(bitmap.layoutCode, 4u);
        EXPECT_EQ(bitmap.flags, 0u);
        EXPECT_EQ(bitmap.data, nullptr);
    }
}

TEST(InitBitmap, RefusesWhatNoBitmapHas)
{
    ImageBitmap bitmap;
    for (int32_t bits = -1; bits <= 70; ++bits) {
        const bool known = (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 ||
                           bits == 48 || bits == 64;
        EXPECT_EQ(InitBitmap(&bitmap, 164, 1, 1, bits), known ? kRasterOk : kRasterBadDepth) << bits;
    }
    EXPECT_EQ(InitBitmap(nullptr, 164, 1, 1, 8), kRasterInvalid);
    EXPECT_EQ(InitBitmap(&bitmap, 164, -1, 1, 8), kRasterInvalid);
    EXPECT_EQ(InitBitmap(&bitmap, 164, 1, INT32_MIN, 8), kRasterInvalid);
    EXPECT_EQ(InitBitmap(&bitmap, 164, INT32_MAX, INT32_MAX, 64), kRasterInvalid);
    EXPECT_EQ(InitBitmap(&bitmap, 164, 65535, 65535, 24), kRasterInvalid);
    EXPECT_EQ(InitBitmap(&bitmap, 164, 1 << 15, 1 << 15, 8), kRasterOk);
    EXPECT_EQ(InitBitmap(&bitmap, 164, 1 << 15, (1 << 15) + 1, 8), kRasterInvalid);

    std::memset(&bitmap, 0xCD, sizeof bitmap);
    EXPECT_EQ(InitBitmap(&bitmap, 160, 1, 1, 8), kRasterWrongStructSize);
    EXPECT_EQ(bitmap.height, static_cast<int32_t>(0xCDCDCDCD));
}

TEST(InitBitmap, AllZeroIsAnEmptyDescriptor)
{
    ImageBitmap bitmap;
    std::memset(&bitmap, 0xCD, sizeof bitmap);
    EXPECT_EQ(InitBitmap(&bitmap, 164, 0, 0, 0), kRasterOk);
    EXPECT_EQ(bitmap.structSize, 164u);
    EXPECT_EQ(bitmap.xResolution, 0);
    EXPECT_EQ(AllocateBitmap(&bitmap, kMemory), kRasterEmpty);
    EXPECT_EQ(FreeBitmap(&bitmap), kRasterOk);
}

TEST(Bitmap, EveryOperationChecksTheRecordSize)
{
    ImageBitmap bitmap{};
    bitmap.structSize = 160;
    uint8_t row[4] = {};
    for (ImageBitmap* target : {&bitmap, static_cast<ImageBitmap*>(nullptr)}) {
        const int32_t expected = target == nullptr ? kRasterInvalid : kRasterWrongStructSize;
        EXPECT_EQ(AllocateBitmap(target, kMemory), expected);
        EXPECT_EQ(FreeBitmap(target), expected);
        EXPECT_EQ(LockBitmap(target), expected);
        EXPECT_EQ(UnlockBitmap(target), expected);
        EXPECT_EQ(IsLocked(target), expected);
        EXPECT_EQ(ReleaseLock(target, 0), expected);
        EXPECT_EQ(GetBitmapRow(target, row, 0, 4), expected);
        EXPECT_EQ(PutBitmapRow(target, row, 0, 4), expected);
        EXPECT_EQ(CreateGreyPalette(target), expected);
        EXPECT_EQ(CopyBitmapPalette(target, &bitmap), expected);
    }
}

TEST(CreateBitmap, ChecksOrderLayoutAndCallerBuffer)
{
    ImageBitmap bitmap;
    std::vector<uint8_t> pixels(4 * 4);
    const auto create = [&](uint32_t kind, int32_t bits, uint32_t order, uint32_t layout, uint32_t size) {
        const int32_t status =
            CreateBitmap(&bitmap, 164, kind, 4, 4, bits, order, nullptr, layout, pixels.data(), size);
        if (status < 0) {
            EXPECT_EQ(bitmap.flags & kBitmapAllocated, 0u);
            EXPECT_EQ(bitmap.remapTable, nullptr);
        }
        EXPECT_EQ(FreeBitmap(&bitmap), kRasterOk);
        EXPECT_EQ(FreeBitmap(&bitmap), kRasterOk);
        return status;
    };
    for (int32_t bits : {1, 8, 16, 32, 64})
        EXPECT_EQ(create(kMemory, bits, 5, 1, 0), kRasterBadDepth) << bits;
    for (int32_t bits : {24, 48}) EXPECT_EQ(create(kMemory, bits, 5, 1, 0), kRasterOk) << bits;
    EXPECT_EQ(create(kMemory, 24, 3, 1, 0), kRasterBadDepth);
    EXPECT_EQ(create(kMemory, 24, 1, 9, 0), kRasterInvalid);
    EXPECT_EQ(create(kMemoryCaller, 8, 0, 1, 16), kRasterOk);
    EXPECT_EQ(create(kMemoryCaller, 8, 0, 1, 15), kRasterInvalid);
    EXPECT_EQ(create(kMemoryCaller, 8, 0, 1, 17), kRasterInvalid);
    EXPECT_EQ(create(kMemoryCaller | kMemoryAnyContent, 8, 0, 1, 17), kRasterInvalid);
    for (uint32_t kind : {0u, 3u, 5u, 16u, 512u, 1026u, UINT32_MAX})
        EXPECT_EQ(create(kind, 8, 0, 1, 0), kRasterInvalid) << kind;
}

TEST(CreateBitmap, InstallsThePaletteAskedFor)
{
    ImageBitmap bitmap;
    ASSERT_EQ(CreateBitmap(&bitmap, 164, kMemory, 4, 4, 0, 0, nullptr, 0, nullptr, 0), kRasterOk);
    EXPECT_EQ(bitmap.bitsPerPixel, 8);
    EXPECT_EQ(bitmap.layoutCode, 1u);
    EXPECT_EQ(bitmap.palette[77].green, 77);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(bitmap.data) % 32, 0u);
    for (int32_t i = 0; i < 256; ++i) EXPECT_EQ(bitmap.remapTable[i], i);
    EXPECT_EQ(AllocateBitmap(&bitmap, kMemory), kRasterInvalid) << "already allocated";
    FreeBitmap(&bitmap);

    const PaletteEntry own[2] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    ASSERT_EQ(CreateBitmap(&bitmap, 164, kMemory, 4, 4, 1, 0, own, 0, nullptr, 0), kRasterOk);
    EXPECT_EQ(std::memcmp(bitmap.palette, own, sizeof own), 0);
    FreeBitmap(&bitmap);

    ASSERT_EQ(CreateBitmap(&bitmap, 164, kMemory, 4, 4, 4, 0, nullptr, 0, nullptr, 0), kRasterOk);
    EXPECT_EQ(std::memcmp(bitmap.palette, DefaultPalette(16), 16 * sizeof(PaletteEntry)), 0);
    FreeBitmap(&bitmap);
}

TEST(LockBitmap, MovableBlockHasAnAddressOnlyWhileLocked)
{
    TestBitmap bitmap;
    ASSERT_EQ(InitBitmap(bitmap, 164, 8, 4, 8), kRasterOk);
    ASSERT_EQ(AdoptMovableBlock(bitmap, AllocateMovable(16 + 32), 16), kRasterOk);
    EXPECT_EQ(bitmap->data, nullptr);
    EXPECT_EQ(IsLocked(bitmap), 0);
    ASSERT_NE(bitmap->data, nullptr);
    bitmap->data[8] = 77;
    EXPECT_EQ(IsLocked(bitmap), 1);
    EXPECT_EQ(ReleaseLock(bitmap, 1), kRasterOk);
    EXPECT_NE(bitmap->data, nullptr);
    EXPECT_EQ(ReleaseLock(bitmap, 0), kRasterOk);
    EXPECT_EQ(bitmap->data, nullptr);

    uint8_t row[8] = {};
    EXPECT_EQ(GetBitmapRow(bitmap, row, 1, 8), 8) << "locks for the time of the call";
    EXPECT_EQ(row[0], 77);
    EXPECT_EQ(bitmap->flags & kBitmapLocked, 0u);
    EXPECT_EQ(LockBitmap(bitmap), kRasterOk);  // freed while locked
}

TEST(AllocateBitmap, RefusalLeavesNothingBehind)
{
    const SettingsScope scope;
    const uint64_t before = TemporaryStore::BytesInUse();
    rasterSettings.maxTemporaryBytes = 4000;
    TestBitmap bitmap;
    ASSERT_EQ(InitBitmap(bitmap, 164, 64, 64, 8), kRasterOk);
    bitmap->flags |= kBitmapSigned | 0xD517;  // storage bits of nothing that was allocated
    EXPECT_EQ(AllocateBitmap(bitmap, kMemoryNoTiles128), kRasterWriteFailed);
    EXPECT_EQ(bitmap->flags, kBitmapSigned);
    EXPECT_EQ(bitmap->remapTable, nullptr);
    uint8_t row[64];
    EXPECT_EQ(GetBitmapRow(bitmap, row, 0, 64), kRasterNotAllocated);
    EXPECT_EQ(TemporaryStore::BytesInUse(), before);

    rasterSettings.maxTemporaryBytes = 5000;
    EXPECT_EQ(AllocateBitmap(bitmap, kMemoryNoTiles128), kRasterOk);
    EXPECT_EQ(bitmap->flags, kBitmapSigned | kBitmapAllocated | kBitmapOnDisk);
    EXPECT_EQ(TemporaryStore::BytesInUse(), before + 4096);
    FreeBitmap(bitmap);
    EXPECT_EQ(TemporaryStore::BytesInUse(), before);
}
}  // namespace
}  // namespace talv
