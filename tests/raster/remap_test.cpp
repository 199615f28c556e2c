#include "raster/remap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "raster/statistics.h"
#include "raster_fixture.h"

namespace talv {
namespace {
/// Samples as they are stored, one row after the other.
std::vector<uint16_t> Samples(ImageBitmap* bitmap)
{
    std::vector<uint16_t> samples;
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    for (int32_t y = 0; y < bitmap->height; ++y) {
        EXPECT_GT(GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine), 0);
        for (int32_t x = 0; x < bitmap->width; ++x) {
            const uint8_t* p = row.data() + (bitmap->bitsPerPixel == 16 ? 2 * x : x / 2 * 3);
            const bool second = bitmap->bitsPerPixel == 12 && x % 2 == 1;
            samples.push_back(uint16_t(second ? p[1] >> 4 | p[2] << 4 : p[0] | p[1] << 8));
            if (bitmap->bitsPerPixel == 12) samples.back() &= 0x0FFF;
        }
    }
    return samples;
}

std::vector<int32_t> Values(ImageBitmap* bitmap)
{
    const int32_t bits = bitmap->highBit - bitmap->lowBit + 1;
    std::vector<int32_t> values;
    for (uint16_t sample : Samples(bitmap))
        values.push_back(int32_t((sample >> bitmap->lowBit) & ((1u << bits) - 1)) -
                         ((bitmap->flags & kBitmapSigned) != 0 ? 1 << (bits - 1) : 0));
    return values;
}

void FillRandom(ImageBitmap* bitmap)
{
    for (int32_t y = 0; y < bitmap->height; ++y)
        PutBitmapRow(bitmap, RandomBytes(bitmap->bytesPerLine, uint32_t(y) + 5).data(), y,
                     bitmap->bytesPerLine);
}

struct RangeCase
{
    int32_t depth, low, high;
    bool isSigned;
};
const RangeCase kRanges[] = {{16, 0, 15, false}, {16, 0, 15, true}, {16, 0, 11, false},
                             {16, 4, 15, true},  {16, 2, 13, true}, {16, 0, 0, false},
                             {12, 0, 11, false}, {12, 0, 11, true}, {12, 2, 9, false}};

void Prepare(const RangeCase& range, ImageBitmap* bitmap)
{
    FillRandom(bitmap);
    bitmap->lowBit = range.low;
    bitmap->highBit = range.high;
    if (range.isSigned) bitmap->flags |= kBitmapSigned;
}

TEST(GetBitmapStatistics, FindsTheRangeOfTheSignificantBits)
{
    for (const RangeCase& range : kRanges)
        for (int32_t width : {1, 2, 17, 333}) {
            TestBitmap bitmap(width, 5, range.depth);
            Prepare(range, bitmap);
            const std::vector<int32_t> values = Values(bitmap);
            int32_t low = 0, high = 0;
            ASSERT_EQ(GetBitmapStatistics(bitmap, &low, &high), kRasterOk);
            EXPECT_EQ(low, *std::min_element(values.begin(), values.end()));
            EXPECT_EQ(high, *std::max_element(values.begin(), values.end()));
        }
}

TEST(GetBitmapStatistics, RefusesOtherBitmaps)
{
    int32_t low = 77, high = 77;
    EXPECT_EQ(GetBitmapStatistics(nullptr, &low, &high), kRasterNullBitmap);
    TestBitmap empty, color(4, 4, 24, 1), palette(4, 4, 8, 2), words(4, 4, 16, 1), grey(4, 4, 16);
    EXPECT_EQ(GetBitmapStatistics(empty, &low, &high), kRasterNotAllocated);
    for (ImageBitmap* other : {static_cast<ImageBitmap*>(color), static_cast<ImageBitmap*>(palette),
                               static_cast<ImageBitmap*>(words)}) {
        EXPECT_EQ(GetBitmapStatistics(other, &low, &high), kRasterInvalid);
        EXPECT_EQ(RemapLinear(other, 2, 0, kRemapPixels), kRasterInvalid);
    }
    EXPECT_EQ(low, 77);
    grey->lowBit = 40;
    grey->highBit = INT32_MAX;
    EXPECT_EQ(GetBitmapStatistics(grey, &low, &high), kRasterOk) << "an impossible range is empty";
    EXPECT_EQ(low, 0);
    grey->structSize = 160;
    EXPECT_EQ(GetBitmapStatistics(grey, &low, &high), kRasterWrongStructSize);
    grey->structSize = 164;
}

TEST(RemapLinear, RewritesPixelsWithTheirNewRange)
{
    for (const RangeCase& range : kRanges)
        for (double slope : {1.0, 0.5, -1.0, 0.0, 3.0})
            for (double intercept : {0.0, -1024.0, 7.5}) {
                SCOPED_TRACE(testing::Message() << range.depth << ' ' << range.low << ' ' << range.high << ' '
                                                << range.isSigned << ", " << slope << ", " << intercept);
                TestBitmap bitmap(31, 5, range.depth);
                Prepare(range, bitmap);
                const std::vector<int32_t> before = Values(bitmap);
                ASSERT_EQ(RemapLinear(bitmap, slope, intercept, kRemapPixels), kRasterOk);
                const std::vector<int32_t> after = Values(bitmap);
                const bool isSigned = (bitmap->flags & kBitmapSigned) != 0;
                const double top = std::ldexp(1.0, bitmap->highBit + (isSigned ? 0 : 1)) - 1;
                const double bottom = isSigned ? -top - 1 : 0;
                for (size_t i = 0; i < before.size(); ++i) {
                    const double exact = std::round(before[i] * slope + intercept);
                    ASSERT_EQ(after[i], std::clamp(exact, bottom, top)) << before[i];
                    if (bitmap->highBit < range.depth - 1) {
                        ASSERT_EQ(after[i], exact) << "saturates at the depth only";
                    }
                }
                int32_t low = 0, high = 0;
                ASSERT_EQ(GetBitmapStatistics(bitmap, &low, &high), kRasterOk);
                EXPECT_EQ(bitmap->minValue, low);
                EXPECT_EQ(bitmap->maxValue, high);
            }
}

TEST(RemapLut, BuildsAnEntryForEveryStoredValueAndLeavesThePixels)
{
    for (const RangeCase& range : kRanges) {
        TestBitmap bitmap(31, 5, range.depth);
        Prepare(range, bitmap);
        const std::vector<uint16_t> before = Samples(bitmap);
        ASSERT_EQ(RemapLinear(bitmap, 2, -5, kRemapLut), kRasterOk);
        EXPECT_EQ(Samples(bitmap), before);
        const uint32_t count = 1u << (range.high - range.low + 1);
        ASSERT_EQ(bitmap->lutLength, count);
        for (uint32_t i = 0; i < count; ++i) {
            const PaletteEntry& e = bitmap->lut[i];
            ASSERT_TRUE(e.blue == e.green && e.green == e.red && e.reserved == 0);
            ASSERT_EQ(e.red, std::floor(i * 255.0 / (count - 1) + 0.5));
        }
        ASSERT_EQ(RemapLinear(bitmap, -1, 0, kRemapLut), kRasterOk);
        EXPECT_EQ(bitmap->lut[0].red, 255);
        EXPECT_EQ(bitmap->lut[count - 1].red, 0);
    }
}

TEST(RemapLut, RescaleAndWindowComposeWithoutLoss)
{
    // A slope this small would leave nothing of 12 bits if it went through integers.
    TestBitmap bitmap(31, 5, 16);
    Prepare({16, 0, 11, false}, bitmap);
    const double slope = 1.0 / 512, intercept = -3, center = 1.25, width = 4;
    ASSERT_EQ(RemapLinear(bitmap, 2 * slope, 0, kRemapLut), kRasterOk);
    ASSERT_EQ(RemapLinear(bitmap, 0.5, intercept, kRemapLut), kRasterOk);
    for (bool invert : {false, true})  // the second window replaces the first
    {
        ASSERT_EQ(RemapWindow(bitmap, center, width, invert, kRemapLut), kRasterOk);
        for (uint32_t i = 0; i < 4096; ++i) {
            const double x = i * slope + intercept;
            double y = ((x - (center - 0.5)) / (width - 1) + 0.5) * 255;
            if (x <= center - 0.5 - (width - 1) / 2) y = 0;
            if (x > center - 0.5 + (width - 1) / 2) y = 255;
            ASSERT_NEAR(bitmap->lut[i].green, invert ? 255 - y : y, 0.5 + 1e-9) << i;
        }
    }
    // What is remembered also feeds a rewrite.
    const std::vector<int32_t> before = Values(bitmap);
    ASSERT_EQ(RemapLinear(bitmap, 512, 3 * 512, kRemapPixels), kRasterOk);
    EXPECT_EQ(Values(bitmap), before);
    EXPECT_EQ(bitmap->lut, nullptr);
    EXPECT_EQ(bitmap->lutLength, 0u);
}

TEST(KeptLut, GivesAnotherBitmapAllThatARemapGoesOnFrom)
{
    TestBitmap first(31, 5, 16), second(31, 5, 16);
    Prepare({16, 0, 11, false}, first);
    Prepare({16, 0, 11, false}, second);
    KeptLut kept;
    kept.KeepFrom(*first);
    EXPECT_TRUE(kept.IsEmpty());
    ASSERT_EQ(RemapLinear(second, 3, 0, kRemapLut), kRasterOk);
    ASSERT_EQ(kept.InstallIn(second), kRasterOk) << "nothing kept: the lut goes";
    EXPECT_EQ(second->lut, nullptr);

    ASSERT_EQ(RemapLinear(first, 1.0 / 512, -3, kRemapLut), kRasterOk);
    kept.KeepFrom(*first);
    ASSERT_EQ(kept.InstallIn(second), kRasterOk);
    for (ImageBitmap* bitmap : {static_cast<ImageBitmap*>(first), static_cast<ImageBitmap*>(second)})
        ASSERT_EQ(RemapWindow(bitmap, 1.25, 4, true, kRemapLut), kRasterOk);
    ASSERT_EQ(second->lutLength, 4096u);
    for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(second->lut[i].red, first->lut[i].red) << i;
}

TEST(RemapWindow, RewritesIntoAllSignificantBits)
{
    for (const RangeCase& range : kRanges)
        for (double center : {-20.0, 10.5, 3000.0})
            for (bool invert : {false, true}) {
                TestBitmap bitmap(31, 5, range.depth);
                Prepare(range, bitmap);
                const std::vector<int32_t> before = Values(bitmap);
                ASSERT_EQ(RemapWindow(bitmap, center, 101, invert, kRemapPixels), kRasterOk);
                EXPECT_EQ(bitmap->flags & kBitmapSigned, 0u);
                EXPECT_EQ(bitmap->highBit, range.high - range.low) << "also when the window reaches no white";
                const std::vector<int32_t> after = Values(bitmap);
                const double white = std::ldexp(1.0, range.high - range.low + 1) - 1;
                for (size_t i = 0; i < before.size(); ++i) {
                    const double share = std::clamp((before[i] - (center - 0.5)) / 100 + 0.5, 0.0, 1.0);
                    ASSERT_NEAR(after[i], (invert ? 1 - share : share) * white, 0.5 + 1e-6) << before[i];
                }
            }
}

TEST(RemapTable, ClampsToTheTable)
{
    const std::vector<uint16_t> table = {0x8FFF, 10, 20, 0x9007};
    for (uint32_t bits : {12u, 16u}) {
        TestBitmap bitmap(31, 5, 16);
        Prepare({16, 0, 3, true}, bitmap);  // values -8 .. 7
        std::vector<int32_t> expected = Values(bitmap);
        for (int32_t& value : expected) value = table[std::clamp(value + 2, 0, 3)] & ((1 << bits) - 1);
        ASSERT_EQ(RemapTable(bitmap, table.data(), 4, -2, bits, kRemapPixels), kRasterOk);
        EXPECT_EQ(Values(bitmap), expected);
        EXPECT_EQ(bitmap->highBit, int32_t(bits) - 1);
        EXPECT_EQ(bitmap->flags & kBitmapSigned, 0u);
    }
    TestBitmap bitmap(31, 5, 16);
    ASSERT_EQ(RemapTable(bitmap, table.data() + 1, 2, INT32_MAX, 16, kRemapLut), kRasterOk);
    EXPECT_EQ(bitmap->lut[65535].red, 0) << "a constant table is black";
    EXPECT_EQ(RemapTable(bitmap, nullptr, 4, 0, 16, kRemapLut), kRasterInvalid);
    EXPECT_EQ(RemapTable(bitmap, table.data(), 0, 0, 16, kRemapLut), kRasterInvalid);
    for (uint32_t bits : {0u, 17u, UINT32_MAX})
        EXPECT_EQ(RemapTable(bitmap, table.data(), 4, 0, bits, kRemapLut), kRasterInvalid);
}

TEST(Remap, HostileNumbersChangeNothingOrSaturate)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinity = std::numeric_limits<double>::infinity();
    TestBitmap bitmap(31, 5, 16);
    Prepare({16, 0, 15, true}, bitmap);
    const std::vector<int32_t> before = Values(bitmap);
    for (double bad : {nan, infinity, -infinity}) {
        EXPECT_EQ(RemapLinear(bitmap, bad, 0, kRemapPixels), kRasterInvalid);
        EXPECT_EQ(RemapLinear(bitmap, 1, bad, kRemapLut), kRasterInvalid);
        EXPECT_EQ(RemapWindow(bitmap, bad, 1, false, kRemapPixels), kRasterInvalid);
        EXPECT_EQ(RemapWindow(bitmap, 1, bad, false, kRemapLut), kRasterInvalid);
    }
    for (int32_t mode : {0, 1, 3, 8, -2}) EXPECT_EQ(RemapLinear(bitmap, 1, 0, mode), kRasterInvalid);
    EXPECT_EQ(Values(bitmap), before);
    for (double slope : {1e300, -1e300, 1e-300})
        EXPECT_EQ(RemapLinear(bitmap, slope, -1e300, kRemapLut), kRasterOk);
    for (double width : {0.0, -5.0, 1.0, 1e300})
        EXPECT_EQ(RemapWindow(bitmap, 5, width, false, kRemapLut), kRasterOk);
    EXPECT_EQ(RemapLinear(bitmap, 1, 0, kRemapPixels), kRasterOk);
    EXPECT_EQ(bitmap->maxValue, -32768);
}
}  // namespace
}  // namespace talv
