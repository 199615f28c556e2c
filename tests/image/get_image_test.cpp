#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "raster/remap.h"
#include "tests/image/image_fixture.h"

namespace talv {
namespace {
ByteVector GreyFile(uint16_t rows, uint16_t columns, size_t pixelBytes)
{
    return PreambleFile()
        .ExplicitLittle()
        .Image(Grey8(rows, columns))
        .NativePixels(ByteVector(pixelBytes, 7))
        .Bytes();
}

/// Fills what the heap hands out with a pattern from now on, where the library can.
void FillHeap([[maybe_unused]] int pattern)
{
#if defined(__GLIBC__)
    mallopt(M_PERTURB, pattern);
#endif
}

struct RowLog
{
    std::vector<uint32_t> flags;
    std::vector<int32_t> rows;
    ImageFileInfo info{};
    int32_t stopAt = -1, answer = 1;
};

int32_t LogRow(const ImageFileInfo* info, ImageBitmap*, uint8_t* row, uint32_t flags, int32_t index,
               int32_t one, void* data)
{
    auto* log = static_cast<RowLog*>(data);
    EXPECT_EQ(one, 1);
    log->info = *info;
    log->flags.push_back(flags);
    log->rows.push_back(index);
    row[0] = static_cast<uint8_t>(100 + index);
    return index == log->stopAt ? log->answer : 1;
}
}  // namespace

TEST(GetImage, TheStructSizeIsCheckedFirst)
{
    LoadedFile file(GreyFile(1, 4, 4));
    ImageBitmap bitmap{};
    EXPECT_EQ(GetImage(&file.dataSet, file.PixelData(), &bitmap, 160, 0, 0, 4, 14, nullptr, nullptr),
              kDicomWrongStructSize);
    EXPECT_EQ(GetImage(&file.dataSet, nullptr, &bitmap, kBitmapStructSize, 0, 0, 4, 14, nullptr, nullptr),
              kDicomNoFrame);
    EXPECT_EQ(bitmap.structSize, kBitmapStructSize);
    EXPECT_EQ(GetImage(&file.dataSet, file.dataSet.tree.first, &bitmap, kBitmapStructSize, 0, 0, 4, 14,
                       nullptr, nullptr),
              kDicomNoFrame);
}

TEST(GetImage, RowsPassTheCallbackBeforeTheyAreWritten)
{
    LoadedFile file(GreyFile(3, 3, 9));
    RowLog log;
    ImageBitmap bitmap{};
    ASSERT_EQ(
        GetImage(&file.dataSet, file.PixelData(), &bitmap, kBitmapStructSize, 0, 0, 4, 14, LogRow, &log),
        kDicomOk);
    EXPECT_EQ(log.flags, std::vector<uint32_t>({7, 3, 11}));
    EXPECT_EQ(log.rows, std::vector<int32_t>({0, 1, 2}));
    EXPECT_EQ(log.info.width, 3);
    EXPECT_EQ(log.info.bytesPerLine, 4u);
    EXPECT_STREQ(log.info.compressionName, "None");
    uint8_t row[4];
    ASSERT_EQ(GetBitmapRow(&bitmap, row, 2, 4), 4);
    EXPECT_EQ(ByteVector(row, row + 4), ByteVector({102, 7, 7, 0}));
    FreeBitmap(&bitmap);

    RowLog stopping;
    stopping.stopAt = 1;
    stopping.answer = 77;
    EXPECT_EQ(
        GetImage(&file.dataSet, file.PixelData(), &bitmap, kBitmapStructSize, 0, 0, 4, 14, LogRow, &stopping),
        77);
    EXPECT_EQ(stopping.rows.size(), 2u);
    EXPECT_EQ(bitmap.flags & kBitmapAllocated, 0u);

    stopping.answer = 0;  // good as far as it went: the rows after it are zeros
    ASSERT_EQ(
        GetImage(&file.dataSet, file.PixelData(), &bitmap, kBitmapStructSize, 0, 0, 4, 14, LogRow, &stopping),
        kDicomOk);
    ASSERT_EQ(GetBitmapRow(&bitmap, row, 2, 4), 4);
    EXPECT_EQ(ByteVector(row, row + 4), ByteVector(4, 0));
    FreeBitmap(&bitmap);
}

TEST(GetImage, BothAxesGetTheHorizontalResolution)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(Grey8(1, 4));
    LoadedFile file(builder.Ds(0x00280030, "0.5\\0.25").NativePixels({1, 2, 3, 4}).Bytes());
    Picture picture(&file);
    EXPECT_EQ(picture.bitmap.xResolution, 102);
    EXPECT_EQ(picture.bitmap.yResolution, 102);
}

TEST(GetImage, MissingOperationsAreSaid)
{
    LoadedFile file(GreyFile(1, 4, 4), DataSetTables{});
    EXPECT_EQ(Picture(&file).status, kDicomNoRemapOperation);
    DataSetTables tables = StandardTables();
    tables.images.remapLinear = nullptr;
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(Grey16(1, 1));
    LoadedFile rescaled(builder.Ds(0x00281052, "-5").Ds(0x00281053, "2").NativePixels({1, 0}).Bytes(),
                        tables);
    EXPECT_EQ(Picture(&rescaled, 0, kImageModality).status, kDicomNoRemapOperation);
    EXPECT_EQ(Picture(&rescaled, 0, 0).status, kDicomOk);
}

TEST(DisplaySteps, TheSecondModeBuildsALutAndKeepsThePixels)
{
    const auto build = [](const char* photometric) {
        ImageAttributes attributes = Grey16(1, 4);
        attributes.bitsStored = 8;
        attributes.highBit = 7;
        attributes.photometric = photometric;
        DicomBuilder builder = PreambleFile().ExplicitLittle().Image(attributes);
        builder.Ds(0x00281050, "100").Ds(0x00281051, "101").Ds(0x00281052, "-100").Ds(0x00281053, "2");
        return builder.NativePixels({0, 0, 75, 0, 100, 0, 125, 0}).Bytes();
    };
    LoadedFile file(build("MONOCHROME2")), inverted(build("MONOCHROME1"));
    for (int round = 0; round < 2; ++round)  // the second picture gets the remembered lut
    {
        Picture picture(&file), negative(&inverted);
        ASSERT_EQ(picture.status, kDicomOk);
        EXPECT_EQ(picture.Words(), std::vector<uint16_t>({0, 75, 100, 125}));
        ASSERT_EQ(picture.bitmap.lutLength, 256u);
        ASSERT_EQ(negative.bitmap.lutLength, 256u);
        // Rescaled 50 is the window's lower end, 100 about its middle, 150 beyond its upper end.
        EXPECT_EQ(picture.bitmap.lut[70].green, 0);
        EXPECT_NEAR(picture.bitmap.lut[100].green, 128, 3);
        EXPECT_EQ(picture.bitmap.lut[126].green, 255);
        for (int i = 0; i < 256; ++i) {
            const PaletteEntry entry = picture.bitmap.lut[i];
            EXPECT_TRUE(entry.blue == entry.green && entry.green == entry.red && entry.reserved == 0);
            EXPECT_NEAR(entry.green + negative.bitmap.lut[i].green, 255, 1);
        }
    }
    EXPECT_EQ(Picture(&file, 0, 0).bitmap.lutLength, 0u);
}

TEST(DisplaySteps, AnotherWindowStartsFromRescaledValuesOnEveryFrame)
{
    ImageAttributes attributes = Grey16(1, 2);
    attributes.numberOfFrames = "3";
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(attributes);
    builder.Ds(0x00281050, "7").Ds(0x00281051, "3").Ds(0x00281052, "-1000").Ds(0x00281053, "0.25");
    LoadedFile file(builder.NativePixels(ByteVector(12)).Bytes());
    for (uint32_t frame : {0u, 1u, 2u, 0u}) {
        Picture picture(&file, frame);
        ASSERT_EQ(picture.status, kDicomOk);
        // Black from 10.5 - 0.5 - 50 = -40 on, white at 60: stored values 3840 and 4240.
        ASSERT_EQ(RemapWindow(&picture.bitmap, 10.5, 101, false, kRemapLut), kRasterOk);
        ASSERT_EQ(picture.bitmap.lutLength, 65536u);
        const PaletteEntry* lut = picture.bitmap.lut;
        for (int i = 0; i < 65536; ++i)
            ASSERT_NEAR(lut[i].red, std::clamp((i - 3840) * 255 / 400.0, 0.0, 255.0), 0.5 + 1e-9) << i;
    }
}

TEST(DisplaySteps, TheFirstModeRewritesThePixels)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(Grey16(1, 2));
    LoadedFile file(
        builder.Ds(0x00281052, "5").Ds(0x00281053, "2").NativePixels({10, 0, 0xFF, 0xFF}).Bytes());
    Picture picture(&file, 0, kImageModality);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.bitmap.minValue, 25);
    EXPECT_EQ(picture.bitmap.lutLength, 0u);
}

TEST(DisplaySteps, TablesServeWhereThereAreNoNumbers)
{
    ImageAttributes attributes = Grey16(1, 2);
    attributes.bitsStored = 2;
    attributes.highBit = 1;
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(attributes);
    builder.BeginSequence(0x00283000)
        .BeginItem()
        .Us(0x00283002, {4, 0, 16})
        .Ow(0x00283006, {300, 100, 200, 0});
    LoadedFile file(builder.EndItem().EndSequence().NativePixels({0, 0, 3, 0}).Bytes());
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    ASSERT_EQ(picture.bitmap.lutLength, 4u);
    EXPECT_EQ(picture.bitmap.lut[0].red, 255);
    EXPECT_EQ(picture.bitmap.lut[1].red, 85);
    EXPECT_EQ(picture.bitmap.lut[2].red, 170);
    EXPECT_EQ(picture.bitmap.lut[3].red, 0);
}

TEST(DisplaySteps, ColorAndEightBitBitmapsHaveNoLut)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(Grey8(1, 4));
    LoadedFile file(builder.Ds(0x00281052, "5").Ds(0x00281053, "2").NativePixels({1, 2, 3, 4}).Bytes());
    Picture picture(&file);
    EXPECT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.bitmap.lutLength, 0u);
}

// Whatever the attributes say, the answer is a documented status or a whole bitmap that does not depend on
// what the memory held before.
TEST(GetImage, EveryCombinationOfAttributesIsAnswered)
{
    const char* const photometrics[] = {"MONOCHROME1", "MONOCHROME2", "PALETTE COLOR", "RGB",
                                        "ARGB",        "CMYK",        "YBR_FULL",      "YBR_FULL_422",
                                        "YBR_RCT",     "SOMETHING"};
    ByteVector pixels(5 * 3 * 4 * 4);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 37 + 11);
    int shown = 0, refused = 0;
    for (const char* photometric : photometrics)
        for (uint16_t samples : {0, 1, 2, 3, 4, 200})
            for (uint16_t allocated : {0, 1, 2, 7, 8, 9, 12, 16, 24, 32, 33, 64, 65535})
                for (uint16_t stored : std::set<uint16_t>{0, 1, allocated, uint16_t(allocated / 2 + 3)})
                    for (uint16_t highBit :
                         std::set<uint16_t>{0, uint16_t(stored - 1), uint16_t(allocated - 1), 40})
                        for (uint16_t planar : {0, 1, 2})
                            for (uint16_t isSigned : {0, 1}) {
                                if (planar == 2 && samples != 3) continue;  // as 1 there
                                ImageAttributes attributes;
                                attributes.rows = 3;
                                attributes.columns = 5;
                                attributes.photometric = photometric;
                                attributes.samplesPerPixel = samples;
                                attributes.bitsAllocated = allocated;
                                attributes.bitsStored = stored;
                                attributes.highBit = highBit;
                                attributes.planarConfiguration = planar;
                                attributes.pixelRepresentation = isSigned;
                                DicomBuilder builder = PreambleFile().ExplicitLittle().Image(attributes);
                                for (uint32_t i = 0; i < 3; ++i)
                                    builder.Us(0x00281101 + i, {3, 1, 16})
                                        .Ow(0x00281201 + i, {0x100, 0x200, 0xFFFF});
                                LoadedFile file(builder.NativePixels(pixels).Bytes());
                                FillHeap(0x55);
                                Picture first(&file);
                                FillHeap(0xA3);
                                Picture second(&file);
                                ASSERT_EQ(first.status, second.status);
                                if (first.status != kDicomOk) {
                                    ++refused;
                                    ASSERT_TRUE(first.status == kDicomNoFrame ||
                                                first.status == kDicomUnknownPhotometric)
                                        << first.status;
                                    ASSERT_EQ(first.bitmap.flags & kBitmapAllocated, 0u);
                                    continue;
                                }
                                ++shown;
                                ASSERT_EQ(first.bitmap.width, 5);
                                ASSERT_EQ(first.bitmap.height, 3);
                                ASSERT_GE(first.bitmap.lowBit, 0);
                                ASSERT_LT(first.bitmap.highBit, 32);
                                ASSERT_EQ(first.Rows(), second.Rows());
                            }
    FillHeap(0);
    EXPECT_GT(shown, 1000);
    EXPECT_GT(refused, 1000);
}
}  // namespace talv
