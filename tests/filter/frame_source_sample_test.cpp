#include "tests/filter/source_fixture.h"

namespace talv {
namespace {
using FrameSourceSample = SourceTest;
using FrameSourceDataSet = SourceTest;

TEST_F(FrameSourceSample, RowsComeBottomUpWithZeroPadding)
{
    ASSERT_EQ(Load(GreyClip(3, "3")), 0);
    for (const int frame : {0, 2, 1, 2}) EXPECT_EQ(ReadFrame(frame), GreyClipSample(frame));
    EXPECT_EQ(source.undecodableFrames, 0);
}

TEST_F(FrameSourceSample, LargeSamplesHaveTheSameRows)
{
    constexpr size_t kColumns = 2049, kStride = 2052, kRows = 2050;
    ByteVector pixels(kColumns * kRows), expected(kStride * kRows);
    for (size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<uint8_t>(i * 31 >> 4);
        expected[(kRows - 1 - i / kColumns) * kStride + i % kColumns] = pixels[i];
    }
    DicomBuilder large = PreambleFile().ExplicitLittle();
    ASSERT_EQ(Load(large.Image({.rows = kRows, .columns = kColumns}).NativePixels(pixels, "OB")), 0);
    EXPECT_TRUE(ReadFrame(0) == expected);
}

TEST_F(FrameSourceSample, OtherDepths)
{
    DicomBuilder grey16 = PreambleFile().ExplicitLittle();
    grey16.Image({.rows = 2, .columns = 1, .bitsAllocated = 16, .bitsStored = 12, .highBit = 11});
    ASSERT_EQ(Load(grey16.Ow(0x7FE00010, {0x123, 0x456})), 0);
    EXPECT_EQ(ReadFrame(0), ByteVector({0x56, 4, 0, 0, 0x23, 1, 0, 0}));
    EXPECT_EQ(source.minPixelValue, 0x123);
    EXPECT_EQ(source.maxPixelValue, 0x456);
    EXPECT_EQ(source.windowWidth, 0x333);
    EXPECT_EQ(source.windowCenter, (0x123 + 0x456) / 2);

    DicomBuilder colour = PreambleFile().ExplicitLittle();
    colour.Image({.rows = 2, .columns = 1, .samplesPerPixel = 3, .photometric = "RGB"});
    ASSERT_EQ(Load(colour.NativePixels({0, 128, 255, 4, 5, 6}, "OB")), 0);
    EXPECT_EQ(source.bitsPerPixel, 24u);
    EXPECT_EQ(ReadFrame(0).size(), 8u);

    DicomBuilder bits = PreambleFile().ExplicitLittle();
    bits.Image({.rows = 2, .columns = 8, .bitsAllocated = 1, .bitsStored = 1, .highBit = 0});
    ASSERT_EQ(Load(bits.NativePixels({0x01, 0x0F}, "OB")), 0);
    EXPECT_EQ(ReadFrame(0), ByteVector({0xF0, 0, 0, 0, 0x80, 0, 0, 0}));
}

TEST_F(FrameSourceSample, FramesThatAreNotThereRepeatTheLastGoodOne)
{
    ASSERT_EQ(Load(GreyClip(2, "4")), 0);
    EXPECT_EQ(ReadFrame(3, kFrameUndecodable), ByteVector(8, 0));  // black before the first
    EXPECT_EQ(ReadFrame(1), GreyClipSample(1));
    for (const int64_t index :
         {int64_t{2}, int64_t{3}, int64_t{4}, int64_t{-1}, INT64_MIN, INT64_MAX, int64_t{1} << 32})
        EXPECT_EQ(ReadFrame(index, kFrameUndecodable), GreyClipSample(1)) << index;
    EXPECT_EQ(ReadFrame(0), GreyClipSample(0));
    EXPECT_EQ(ReadFrame(2, kFrameUndecodable), GreyClipSample(0));
    EXPECT_EQ(source.undecodableFrames, 9);
    source.ForgetLastFrame();
    EXPECT_EQ(ReadFrame(2, kFrameUndecodable), ByteVector(8, 0));

    EXPECT_EQ(ReadFrame(1), GreyClipSample(1));
    EXPECT_EQ(Load(PreambleFile().ExplicitLittle().Cs(0x00080060, "OT")), 1);
    EXPECT_EQ(ReadFrame(1, kFrameUndecodable), ByteVector(8, 0));  // nothing of the file before
}

TEST_F(FrameSourceSample, BlackIsTheDarkestEntryOfThePalette)
{
    ASSERT_EQ(Load(GreyClip(1, "", "MONOCHROME1")), 0);
    EXPECT_EQ(ReadFrame(1, kFrameUndecodable), ByteVector({255, 255, 255, 0, 255, 255, 255, 0}));

    DicomBuilder words = PreambleFile().ExplicitLittle();
    words.Image({.rows = 1,
                 .columns = 3,
                 .bitsAllocated = 16,
                 .bitsStored = 12,
                 .highBit = 11,
                 .photometric = "MONOCHROME1"});
    ASSERT_EQ(Load(words.NativePixels({1, 0, 2, 0, 3, 0})), 0);
    EXPECT_EQ(ReadFrame(1, kFrameUndecodable), ByteVector({0xFF, 0x0F, 0xFF, 0x0F, 0xFF, 0x0F, 0, 0}));
}

TEST_F(FrameSourceSample, HostileFrameCountsStillShowTheFirstFrame)
{
    for (const char* count : {"0", "-5", "2147483647"}) {
        ASSERT_EQ(Load(GreyClip(1, count)), 0);
        EXPECT_EQ(ReadFrame(0), GreyClipSample(0)) << count;
        EXPECT_EQ(ReadFrame(1, kFrameUndecodable), GreyClipSample(0)) << count;
        EXPECT_EQ(ReadFrame(INT32_MAX - 1, kFrameUndecodable), GreyClipSample(0)) << count;
    }
}

TEST_F(FrameSourceSample, FrameUnlikeTheLoadedImageIsUndecodable)
{
    ASSERT_EQ(Load(GreyClip(1, "")), 0);
    EXPECT_EQ(ReadFrame(0), GreyClipSample(0));
    ++source.height;
    EXPECT_EQ(ReadFrame(0, kFrameUndecodable).size(), 12u);
    --source.height;
    source.width = 4;
    EXPECT_EQ(ReadFrame(0, kFrameUndecodable), GreyClipSample(0));
    source.width = 3;
    for (const uint32_t bits : {0u, 1u, 4u, 16u, 24u, 32u}) {
        source.bitsPerPixel = bits;
        ReadFrame(0, kFrameUndecodable);
    }
    EXPECT_EQ(source.undecodableFrames, 8);
}

TEST_F(FrameSourceSample, SmallBufferHoldsTheBeginningOfTheLastGoodFrame)
{
    ASSERT_EQ(Load(GreyClip(2, "2")), 0);
    const ByteVector good = ReadFrame(0);
    for (const int64_t size : {0, 1, 3, 4, 7}) {
        FakeSample sample(8);
        sample.size = size;
        EXPECT_EQ(source.ReadFrameIntoSample(&sample, 1), kFrameUndecodable);
        EXPECT_EQ(sample.length, size);
        ByteVector expected(9, 0xCD);
        std::copy_n(good.begin(), size, expected.begin());
        EXPECT_EQ(sample.memory, expected);
    }
    FakeSample larger(20);
    EXPECT_EQ(source.ReadFrameIntoSample(&larger, 1), 0);
    EXPECT_EQ(larger.length, 8);
    EXPECT_EQ(larger.memory[8], 0xCD);
    larger.size = -1;
    EXPECT_EQ(source.ReadFrameIntoSample(&larger, 1), kFrameUndecodable);
    EXPECT_EQ(larger.length, 0);
}

TEST_F(FrameSourceSample, ResultsOfTheSampleAreHandedOn)
{
    ASSERT_EQ(Load(GreyClip(1, "")), 0);
    FakeSample sample(8);
    sample.lengthResult = -77;
    EXPECT_EQ(source.ReadFrameIntoSample(&sample, 0), -77);
    sample.pointerResult = -5;
    EXPECT_EQ(source.ReadFrameIntoSample(&sample, 0), -5);
    sample.pointerResult = 0;
    sample.withPointer = false;
    EXPECT_LT(source.ReadFrameIntoSample(&sample, 0), 0);
    EXPECT_LT(source.ReadFrameIntoSample(nullptr, 0), 0);
}

TEST_F(FrameSourceSample, NothingLoadedGivesEmptySamples)
{
    FakeSample sample(8);
    EXPECT_EQ(source.ReadFrameIntoSample(&sample, 0), kFrameUndecodable);
    EXPECT_EQ(sample.length, 0);
}

TEST_F(FrameSourceSample, FileThatShrinksWhileItPlays)
{
    const DicomBuilder clip = GreyClip(2, "2");
    ASSERT_EQ(Load(clip), 0);
    const ByteVector whole = clip.Bytes();
    EXPECT_EQ(ReadFrame(0), GreyClipSample(0));
    LastFile().Rewrite(ByteVector(whole.begin(), whole.begin() + 200));
    FakeSample sample(8);
    source.ReadFrameIntoSample(&sample, 1);
    EXPECT_EQ(sample.length, 8);
    LastFile().Rewrite(whole);
    EXPECT_EQ(ReadFrame(1), GreyClipSample(1));
}

TEST_F(FrameSourceDataSet, FramesOfALentDataSetAreUndecodable)
{
    const TemporaryFile file(GreyClip(2, "2").Ds(0x00181063, "5").Bytes());
    FrameTimeline otherTimeline;
    FrameSource other(&otherTimeline);
    ASSERT_EQ(other.Load(WideFromNarrow(file.Path()).c_str(), false), 0);
    EXPECT_EQ(source.SetDicomDS(other.dataSet, false, true), 1);
    EXPECT_EQ(source.dataSetBound, false);
    for (const bool copy : {false, true}) {
        ASSERT_EQ(source.SetDicomDS(other.dataSet, copy, false), 0);
        EXPECT_TRUE(source.dataSetBound);
        EXPECT_EQ(source.dataSetCopied, copy);
        EXPECT_EQ(source.dataSet == other.dataSet, !copy);
        EXPECT_EQ(source.pixelDataElement, nullptr);
        EXPECT_EQ(source.width, 3);
        EXPECT_EQ(source.imageFlags, 0u);    // not touched
        EXPECT_EQ(source.frameTime, 50000);  // not clamped
        EXPECT_EQ(timeline.frameTimeUnits, 50000);
        EXPECT_EQ(timeline.frameCount, copy ? 2 : 1);  // of the data set held before
        EXPECT_EQ(ReadFrame(0, kFrameUndecodable), ByteVector(8, 0));
        EXPECT_EQ(source.fileName, "");
    }
    EXPECT_EQ(Load(file.Path()), 1);  // for good
    EXPECT_TRUE(notices.empty());
    source.RecomputeFrameTime();
    EXPECT_EQ(timeline.frameTimeUnits, 166666);
    EXPECT_EQ(source.SetDicomDS(nullptr, false, false), 0);
    EXPECT_EQ(Load(file.Path()), 0);
}

TEST_F(FrameSourceDataSet, FrameTimeDefaultsToFortyMilliseconds)
{
    const TemporaryFile file(GreyClip(1, "").Bytes());
    FrameTimeline otherTimeline;
    FrameSource other(&otherTimeline);
    ASSERT_EQ(other.Load(WideFromNarrow(file.Path()).c_str(), false), 0);
    PutSettings(&timeline, {500, 1, 0});
    ASSERT_EQ(source.SetDicomDS(other.dataSet, true, false), 0);
    EXPECT_EQ(source.frameTime, 400000);
}

TEST_F(FrameSourceDataSet, DroppedDataSetOutlivesTheReset)
{
    ASSERT_EQ(Load(GreyClip(1, "")), 0);
    DicomDataSet* first = source.dataSet;
    EXPECT_EQ(source.SetDicomDS(nullptr, true, false), 0);
    EXPECT_NE(source.dataSet, first);
    EXPECT_EQ(first->magic, DicomDataSet::kMagic);
    EXPECT_EQ(source.pixelDataElement, nullptr);
    ReadFrame(0, kFrameUndecodable);
    EXPECT_EQ(source.SetDicomDS(first, false, false), 0);  // lent back to its maker
    EXPECT_EQ(source.SetDicomDS(first, false, false), 0);
    EXPECT_EQ(source.SetDicomDS(first, true, false), 0);
    EXPECT_EQ(source.SetDicomDS(nullptr, false, false), 0);
}

TEST_F(FrameSourceDataSet, OwnDataSetHandedBackStaysAlive)
{
    ASSERT_EQ(Load(GreyClip(1, "")), 0);
    DicomDataSet* own = source.dataSet;
    EXPECT_EQ(source.SetDicomDS(own, false, false), 0);
    EXPECT_EQ(source.dataSet, own);
    EXPECT_EQ(own->magic, DicomDataSet::kMagic);
    EXPECT_NE(own->FindFirstElement(nullptr, kTagPixelData, true), nullptr);
}

TEST_F(FrameSourceDataSet, WrongObjectsAndEmptyDataSetsAreRefused)
{
    DicomDataSet wrong;
    wrong.magic = 1;
    EXPECT_EQ(source.SetDicomDS(&wrong, false, false), 1);
    EXPECT_TRUE(notices.empty());
    DicomDataSet empty;
    EXPECT_EQ(source.SetDicomDS(&empty, false, false), 1);
    EXPECT_EQ(notices, std::vector<std::string>{"No pixel data available in this Dicom file"});
    EXPECT_FALSE(source.dataSetBound);
}
}  // namespace
}  // namespace talv
