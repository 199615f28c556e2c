#include "filter/settings.h"

#include <gtest/gtest.h>

#include <cstring>

namespace talv {
namespace {
TEST(SettingsBlock, ThreeLittleEndianIntegersThereAndBack)
{
    uint8_t block[kSettingsBlockSize];
    SettingsToBlock({1000, 1, 0}, block);
    const uint8_t expected[kSettingsBlockSize] = {0xE8, 0x03, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(block, expected, sizeof block), 0);
    const ReaderSettings settings = SettingsFromBlock(block);
    EXPECT_EQ(settings.userFrameTime, 1000);
    EXPECT_EQ(settings.frameControl, 1);
    EXPECT_EQ(settings.frameDropping, 0);
}

TEST(SettingsBlock, ForeignNumbersAreClamped)
{
    uint8_t block[kSettingsBlockSize];
    std::memset(block, 0xFF, sizeof block);  // -1 everywhere
    const ReaderSettings settings = SettingsFromBlock(block);
    EXPECT_EQ(settings.userFrameTime, 20);
    EXPECT_EQ(settings.frameControl, 1);
    EXPECT_EQ(settings.frameDropping, 1);
}
}  // namespace
}  // namespace talv
