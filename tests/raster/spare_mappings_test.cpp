#include "raster/spare_mappings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "raster_fixture.h"

namespace talv {
namespace {
bool IsZero(const MappedMemory& mapping)
{
    return std::all_of(mapping.view, mapping.view + mapping.size, [](uint8_t byte) { return byte == 0; });
}

TEST(SpareMappings, ANewBitmapShowsNothingOfTheOneBefore)
{
    AttachRasterLibrary(nullptr);
    DetachRasterLibrary();
    ASSERT_EQ(SpareBytesKept(), 0u);
    const uint8_t* first = nullptr;
    for (int32_t round = 0; round < 3; ++round) {
        TestBitmap bitmap(61, 70, 8, 0);
        ASSERT_EQ(bitmap.status, kRasterOk);
        if (round == 0) first = bitmap->data;
        EXPECT_EQ(bitmap->data, first) << "the same pages again";
        EXPECT_EQ(reinterpret_cast<uintptr_t>(bitmap->data) % 32, 0u);
        EXPECT_TRUE(std::all_of(bitmap->data, bitmap->data + bitmap->dataSize,
                                [](uint8_t byte) { return byte == 0; }));
        std::fill_n(bitmap->data, bitmap->dataSize, uint8_t{0xEE});
        EXPECT_EQ(SpareBytesKept(), 0u) << "a mapping in use is no spare";
    }
    EXPECT_GT(SpareBytesKept(), 0u);
    DetachRasterLibrary();
    EXPECT_EQ(SpareBytesKept(), 0u);
}

TEST(SpareMappings, FourAndSixtyFourMegabytesAreTheMost)
{
    constexpr uint64_t kMegabyte = uint64_t{1} << 20;
    ReleaseSpareMappings();
    const auto keep = [](uint64_t size) {
        const MappedMemory mapping = CreateMappedMemory(size);
        ASSERT_NE(mapping.view, nullptr);
        KeepSpareMapping(mapping);
    };
    for (uint64_t megabytes = 1; megabytes <= 5; ++megabytes) keep(megabytes * kMegabyte);
    EXPECT_EQ(SpareBytesKept(), 14 * kMegabyte) << "the first one went";
    keep(kMaxSpareBytes + 1);
    EXPECT_EQ(SpareBytesKept(), 14 * kMegabyte);
    MappedMemory taken = TakeMapping(4 * kMegabyte);
    EXPECT_EQ(SpareBytesKept(), 10 * kMegabyte);
    ReleaseMappedMemory(&taken);
    keep(kMaxSpareBytes - 6 * kMegabyte);
    EXPECT_EQ(SpareBytesKept(), kMaxSpareBytes - 1 * kMegabyte) << "of 2, 3 and 5 only the last fits beside";
    keep(kMaxSpareBytes);
    EXPECT_EQ(SpareBytesKept(), kMaxSpareBytes);
    ReleaseSpareMappings();
    EXPECT_EQ(SpareBytesKept(), 0u);
}

TEST(SpareMappings, ThreadsNeverShareOne)
{
    std::vector<std::thread> threads;
    for (uint8_t mark = 1; mark <= 4; ++mark)
        threads.emplace_back([mark] {
            for (size_t round = 0; round < 500; ++round) {
                const size_t size = 4096 * (1 + round % 3);
                const MappedMemory mapping = TakeMapping(size);
                ASSERT_TRUE(mapping.view != nullptr && IsZero(mapping));
                std::memset(mapping.view, mark, size);
                std::this_thread::yield();
                ASSERT_TRUE(std::all_of(mapping.view, mapping.view + size,
                                        [mark](uint8_t byte) { return byte == mark; }));
                KeepSpareMapping(mapping);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_LE(SpareBytesKept(), 4u * 3 * 4096);
    ReleaseSpareMappings();
}
}  // namespace
}  // namespace talv
