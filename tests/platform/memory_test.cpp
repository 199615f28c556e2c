#include "platform/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace talv {
namespace {
bool AllBytesAre(const uint8_t* bytes, size_t count, uint8_t value)
{
    return std::all_of(bytes, bytes + count, [value](uint8_t byte) { return byte == value; });
}

TEST(GlobalMemory, ReallocationKeepsTheOldBytesAndClearsTheNewOnes)
{
    auto* block = static_cast<uint8_t*>(AllocateGlobal(25, 4));
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(AllBytesAre(block, 100, 0));
    // Shrinking and growing again must not bring old contents back.
    for (const size_t size : {64, 100000, 11, 333}) {
        std::memset(block, 0xA5, 10);
        block = static_cast<uint8_t*>(ReallocateGlobal(block, 10));
        ASSERT_NE(block, nullptr);
        block = static_cast<uint8_t*>(ReallocateGlobal(block, size));
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(AllBytesAre(block, 10, 0xA5)) << size;
        EXPECT_TRUE(AllBytesAre(block + 10, size - 10, 0)) << size;
        std::memset(block, 0xA5, size);
    }
    FreeGlobal(block);
}

TEST(GlobalMemory, ImpossibleSizesFailAndLeaveTheBlockAlone)
{
    constexpr size_t kMost = std::numeric_limits<size_t>::max();
    EXPECT_EQ(AllocateGlobal(kMost / 2, 4), nullptr) << "the product wraps";
    EXPECT_EQ(AllocateGlobal(1, kMost - 3), nullptr);
    auto* block = static_cast<uint8_t*>(AllocateGlobal(1, 8));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "unmoved", 8);
    EXPECT_EQ(ReallocateGlobal(block, kMost - 3), nullptr);
    EXPECT_STREQ(reinterpret_cast<char*>(block), "unmoved");
    FreeGlobal(block);
    FreeGlobal(nullptr);
    void* empty = AllocateGlobal(0, 8);
    EXPECT_NE(empty, nullptr);
    empty = ReallocateGlobal(empty, 0);
    EXPECT_NE(empty, nullptr);
    FreeGlobal(empty);
}

TEST(GlobalMemory, MovableBlockHoldsItsBytesFromLockToLock)
{
    void* handle = AllocateMovable(5000);
    ASSERT_NE(handle, nullptr);
    auto* bytes = static_cast<uint8_t*>(LockMovable(handle));
    ASSERT_NE(bytes, nullptr);
    EXPECT_TRUE(AllBytesAre(bytes, 5000, 0));
    std::memset(bytes, 7, 5000);
    EXPECT_EQ(LockMovable(handle), bytes) << "locks nest";
    UnlockMovable(handle);
    UnlockMovable(handle);
    bytes = static_cast<uint8_t*>(LockMovable(handle));
    EXPECT_TRUE(AllBytesAre(bytes, 5000, 7));
    UnlockMovable(handle);
    FreeMovable(handle);
    EXPECT_EQ(LockMovable(nullptr), nullptr);
}

TEST(MappedPages, AreZeroWritableAndReleasedOnce)
{
    MappedMemory mapping = CreateMappedMemory((1 << 20) + 31);
    ASSERT_NE(mapping.view, nullptr);
    EXPECT_EQ(mapping.size, (1u << 20) + 31);
    EXPECT_TRUE(AllBytesAre(mapping.view, mapping.size, 0));
    std::memset(mapping.view, 1, mapping.size);
    ReleaseMappedMemory(&mapping);
    EXPECT_EQ(mapping.view, nullptr);
    ReleaseMappedMemory(&mapping);
    EXPECT_EQ(CreateMappedMemory(0).view, nullptr);
    EXPECT_EQ(CreateMappedMemory(std::numeric_limits<uint64_t>::max()).view, nullptr);
}

TEST(MemoryFigures, AreOfARunningMachine)
{
    const MemoryStatus status = QueryMemoryStatus();
    EXPECT_GT(status.availablePhysical, uint64_t{16} << 20);
    EXPECT_LE(status.availablePhysical, status.totalPhysical);
    EXPECT_LE(status.availablePageFile, status.totalPageFile);
}
}  // namespace
}  // namespace talv
