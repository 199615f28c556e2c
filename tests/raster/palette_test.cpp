#include "raster/palette.h"

#include <gtest/gtest.h>

#include "raster_fixture.h"

namespace talv {
namespace {
int32_t Distance(const PaletteEntry& e, int32_t r, int32_t g, int32_t b)
{
    return (e.red - r) * (e.red - r) + (e.green - g) * (e.green - g) + (e.blue - b) * (e.blue - b);
}

TEST(DefaultPalette, TablesHaveTheirColours)
{
    const auto color = [](uint32_t count, uint32_t index) {
        const PaletteEntry& e = DefaultPalette(count)[index];
        EXPECT_EQ(e.reserved, 0);
        return uint32_t{e.red} << 16 | uint32_t{e.green} << 8 | e.blue;
    };
    EXPECT_EQ(DefaultPalette(2), DefaultPalette(4));
    const uint32_t four[] = {0x000000, 0xFFFFFF, 0x000000, 0x555555};
    const uint32_t eight[] = {0x000000, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(color(4, i), four[i]);
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(color(8, i), eight[i]);
        EXPECT_EQ(color(16, i == 7 ? 7 : i), i == 0 ? 0 : eight[i] & 0x808080);
        EXPECT_EQ(color(16, 8 + i), i == 0 ? 0xC0C0C0 : eight[i]);
        EXPECT_EQ(color(32, i), (i % 2 * 0xFF0000) | (i / 2 * 85) << 8);
        EXPECT_EQ(color(32, 8 * (i % 4)), i % 4 * 85);
    }
    for (uint32_t count : {32u, 64u, 128u, 256u}) {
        EXPECT_EQ(color(count, 0), 0u);
        EXPECT_EQ(color(count, count - 1), 0xFFFFFFu);
        for (uint32_t i = 1; i < count; ++i)
            for (uint32_t k = 0; k < i; ++k) ASSERT_NE(color(count, i), color(count, k)) << count;
    }
    for (uint32_t count : {0u, 1u, 3u, 255u, 512u}) EXPECT_EQ(DefaultPalette(count), nullptr);
}

TEST(Palettes, AreCopiedUpTo256EntriesAndGreyForEveryDepth)
{
    EXPECT_EQ(CopyPalette(DefaultPalette(256), 0), nullptr);
    EXPECT_EQ(CopyPalette(DefaultPalette(256), 257), nullptr);
    EXPECT_EQ(CopyPalette(nullptr, 2), nullptr);
    TestBitmap copy(4, 4, 8, 0), deep(4, 4, 12);
    EXPECT_EQ(CreateGreyPalette(deep), kRasterBadDepth);
    for (int32_t bits = 1; bits <= 8; ++bits) {
        TestBitmap bitmap(4, 4, bits, 0);
        ASSERT_EQ(CreateGreyPalette(bitmap), kRasterOk);
        ASSERT_EQ(CopyBitmapPalette(copy, bitmap), kRasterOk);
        ASSERT_EQ(copy->colorCount, 1u << bits);
        for (uint32_t i = 0; i < copy->colorCount; ++i) {
            const PaletteEntry& e = copy->palette[i];
            const auto level = static_cast<uint8_t>(i * 255 / (copy->colorCount - 1));
            EXPECT_TRUE(e.blue == level && e.green == level && e.red == level && e.reserved == 0);
        }
    }
}

TEST(FindNearestColor, WhiteAndBlackPreferTheEnds)
{
    const PaletteEntry white{255, 255, 255, 0}, black{0, 0, 0, 0}, grey{9, 9, 9, 0};
    const PaletteEntry whites[] = {white, grey, white}, blacks[] = {black, grey, black};
    const PaletteEntry startsWhite[] = {white, white, grey}, endsBlack[] = {grey, black, black};
    EXPECT_EQ(FindNearestColor(whites, 3, 255, 255, 255), 2);
    EXPECT_EQ(FindNearestColor(startsWhite, 3, 255, 255, 255), 0);
    EXPECT_EQ(FindNearestColor(blacks, 3, 0, 0, 0), 0);
    EXPECT_EQ(FindNearestColor(endsBlack, 3, 0, 0, 0), 2);
    EXPECT_EQ(FindNearestColor(whites, 0, 1, 2, 3), -1);
    EXPECT_EQ(FindNearestColor(nullptr, 5, 1, 2, 3), -1);
}

TEST(FindNearestColor, LaterOfTwoEqualsWinsOnlyWithTheTargetsOrdering)
{
    // Target (100, 50, 40) and both entries have ordering code 0; each is 10 away.
    const PaletteEntry same{40, 50, 110, 0}, alsoSame{40, 50, 90, 0};
    const PaletteEntry twins[] = {same, alsoSame};
    EXPECT_EQ(FindNearestColor(twins, 2, 100, 50, 40), 1);

    // Target (60, 0, 50) has code 2, green lowest; all three are 10 away, and the last two share the code.
    const PaletteEntry three[] = {{50, 10, 60, 0}, {50, 0, 50, 0}, {60, 0, 60, 0}};
    EXPECT_EQ(FindNearestColor(three, 3, 60, 0, 50), 2);

    // Target (50, 50, 50) has code 0. All are 10 away, the later ones with codes 4, 1 and 2.
    const PaletteEntry wrong[] = {{50, 50, 60, 0}, {60, 50, 50, 0}, {50, 60, 50, 0}, {50, 40, 50, 0}};
    EXPECT_EQ(FindNearestColor(wrong, 4, 50, 50, 50), 0);
}

TEST(FindNearestColor, NothingIsNearerThanTheAnswer)
{
    std::mt19937 random(11);
    for (uint32_t count : {2u, 8u, 16u, 32u, 64u, 128u, 256u})
        for (int32_t i = 0; i < 500; ++i) {
            const PaletteEntry* palette = DefaultPalette(count);
            const auto r = int32_t(random() % 256), g = int32_t(random() % 256), b = int32_t(random() % 256);
            const int32_t found = FindNearestColor(palette, count, r, g, b);
            ASSERT_GE(found, 0);
            for (uint32_t k = 0; k < count; ++k)
                ASSERT_LE(Distance(palette[found], r, g, b), Distance(palette[k], r, g, b));
        }
}

TEST(MapPalette, IsTheIdentityForEqualBeginnings)
{
    uint8_t map[256];
    PaletteEntry doubled[4] = {{1, 1, 1, 0}, {1, 1, 1, 0}, {2, 2, 2, 0}, {3, 3, 3, 0}};
    EXPECT_EQ(MapPalette(doubled, 2, doubled, 4, map), 1);
    EXPECT_EQ(map[1], 1) << "not searched: the search would find entry 0";
    EXPECT_EQ(MapPalette(doubled, 4, doubled, 2, map), 0);
    EXPECT_EQ(MapPalette(DefaultPalette(8), 8, DefaultPalette(16), 16, map), 0);
    EXPECT_EQ(map[1], 9);
}
}  // namespace
}  // namespace talv
