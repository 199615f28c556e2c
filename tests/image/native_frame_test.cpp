#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
ByteVector Native(const ImageAttributes& attributes, const ByteVector& pixels)
{
    return PreambleFile().ExplicitLittle().Image(attributes).NativePixels(pixels).Bytes();
}

ImageAttributes WithBits(ImageAttributes attributes, uint16_t allocated, uint16_t stored, uint16_t highBit)
{
    attributes.bitsAllocated = allocated;
    attributes.bitsStored = stored;
    attributes.highBit = highBit;
    return attributes;
}
using Words = std::vector<uint16_t>;
}  // namespace

TEST(GreyFrame, EightBitsAreCopiedAndShownThroughTheWindow)
{
    LoadedFile file(Native(Grey8(2, 3), {1, 2, 3, 253, 254, 255}));
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Rows(), ByteVector({1, 2, 3, 0, 253, 254, 255, 0}));
    EXPECT_EQ(picture.bitmap.colorOrder, 0u);
    EXPECT_EQ(picture.bitmap.lowBit, 0);
    EXPECT_EQ(picture.bitmap.highBit, 7);
    EXPECT_EQ(picture.bitmap.minValue, 0);
    EXPECT_EQ(picture.bitmap.maxValue, 0);
    ASSERT_EQ(picture.bitmap.colorCount, 256u);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(picture.bitmap.palette[i].green, i);

    DicomBuilder inverted = PreambleFile().ExplicitLittle();
    inverted.Us(0x00280010, 1).Us(0x00280011, 2).Us(0x00280100, 8).Us(0x00280101, 8).Us(0x00280102, 7);
    LoadedFile unnamed(inverted.Ds(0x00281050, "127.5").Ds(0x00281051, "255").NativePixels({0, 9}).Bytes());
    Picture negative(&unnamed);
    ASSERT_EQ(negative.status, kDicomOk);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(negative.bitmap.palette[i].red, 255 - i);
}

TEST(GreyFrame, SixteenBitsBecomeOffsetBinary)
{
    LoadedFile file(Native(Grey16(1, 4, true), {0xFF, 0xFF, 0, 0, 0, 0x80, 0xFF, 0x7F}));
    Picture picture(&file, 0, 0);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Words(), Words({0x7FFF, 0x8000, 0x0000, 0xFFFF}));
    EXPECT_EQ(picture.bitmap.colorOrder, 2u);
    EXPECT_NE(picture.bitmap.flags & kBitmapSigned, 0u);
    EXPECT_EQ(picture.bitmap.minValue, -32768);
    EXPECT_EQ(picture.bitmap.maxValue, 32767);

    LoadedFile unsignedFile(Native(WithBits(Grey16(1, 3), 16, 12, 11), {1, 0, 0xFF, 0x0F, 2, 0}));
    Picture plain(&unsignedFile, 0, 0);
    EXPECT_EQ(plain.Words(), Words({1, 0x0FFF, 2, 0}));
    EXPECT_EQ(plain.bitmap.highBit, 11);
    EXPECT_EQ(plain.bitmap.minValue, 1);
    EXPECT_EQ(plain.bitmap.maxValue, 0x0FFF);

    LoadedFile twelve(Native(WithBits(Grey16(1, 2, true), 16, 12, 11), {0xFF, 0xFF, 0xFF, 0x07}));
    Picture signedTwelve(&twelve, 0, 0);
    EXPECT_EQ(signedTwelve.bitmap.minValue, -1);
    EXPECT_EQ(signedTwelve.bitmap.maxValue, 2047);
}

TEST(GreyFrame, TheCallersMarkTurnsSignAndStepsOff)
{
    LoadedFile file(Native(Grey16(1, 2, true), {0xFF, 0xFF, 0, 0}));
    file.dataSet.mode |= kModeCallerMark;
    Picture picture(&file, 0, kPlayerImageOptions);
    EXPECT_EQ(picture.Words(), Words({0xFFFF, 0}));
    EXPECT_EQ(picture.bitmap.lutLength, 0u);

    // The range is the whole one, whatever the pixels span.
    LoadedFile longs(Native(WithBits(Grey16(1, 2), 32, 32, 31), {7, 1, 0, 0, 0, 0, 1, 0}));
    LoadedFile color(Native(Color8(1, 1), {10, 20, 30}));
    longs.dataSet.mode |= kModeCallerMark;
    color.dataSet.mode |= kModeCallerMark;
    EXPECT_EQ(Picture(&longs).Words(), Words({0x0107, 0xFFFF}));
    EXPECT_EQ(Picture(&color).Rows(), ByteVector({30, 20, 10, 0}));
}

TEST(GreyFrame, RowsAloneAreTheSameRows)
{
    LoadedFile file(Native(Grey16(1, 2, true), {0xFF, 0xFF, 5, 0}));
    Picture picture(&file, 0, kPlayerImageOptions | kImageRowsOnly);
    EXPECT_EQ(picture.Words(), Picture(&file).Words());
    EXPECT_EQ(picture.bitmap.maxValue, 0);
}

TEST(GreyFrame, TwelveBitsAreUnpacked)
{
    // Rows of packed samples begin at multiples of 4: 3 columns take (36 + 31) / 8 = 8 bytes.
    LoadedFile file(Native(WithBits(Grey16(2, 3), 12, 12, 11),
                           {0x23, 0x61, 0x45, 0x89, 0xF7, 0, 0, 0, 0xFF, 0x0F, 0x80, 0x01, 0x00, 0, 0, 0}));
    Picture picture(&file, 0, 0);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Words(), Words({0x123, 0x456, 0x789, 0, 0xFFF, 0x800, 0x001, 0}));
    EXPECT_EQ(picture.bitmap.highBit, 11);
}

TEST(GreyFrame, ThirtyTwoBitsAreSpreadOverSixteen)
{
    const auto longs = [](std::initializer_list<uint32_t> values) {
        ByteWriter writer;
        for (uint32_t value : values) writer.U32le(value);
        return ByteVector(writer);
    };
    const ImageAttributes attributes = WithBits(Grey16(1, 3), 32, 32, 31);
    LoadedFile file(Native(attributes, longs({1000000, 3000000, 2000000})));
    Picture picture(&file, 0, 0);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Words(), Words({0, 65535, 32767, 0}));
    EXPECT_EQ(picture.bitmap.lowBit, 0);
    EXPECT_EQ(picture.bitmap.highBit, 15);
    EXPECT_EQ(picture.bitmap.maxValue, 65535);

    LoadedFile flat(Native(attributes, longs({7, 7, 7})));
    EXPECT_EQ(Picture(&flat, 0, 0).Words(), Words({65535, 65535, 65535, 0}));

    DicomBuilder ranged = PreambleFile().ExplicitLittle().Image(attributes);
    LoadedFile known(ranged.Us(0x00280106, 10).Us(0x00280107, 20).NativePixels(longs({5, 15, 25})).Bytes());
    EXPECT_EQ(Picture(&known, 0, 0).Words(), Words({0, 32767, 65535, 0}));
    DicomBuilder distrusted = PreambleFile().ExplicitLittle().Lo(0x00080070, "Toshiba").Image(attributes);
    LoadedFile measured(
        distrusted.Us(0x00280106, 10).Us(0x00280107, 20).NativePixels(longs({5, 15, 25})).Bytes());
    EXPECT_EQ(Picture(&measured, 0, 0).Words(), Words({0, 32767, 65535, 0}));
    DicomBuilder wide = PreambleFile().ExplicitLittle().Image(attributes);
    LoadedFile longRange(
        wide.Ul(0x00280106, 100000).Ul(0x00280107, 300000).NativePixels(longs({5, 200000, 300000})).Bytes());
    EXPECT_EQ(Picture(&longRange, 0, 0).Words(), Words({0, 32767, 65535, 0}));

    ImageAttributes withSign = attributes;
    withSign.pixelRepresentation = 1;
    LoadedFile signedLongs(Native(withSign, longs({uint32_t(-1000), 1000, 0})));
    Picture ascending(&signedLongs, 0, 0);
    EXPECT_EQ(ascending.Words(), Words({0, 65535, 32767, 0}));
    EXPECT_EQ(ascending.bitmap.minValue, -32768);
    EXPECT_EQ(ascending.bitmap.maxValue, 32767);
}

TEST(GreyFrame, OneBitIsReversed)
{
    LoadedFile file(Native(WithBits(Grey8(2, 12), 1, 1, 0), {0x01, 0x0F, 0xF0, 0x02}));
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Rows(), ByteVector({0x80, 0xF0, 0, 0, 0x0F, 0x40, 0, 0}));
    ASSERT_EQ(picture.bitmap.colorCount, 2u);
    EXPECT_EQ(picture.bitmap.palette[0].red, 0);
    EXPECT_EQ(picture.bitmap.palette[1].red, 255);

    ImageAttributes inverted = WithBits(Grey8(1, 4), 1, 1, 0);
    inverted.photometric = "MONOCHROME1";
    LoadedFile negative(Native(inverted, {0x05, 0}));
    EXPECT_EQ(Picture(&negative).Rows(), ByteVector({255, 0, 255, 0}));
}

TEST(GreyFrame, BigEndianWordsAreSwappedUnlessStoredAsBytes)
{
    const auto load = [](const ImageAttributes& attributes, const char* vr, const ByteVector& pixels) {
        return PreambleFile().ExplicitBig().Image(attributes).NativePixels(pixels, vr).Bytes();
    };
    LoadedFile words(load(Grey16(1, 2), "OW", {0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(Picture(&words, 0, 0).Words(), Words({0x1234, 0x5678}));
    LoadedFile bytes(load(Grey8(1, 4), "OB", {1, 2, 3, 4}));
    EXPECT_EQ(Picture(&bytes, 0, 0).Rows(), ByteVector({1, 2, 3, 4}));
    LoadedFile packed(load(Grey8(1, 4), "OW", {1, 2, 3, 4}));
    EXPECT_EQ(Picture(&packed, 0, 0).Rows(), ByteVector({2, 1, 4, 3}));
    // Frames of three bytes: the second begins inside a word.
    LoadedFile odd(load(Grey8(1, 3), "OW", {2, 1, 4, 3, 6, 5}));
    EXPECT_EQ(Picture(&odd, 0, 0).Rows(), ByteVector({1, 2, 3, 0}));
    EXPECT_EQ(Picture(&odd, 1, 0).Rows(), ByteVector({4, 5, 6, 0}));
}

TEST(NativeFrame, WhatTheFileLacksIsZero)
{
    LoadedFile shortValue(Native(Grey8(2, 2), {1, 2}));
    EXPECT_EQ(Picture(&shortValue).Rows(), ByteVector({1, 2, 0, 0, 0, 0, 0, 0}));

    // Three frames declared, one and a half there.
    LoadedFile file(PreambleFile()
                        .ExplicitLittle()
                        .Image(Grey8(1, 4))
                        .Header(kTagPixelData, "OW", 12)
                        .Raw(ByteVector{1, 2, 3, 4, 5, 6})
                        .Bytes());
    ASSERT_EQ(file.status, kDicomOk);
    EXPECT_EQ(file.Description().frameCount, 3u);
    EXPECT_EQ(Picture(&file, 0).Rows(), ByteVector({1, 2, 3, 4}));
    EXPECT_EQ(Picture(&file, 1).Rows(), ByteVector({5, 6, 0, 0}));
    EXPECT_EQ(Picture(&file, 2).status, kDicomNoFrame);
}

TEST(NativeFrame, SmallFilesNeverMakeLargeBitmaps)
{
    for (uint16_t side : {uint16_t{65535}, uint16_t{30000}, uint16_t{9000}}) {
        LoadedFile file(Native(Grey8(side, side), {1, 2}));
        EXPECT_EQ(Picture(&file).status, kDicomNoFrame) << side;
    }
}

TEST(ColorFrame, SamplesAreStoredBlueGreenRed)
{
    // 0 and 255 are there, so that nothing is spread.
    const ByteVector expected = {3, 2, 1, 0, 255, 100, 0, 0};
    LoadedFile interleaved(Native(Color8(1, 2), {1, 2, 3, 100, 255, 0}));
    EXPECT_EQ(Picture(&interleaved).Rows(), expected);
    LoadedFile planar(Native(Color8(1, 2, "RGB", 1), {1, 100, 2, 255, 3, 0}));
    EXPECT_EQ(Picture(&planar).Rows(), expected);
    EXPECT_EQ(Picture(&planar).bitmap.colorOrder, 1u);

    ImageAttributes words = WithBits(Color8(1, 2), 16, 16, 15);
    LoadedFile wide(Native(words, {0, 0, 0xFF, 0xFF, 0, 0x80, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Picture(&wide).Rows(), ByteVector({127, 255, 0, 0, 0, 0, 0, 0}));
}

TEST(ColorFrame, SamplesAreSpreadOverTheirRange)
{
    const auto rows = [](const char* maker, int smallest, int largest) {
        DicomBuilder builder = PreambleFile().ExplicitLittle();
        if (maker != nullptr) builder.Lo(0x00080070, maker);
        builder.Image(Color8(1, 1));
        if (smallest >= 0) builder.Us(0x00280106, uint32_t(smallest));
        if (largest >= 0) builder.Us(0x00280107, uint32_t(largest));
        LoadedFile file(builder.NativePixels({50, 75, 100}).Bytes());
        const ByteVector row = Picture(&file).Rows();
        return std::vector<int>{row[2], row[1], row[0]};
    };
    using Levels = std::vector<int>;
    EXPECT_EQ(rows(nullptr, -1, -1), Levels({0, 127, 255}));    // measured
    EXPECT_EQ(rows(nullptr, 0, 255), Levels({50, 75, 100}));    // as the file says
    EXPECT_EQ(rows(nullptr, 0, -1), Levels({127, 191, 255}));   // half measured
    EXPECT_EQ(rows(nullptr, 9, 9), Levels({0, 127, 255}));      // no range at all: measured
    EXPECT_EQ(rows(nullptr, 90, 60), Levels({0, 0, 255}));      // turned around: the lower end comes first
    EXPECT_EQ(rows("Toshiba", 0, 255), Levels({0, 127, 255}));  // not trusted
    EXPECT_EQ(rows("Toshiba Ltd", 0, 255), Levels({50, 75, 100}));
}

TEST(ColorFrame, YbrFullIsConvertedFirst)
{
    const auto rows = [](uint16_t planar, const ByteVector& pixels) {
        DicomBuilder builder = PreambleFile().ExplicitLittle().Image(Color8(1, 2, "YBR_FULL", planar));
        LoadedFile file(builder.Us(0x00280106, 0).Us(0x00280107, 255).NativePixels(pixels).Bytes());
        return Picture(&file).Rows();
    };
    const ByteVector expected = {0, 0, 0, 254, 254, 254, 0, 0};
    EXPECT_EQ(rows(0, {16, 128, 128, 235, 128, 128}), expected);
    EXPECT_EQ(rows(1, {16, 235, 128, 128, 128, 128}), expected);

    // Red 130, green 180, blue 0, of which seven bits count: 2, 52 and 0, spread from 0 to 52.
    LoadedFile sevenBits(Native(WithBits(Color8(1, 1, "YBR_FULL"), 8, 7, 6), {128, 0, 128}));
    EXPECT_EQ(Picture(&sevenBits).Rows(), ByteVector({0, 255, 9, 0}));
}

TEST(ColorFrame, CmykStepsFourBytesAPixel)
{
    ImageAttributes attributes = Color8(1, 4, "CMYK");
    attributes.samplesPerPixel = 4;
    LoadedFile file(Native(attributes, {0, 10, 20, 5, 255, 0, 0, 0, 1, 1, 1, 255, 9, 9, 9, 9}));
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(picture.Rows(), ByteVector({230, 240, 250, 0, 255, 255, 0, 0, 0, 0, 0, 0}));
}

TEST(ColorFrame, AFourthSampleIsSteppedOver)
{
    ImageAttributes attributes = Color8(1, 2, "ARGB");
    attributes.samplesPerPixel = 4;
    LoadedFile file(Native(attributes, {1, 2, 3, 0, 4, 5, 6, 255}));
    EXPECT_EQ(Picture(&file).Rows(), ByteVector({3, 2, 1, 6, 5, 4, 0, 0}));
}

TEST(RleFrameOfGetImage, TakesTheWayOfNativeFrames)
{
    ByteWriter item;
    item.U32le(3).U32le(64).U32le(67).U32le(69).Zeros(48);
    item.Bytes({1, 16, 235}).Bytes({0xFF, 128}).Bytes({0xFF, 128});
    DicomBuilder builder = PreambleFile().ExplicitLittle(kRleSyntax).Image(Color8(1, 2, "YBR_FULL"));
    LoadedFile file(builder.Us(0x00280106, 0).Us(0x00280107, 255).Encapsulated({item}).Bytes());
    EXPECT_EQ(Picture(&file).Rows(), ByteVector({0, 0, 0, 254, 254, 254, 0, 0}));

    LoadedFile headerless(PreambleFile()
                              .ExplicitLittle(kRleSyntax)
                              .Image(Grey8(1, 1))
                              .Encapsulated({ByteVector(40, 0)})
                              .Bytes());
    EXPECT_EQ(Picture(&headerless).status, kDicomShortRead);
}
}  // namespace talv
