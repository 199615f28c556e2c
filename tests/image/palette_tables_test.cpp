#include "image/palette_tables.h"

#include <gtest/gtest.h>

#include "image/window_palette.h"

namespace talv {
using Words = std::vector<uint16_t>;

TEST(PaletteTables, SegmentsExpandAsTheirOpcodesSay)
{
    struct
    {
        const char* what;
        Words segments;
        Words table;  // its size is the room
        DicomStatus status;
    } const cases[] = {
        {"discrete and linear", {0, 2, 100, 200, 1, 4, 600}, {100, 200, 200, 300, 400, 500}, kDicomOk},
        {"falling ramp", {0, 1, 10, 1, 3, 1}, {10, 10, 7, 4}, kDicomOk},
        {"indirect", {0, 2, 1, 2, 2, 1, 0, 0}, {1, 2, 1, 2}, kDicomOk},
        {"indirect counts segments", {0, 1, 5, 1, 2, 9, 2, 2, 0, 0}, {5, 5, 7, 5, 5, 7}, kDicomOk},
        {"short of the table", {0, 1, 5}, {5, 0, 0}, kDicomOk},
        {"empty", {}, {0}, kDicomOk},
        {"unknown opcode", {3, 1, 1}, {0}, kDicomBadPaletteSegment},
        {"linear without a start", {1, 2, 9}, {0, 0}, kDicomBadPaletteSegment},
        {"linear of no steps", {0, 1, 5, 1, 0, 9}, {5}, kDicomBadPaletteSegment},
        {"more than the table", {0, 2, 1, 2}, {0}, kDicomBadPaletteSegment},
        {"cut segment", {0, 3, 1, 2}, {0, 0, 0}, kDicomBadPaletteSegment},
        {"cut opcode", {0}, {0}, kDicomBadPaletteSegment},
        {"indirect at itself", {0, 1, 7, 2, 1, 6, 0}, {7, 0}, kDicomBadPaletteSegment},
        {"indirect outside", {2, 1, 400, 0}, {0}, kDicomBadPaletteSegment},
    };
    for (const auto& one : cases) {
        Words table(one.table.size());
        EXPECT_EQ(ExpandSegmentedTable(one.segments, &table), one.status) << one.what;
        if (one.status == kDicomOk) {
            EXPECT_EQ(table, one.table) << one.what;
        }
    }
}

TEST(WindowPalette, RampsBetweenTheWindowsEnds)
{
    const auto levels = [](double center, double width, bool inverted) {
        std::vector<PaletteEntry> entries(256);
        EXPECT_EQ(MakeWindowPalette(center, width, inverted, entries.data(), 256), kDicomOk);
        std::vector<int> result;
        for (const PaletteEntry& entry : entries) {
            EXPECT_TRUE(entry.blue == entry.green && entry.green == entry.red && entry.reserved == 0);
            result.push_back(entry.blue);
        }
        return result;
    };
    for (double width : {255.0, 0.0, -5.0, 1e300})
        for (int i = 0; i < 256; ++i) {
            EXPECT_EQ(levels(kIdentityCenter, width, false)[static_cast<size_t>(i)], i);
            EXPECT_EQ(levels(kIdentityCenter, width, true)[static_cast<size_t>(i)], 255 - i);
        }
    const std::vector<int> narrow = levels(100, 10, false);
    EXPECT_EQ(std::vector<int>(narrow.begin() + 94, narrow.begin() + 107),
              std::vector<int>({0, 0, 25, 51, 76, 102, 127, 153, 178, 204, 229, 255, 255}));
    PaletteEntry entry;
    EXPECT_EQ(MakeWindowPalette(1, 1, false, &entry, 1), kDicomInvalidArgument);
}
}  // namespace talv
