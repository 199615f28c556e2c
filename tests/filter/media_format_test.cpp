#include "filter/media_format.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "filter/frame_source.h"
#include "tests/support/byte_writer.h"

namespace talv {
namespace {
class MediaFormatTest : public testing::Test
{
  protected:
    MediaFormatTest()
    {
        source_.width = 3;
        source_.height = 5;
        source_.frameTime = 0x0102030405;
        source_.lowBit = 1;
        source_.highBit = 11;
        source_.minPixelValue = -2;
        source_.maxPixelValue = 4000;
        source_.windowWidth = 400;
        source_.windowCenter = 40;
        source_.rescaleIntercept = 4294966272.0;
        source_.rescaleSlope = 1.0;
        source_.imageFlags = 0x15;
    }

    const MediaFormat& Build(uint32_t bitsPerPixel)
    {
        source_.bitsPerPixel = bitsPerPixel;
        EXPECT_TRUE(BuildMediaFormat(source_, &format_));
        return format_;
    }

    /// What every block begins with, up to the end of the bitmap header.
    ByteWriter Beginning(uint32_t headerSize, uint32_t bits, uint32_t compression, uint32_t imageSize,
                         uint32_t colours)
    {
        ByteWriter block;
        block.Bytes(ByteVector(40, 0)).U64le(0x0102030405);
        block.U32le(headerSize).U32le(3).U32le(5).U16le(1).U16le(bits).U32le(compression).U32le(imageSize);
        block.Zeros(8).U32le(colours).U32le(0);
        return block;
    }

    FrameTimeline timeline_;
    FrameSource source_{&timeline_};
    MediaFormat format_;
};

TEST_F(MediaFormatTest, RgbBlocksAreVideoInfoByteForByte)
{
    const struct
    {
        uint32_t bits;
        VideoSubtype subtype;
        uint32_t imageSize;
    } cases[] = {
        {1, VideoSubtype::rgb1, 20},
        {4, VideoSubtype::rgb4, 20},
        {24, VideoSubtype::rgb24, 60},
        {32, VideoSubtype::rgb32, 60},
    };
    source_.palette8[0] = {0, 0, 0, 0};
    source_.palette8[1] = {255, 255, 255, 0};
    for (const auto& c : cases) {
        const MediaFormat& format = Build(c.bits);
        EXPECT_EQ(format.subtype, c.subtype);
        EXPECT_EQ(format.sampleSize, c.imageSize);
        ByteWriter expected = Beginning(40, c.bits, 0, c.imageSize, 0);
        if (c.bits == 1) expected.U32le(0).U32le(0x00FFFFFF);
        expected.Zeros(kVideoInfoSize - expected.Size());
        EXPECT_EQ(format.block, expected.Content()) << c.bits;
    }
}

TEST_F(MediaFormatTest, EightBitBlockCarriesThePalette)
{
    ByteWriter ramp = Beginning(40, 8, 0, 20, 0);
    for (uint32_t i = 0; i < 256; ++i) ramp.U32le(i * 0x010101);
    EXPECT_EQ(Build(8).block, ramp.Zeros(kVideoInfoSize - ramp.Size()).Content());
    EXPECT_EQ(format_.subtype, VideoSubtype::rgb8);
    source_.palette8[7] = {1, 2, 3, 4};
    const auto entry = Build(8).block.begin() + 88 + 4 * 7;
    EXPECT_EQ(ByteVector(entry, entry + 4), ByteVector({1, 2, 3, 4}));
}

TEST_F(MediaFormatTest, OnlyTheTwelveBitBlockCarriesImageFlags)
{
    source_.palette = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    for (const uint32_t bits : {12u, 16u}) {
        ByteWriter expected = Beginning(96, bits, kTgryFourCc, 40, 2);
        expected.U32le(1).U32le(11).U32le(static_cast<uint32_t>(-2)).U32le(4000).U32le(400).U32le(40);
        expected.U64le(0x41EFFFFF80000000).U64le(0x3FF0000000000000);  // 4294966272.0 and 1.0
        expected.U32le(bits == 12 ? 0x15 : 0).Zeros(12);
        expected.U32le(0x00030201).U32le(0x00060504);
        expected.Zeros(kGreyFormatSize - expected.Size());
        EXPECT_EQ(Build(bits).block, expected.Content()) << bits;
        EXPECT_EQ(format_.subtype, VideoSubtype::grey);
    }
}

TEST_F(MediaFormatTest, OtherDepthsHaveNoFormat)
{
    for (const uint32_t bits : {0u, 2u, 48u}) EXPECT_EQ(Build(bits).subtype, VideoSubtype::none) << bits;
    EXPECT_TRUE(format_.block.empty());
    source_.width = source_.height = 0;
    EXPECT_EQ(Build(8).subtype, VideoSubtype::none);
}

TEST_F(MediaFormatTest, OfferedFormatsAreAccepted)
{
    for (const uint32_t bits : {1u, 4u, 8u, 12u, 16u, 24u, 32u}) {
        const MediaFormat& format = Build(bits);
        ProposedFormat proposed{true, true, true, false, format.subtype, format.sampleSize};
        ASSERT_TRUE(ReadFormatBlock(format.block.data(), format.block.size(), &proposed));
        EXPECT_TRUE(AcceptsFormat(source_, proposed)) << bits;
        EXPECT_TRUE(MatchesImage(source_, proposed)) << bits;
    }
    ProposedFormat proposed;
    EXPECT_FALSE(ReadFormatBlock(format_.block.data(), 87, &proposed));
    EXPECT_FALSE(ReadFormatBlock(nullptr, 1128, &proposed));
}

TEST_F(MediaFormatTest, OneChangedFieldRefusesTheType)
{
    source_.bitsPerPixel = 16;
    const ProposedFormat good{true, true, true, false, VideoSubtype::grey, 40, kTgryFourCc, 16, 3, 5};
    ASSERT_TRUE(AcceptsFormat(source_, good));
    const std::pair<const char*, void (*)(ProposedFormat*)> refused[] = {
        {"major type", [](ProposedFormat* f) { f->isVideo = false; }},
        {"variable size", [](ProposedFormat* f) { f->fixedSize = false; }},
        {"format type", [](ProposedFormat* f) { f->videoInfo = false; }},
        {"temporal compression", [](ProposedFormat* f) { f->temporalCompression = true; }},
        {"sample size", [](ProposedFormat* f) { f->sampleSize = 44; }},
        {"subtype", [](ProposedFormat* f) { f->subtype = VideoSubtype::none; }},
        {"grey without its FOURCC", [](ProposedFormat* f) { f->compression = 0; }},
        {"grey of 8 bits", [](ProposedFormat* f) { f->bitCount = 8; }},
        {"foreign compression",
         [](ProposedFormat* f) { f->subtype = VideoSubtype::rgb24, f->compression = 3; }},
        {"top-down", [](ProposedFormat* f) { f->height = -5; }},
    };
    for (const auto& [what, change] : refused) {
        ProposedFormat proposed = good;
        change(&proposed);
        EXPECT_FALSE(AcceptsFormat(source_, proposed)) << what;
    }
    ProposedFormat other = good;
    other.width = 5;
    other.height = 3;
    EXPECT_TRUE(AcceptsFormat(source_, other));  // only the size of the sample counts there
    EXPECT_FALSE(MatchesImage(source_, other));
    other = good;
    other.subtype = VideoSubtype::rgb24;  // nor does the depth
    EXPECT_TRUE(AcceptsFormat(source_, other));
}
}  // namespace
}  // namespace talv
