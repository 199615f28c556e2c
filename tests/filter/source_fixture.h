#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "filter/frame_source.h"
#include "platform/notice.h"
#include "platform/text.h"
#include "tests/support/dicom_builder.h"

namespace talv {
/// A sample over memory of the test, a byte more than it says, which begins as 0xCD so that bytes left alone
/// show.
class FakeSample : public SampleBuffer
{
  public:
    explicit FakeSample(int64_t bytes) : memory(static_cast<size_t>(bytes) + 1, 0xCD), size(bytes) {}

    int32_t GetPointer(uint8_t** buffer) override
    {
        *buffer = withPointer ? memory.data() : nullptr;
        return pointerResult;
    }
    int64_t GetSize() override { return size; }
    int32_t SetActualDataLength(int64_t newLength) override
    {
        length = newLength;
        return lengthResult;
    }

    ByteVector memory;
    int64_t size;
    int64_t length = -1;  ///< as announced; -1 when never
    bool withPointer = true;
    int32_t pointerResult = 0, lengthResult = 0;
};

/// A frame source, its timeline, and what it told the user.
class SourceTest : public testing::Test
{
  protected:
    SourceTest() { SetNoticeSink(&SourceTest::Record, this); }
    ~SourceTest() override { SetNoticeSink(nullptr, nullptr); }

    int32_t Load(const std::string& path) { return source.Load(WideFromNarrow(path).c_str(), false); }
    int32_t Load(const DicomBuilder& builder)
    {
        files_.push_back(std::make_unique<TemporaryFile>(builder.Bytes()));
        return Load(files_.back()->Path());
    }
    const TemporaryFile& LastFile() const { return *files_.back(); }

    /// Frame `index` as a sample holds it; checks the result and the announced length.
    ByteVector ReadFrame(int64_t index, int32_t expectedResult = 0)
    {
        FakeSample sample(source.SampleSize());
        EXPECT_EQ(source.ReadFrameIntoSample(&sample, index), expectedResult) << "frame " << index;
        EXPECT_EQ(sample.length, source.SampleSize());
        EXPECT_EQ(sample.memory.back(), 0xCD);
        sample.memory.pop_back();
        return sample.memory;
    }

    std::vector<std::unique_ptr<TemporaryFile>> files_;  // outlive the source, which keeps one open
    FrameTimeline timeline;
    FrameSource source{&timeline};
    std::vector<std::string> notices;

  private:
    static void Record(const char* text, const char* title, uint32_t style, void* context)
    {
        static_cast<SourceTest*>(context)->notices.emplace_back(text);
        EXPECT_STREQ(title, "Talv DICOM Reader (2.0) Error");
        EXPECT_EQ(style, 0x2030u);
    }
};

/// `frames` grey frames of 3 x 2 pixels of 8 bits; pixel p (from 0, row by row) of frame f is 10 * f + p + 1.
inline DicomBuilder GreyClip(int frames, const std::string& numberOfFrames,
                             const std::string& photometric = "MONOCHROME2")
{
    ByteWriter pixels;
    for (int frame = 0; frame < frames; ++frame)
        for (int pixel = 1; pixel <= 6; ++pixel) pixels.U8(static_cast<uint32_t>(10 * frame + pixel));
    ImageAttributes image{
        .rows = 2, .columns = 3, .photometric = photometric, .numberOfFrames = numberOfFrames};
    return PreambleFile().ExplicitLittle().Image(image).NativePixels(pixels, "OB");
}

/// That frame bottom-up, rows padded to 4 bytes.
inline ByteVector GreyClipSample(int frame)
{
    ByteWriter sample;
    for (const int first : {4, 1})
        for (int pixel = first; pixel < first + 4; ++pixel)
            sample.U8(pixel < first + 3 ? static_cast<uint32_t>(10 * frame + pixel) : 0);
    return sample;
}
}  // namespace talv
