#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
constexpr uint32_t kDescriptor = 0x00281101, kTable = 0x00281201, kSegmentedTable = 0x00281221;

ImageAttributes Palette(uint16_t bits, uint16_t columns)
{
    ImageAttributes attributes = bits == 8 ? Grey8(1, columns) : Grey16(1, columns);
    attributes.photometric = "PALETTE COLOR";
    return attributes;
}

struct Colour
{
    uint32_t count, first, bits;
    std::vector<uint16_t> entries;
};

DicomBuilder WithPalette(const ImageAttributes& attributes, const std::vector<Colour>& colours,
                         uint32_t tableTag = kTable)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    builder.Image(attributes);
    for (uint32_t i = 0; i < 3; ++i)
        builder.Us(kDescriptor + i, {colours[i].count, colours[i].first, colours[i].bits});
    for (uint32_t i = 0; i < 3; ++i) builder.Ow(tableTag + i, colours[i].entries);
    return builder;
}

std::vector<int> Entry(const ImageBitmap& bitmap, int index)
{
    const PaletteEntry entry = bitmap.palette[index];
    return {entry.red, entry.green, entry.blue};
}
using Levels = std::vector<int>;
}  // namespace

TEST(PaletteFrame, SamplesBecomeIndices)
{
    const std::vector<Colour> colours = {{3, 10, 16, {0x1100, 0x2200, 0x33FF}},
                                         {3, 10, 16, {0x4400, 0x5500, 0x6600}},
                                         {3, 10, 8, {0x77, 0x88, 0x99}}};
    LoadedFile file(WithPalette(Palette(8, 5), colours).NativePixels({9, 10, 11, 12, 200}).Bytes());
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Rows(), ByteVector({0, 0, 1, 2, 2, 0, 0, 0}));
    EXPECT_EQ(picture.bitmap.colorOrder, 0u);
    EXPECT_EQ(Entry(picture.bitmap, 0), Levels({0x11, 0x44, 0x77}));
    EXPECT_EQ(Entry(picture.bitmap, 2), Levels({0x33, 0x66, 0x99}));

    LoadedFile words(WithPalette(Palette(16, 2), colours).NativePixels({11, 0, 12, 0}).Bytes());
    EXPECT_EQ(Picture(&words).Rows(), ByteVector({1, 2, 0, 0}));
}

TEST(PaletteFrame, EachColourCountsFromItsOwnFirstValue)
{
    const std::vector<Colour> colours = {
        {2, 0, 16, {0x0100, 0x0200}}, {3, 1, 16, {0x0A00, 0x0B00, 0x0C00}}, {1, 0, 16, {0x7F00}}};
    LoadedFile file(WithPalette(Palette(8, 4), colours).NativePixels({0, 1, 2, 3}).Bytes());
    Picture picture(&file);
    EXPECT_EQ(picture.Rows(), ByteVector({0, 1, 2, 2}));
    EXPECT_EQ(Entry(picture.bitmap, 0), Levels({1, 0x0A, 0x7F}));
    EXPECT_EQ(Entry(picture.bitmap, 2), Levels({2, 0x0B, 0x7F}));
}

TEST(PaletteFrame, EightBitTablesMayBePackedInWords)
{
    const Colour packed = {4, 0, 8, {0x2010, 0x4030}};
    LoadedFile file(WithPalette(Palette(8, 2), {packed, packed, packed}).NativePixels({0, 3}).Bytes());
    Picture picture(&file);
    EXPECT_EQ(Entry(picture.bitmap, 0), Levels({0x10, 0x10, 0x10}));
    EXPECT_EQ(Entry(picture.bitmap, 3), Levels({0x40, 0x40, 0x40}));
}

TEST(PaletteFrame, LargePalettesBecomeColors)
{
    std::vector<uint16_t> ramp(1000), flat(1000, 1000);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint16_t>(1000 + 2 * i);
    const std::vector<Colour> colours = {{1000, 5, 16, ramp}, {1000, 5, 16, flat}, {1000, 5, 16, flat}};
    LoadedFile file(WithPalette(Palette(16, 2), colours).NativePixels({0, 0, 0xFF, 0xFF}).Bytes());
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.bitmap.bitsPerPixel, 24);
    EXPECT_EQ(picture.Rows(), ByteVector({0, 0, 0, 0, 0, 255, 0, 0}));
}

TEST(PaletteFrame, SegmentedTablesAreExpanded)
{
    const Colour colour = {6, 0, 16, {0, 2, 100 << 8, 200 << 8, 1, 4, 240 << 8}};
    LoadedFile file(
        WithPalette(Palette(8, 1), {colour, colour, colour}, kSegmentedTable).NativePixels({0, 0}).Bytes());
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    const int expected[] = {100, 200, 200, 210, 220, 230};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(picture.bitmap.palette[i].red, expected[i]);

    Colour narrow = colour;
    narrow.bits = 8;
    LoadedFile refused(
        WithPalette(Palette(8, 1), {colour, colour, narrow}, kSegmentedTable).NativePixels({0, 0}).Bytes());
    EXPECT_EQ(Picture(&refused).status, kDicomNoGeometry);
    Colour broken = colour;
    broken.entries = {9, 9};
    LoadedFile damaged(
        WithPalette(Palette(8, 1), {broken, colour, colour}, kSegmentedTable).NativePixels({0, 0}).Bytes());
    EXPECT_EQ(Picture(&damaged).status, kDicomNoGeometry);
}

TEST(PaletteFrame, AbsentOrShortTables)
{
    LoadedFile none(PreambleFile().ExplicitLittle().Image(Palette(8, 1)).NativePixels({0, 0}).Bytes());
    EXPECT_EQ(Picture(&none).status, kDicomNoGeometry);
    const Colour whole = {0, 0, 16, {0x4000}};  // 65536 entries declared, one there
    LoadedFile file(WithPalette(Palette(8, 2), {whole, whole, whole}).NativePixels({0, 255}).Bytes());
    EXPECT_EQ(Picture(&file).Rows(), ByteVector({255, 255, 255, 0, 0, 0, 0, 0}));
}
}  // namespace talv
