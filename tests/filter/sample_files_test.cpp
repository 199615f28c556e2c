#if __has_include(<nlohmann/json.hpp>)
#include <fstream>
#include <nlohmann/json.hpp>

#include "dicom/reader.h"
#include "tests/filter/source_fixture.h"

// The sample files against the facts recorded beside them.
namespace talv {
namespace {
using nlohmann::json;

const std::string kSamples = TALV_TEST_DATA "/samples/";

class SampleFiles : public SourceTest
{
  protected:
    void Check(const std::string& name, const json& facts)
    {
        SCOPED_TRACE(name);
        const std::string outcome = facts.at("outcome");
        const int32_t result = Load(kSamples + name);
        if (outcome == "refuse") {
            EXPECT_EQ(result, 1);
            EXPECT_EQ(notices.size(), 1u);
            return;
        }
        if (outcome == "either" && result != 0) return;
        if (CodecIsMissing(facts)) {
            EXPECT_EQ(notices, std::vector<std::string>{"Error reading Dicom images"});
            return;
        }
        ASSERT_EQ(result, 0) << (notices.empty() ? "silent" : notices[0]);
        EXPECT_EQ(source.isMpeg2Stream, outcome == "mpeg2");
        if (outcome == "mpeg2")
            EXPECT_GT(source.streamReader.Length(), 0);
        else
            CheckImage(facts.at("expected"));
    }

    /// True for a file whose compression needs a codec that this build does not have.
    bool CodecIsMissing(const json& facts) const
    {
        if (!facts.contains("expected")) return false;
        const int32_t compression = facts.at("expected").at("compression");
        const CodecEntryPoints& codecs = source.dataSet->tables.codecs;
        const bool jpeg = compression == kCompressionJpegLossless || compression == kCompressionJpegLossy;
        const bool j2k = compression == kCompressionJ2kLossless || compression == kCompressionJ2k;
        return (jpeg && codecs.loadBufferCmp == nullptr) || (j2k && codecs.j2kDecompressFrame == nullptr);
    }

    void CheckImage(const json& expected)
    {
        EXPECT_EQ(source.bitsPerPixel, expected.at("bitsPerPixel"));
        EXPECT_EQ(source.SampleSize(), expected.at("bytesPerLine").get<int64_t>() * source.height);
        EXPECT_EQ(source.lowBit, expected.at("lowBit"));
        EXPECT_EQ(source.highBit, expected.at("highBit"));
        EXPECT_EQ(source.imageFlags, expected.at("imageFlags"));
        EXPECT_EQ(source.rescaleIntercept, expected.at("rescaleIntercept"));
        EXPECT_EQ(source.rescaleSlope, expected.at("rescaleSlope"));
        EXPECT_EQ(timeline.frameCount, expected.at("frames"));
        EXPECT_EQ(timeline.frameTimeUnits, expected.at("frameTimeUnits"));
        EXPECT_EQ(timeline.fileFrameTime, expected.at("frameTimeMs"));
        EXPECT_EQ(timeline.fileFrameTimeFound, expected.at("frameTimeFound"));
        EXPECT_EQ(GetTransferSyntaxClass(source.dataSet), expected.at("compression"));
        const bool computed = expected.at("windowWidth").is_string();
        EXPECT_EQ(source.windowWidth, computed ? source.maxPixelValue - source.minPixelValue
                                               : expected.at("windowWidth").get<int32_t>());
        EXPECT_EQ(source.windowCenter, computed ? (source.maxPixelValue + source.minPixelValue) / 2
                                                : expected.at("windowCenter").get<int32_t>());
        for (int64_t frame = 0; frame < timeline.frameCount; ++frame) ReadFrame(frame);
    }
};

TEST_F(SampleFiles, LoadAsTheirFactsSay)
{
    std::ifstream file(kSamples + "samples.json");
    const json samples = json::parse(file);
    for (const auto& [name, facts] : samples.at("files").items()) {
        notices.clear();
        timeline = {};
        Check(name, facts);
    }
}
}  // namespace
}  // namespace talv
#endif
