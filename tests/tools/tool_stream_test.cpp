#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/dicom_builder.h"
#include "tests/tools/tool_fixture.h"

namespace talv {
namespace {
using nlohmann::json;

TEST(TalvdicomStream, HeaderAndFramesHaveTheSizesTheyAnnounce)
{
    const json info = InfoOf(Sample("le-mr-10f.dcm"));
    const ToolRun grey = RunTool({"stream", Sample("le-mr-10f.dcm")});
    const size_t pixels = info["columns"].get<size_t>() * info["rows"].get<size_t>();
    const size_t header = grey.out.find('\n') + 1;
    EXPECT_EQ(grey.out.size(), header + 10 * (6 + pixels));
    EXPECT_EQ(grey.out.rfind("YUV4MPEG2 W", 0), 0u);
    EXPECT_NE(grey.out.find(" Cmono "), std::string::npos);
    EXPECT_EQ(grey.out.compare(header + 6 + pixels, 6, "FRAME\n"), 0);
    long long rate = 0, scale = 0;
    ASSERT_EQ(std::sscanf(grey.out.c_str() + grey.out.find(" F"), " F%lld:%lld", &rate, &scale), 2);
    EXPECT_EQ(rate * info["frameTimeUnits"].get<long long>(), scale * 10000000);

    // White, black and the three primaries of light, BT.601 in 8 bits.
    const ImageAttributes image{.rows = 1, .columns = 5, .samplesPerPixel = 3, .photometric = "RGB"};
    const TemporaryFile file =
        PreambleFile()
            .ExplicitLittle()
            .Image(image)
            .NativePixels({255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255}, "OB")
            .Save();
    const ToolRun colour = RunTool({"stream", file.Path()});
    const std::string planes = colour.out.substr(colour.out.find("FRAME\n") + 6);
    ASSERT_EQ(planes.size(), 15u);
    const uint8_t expected[15] = {235, 16, 81, 145, 41, 128, 128, 90, 54, 240, 128, 128, 240, 34, 110};
    for (size_t i = 0; i < 15; ++i) EXPECT_NEAR(uint8_t(planes[i]), expected[i], 1) << i;
}

/// Three 2 x 1 frames of the grey levels 10 20, 30 40, 50 60.
TemporaryFile GreyClip()
{
    const ImageAttributes image{.rows = 1, .columns = 2, .numberOfFrames = "3"};
    return PreambleFile()
        .ExplicitLittle()
        .Ds(0x00181063, "20")
        .Image(image)
        .NativePixels({10, 20, 30, 40, 50, 60}, "OB")
        .Save();
}

TEST(TalvdicomStream, FormatsLoopsAndSweepsInTheirOrder)
{
    const TemporaryFile file = GreyClip();
    const struct
    {
        std::vector<std::string> options;
        std::vector<int> bytes;
    } cases[] = {
        {{"--format", "gray"}, {10, 20, 30, 40, 50, 60}},
        {{"--format", "gray", "--frames", "3,1"}, {50, 60, 10, 20}},
        {{"--format", "gray", "--sweep"}, {10, 20, 30, 40, 50, 60, 30, 40}},
        {{"--format", "gray", "--loop", "2", "--frames", "2-3"}, {30, 40, 50, 60, 30, 40, 50, 60}},
        {{"--format", "gray", "--loop", "2", "--sweep"},
         {10, 20, 30, 40, 50, 60, 30, 40, 10, 20, 30, 40, 50, 60, 30, 40}},
        {{"--format", "rgb24", "--frames", "1"}, {10, 10, 10, 20, 20, 20}},
        {{"--format", "gray16le", "--frames", "1"}, {10, 10, 20, 20}},
        {{"--format", "gray", "--window", "35.5,51"}, {0, 51, 102, 153, 204, 255}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = {"stream", file.Path(), "-q", "--max-speed"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const ToolRun run = RunTool(arguments);
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(std::vector<int>(reinterpret_cast<const uint8_t*>(run.out.data()),
                                   reinterpret_cast<const uint8_t*>(run.out.data()) + run.out.size()),
                  c.bytes)
            << testing::PrintToString(c.options);
    }
    const std::string colour = Sample("rle-rgb-2f.dcm");
    const std::string rgb = RunTool({"stream", colour, "-q", "--format", "rgb24"}).out;
    std::string swapped = RunTool({"stream", colour, "-q", "--format", "bgr24"}).out;
    for (size_t i = 0; i + 2 < swapped.size(); i += 3) std::swap(swapped[i], swapped[i + 2]);
    EXPECT_EQ(rgb.size(), 2u * 100 * 100 * 3);
    EXPECT_EQ(rgb, swapped);
}

/// The lines on standard error are run as they are printed; the independent decoder must see the frames.
TEST(TalvdicomStream, PrintedLinesWorkAsTheyStand)
{
    const TemporaryFile file = GreyClip();
    for (const char* format : {"y4m", "gray", "gray16le", "bgr24", "rgb24"}) {
        const ToolRun run = RunTool({"stream", file.Path(), "--format", format, "--loop", "2"});
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 3) << run.err;
        std::string line = run.err.substr(run.err.rfind("talvdicom stream"));
        ASSERT_TRUE(Contains(line, " | ffmpeg ")) << line;
        if (!HasProgram("ffmpeg")) continue;
        line.replace(0, std::string("talvdicom stream").size(), "\"$tool\" stream -q");
        line.replace(line.find("-pix_fmt yuv420p clip.mp4"), std::string::npos,
                     "-loglevel error -pix_fmt rgb24 -f rawvideo -");
        line.replace(line.find(" -vf "), line.find(" -loglevel") - line.find(" -vf "), "");
        const ToolRun decoded = RunShell(line);
        EXPECT_EQ(decoded.err, "") << line;
        ASSERT_EQ(decoded.out.size(), 2u * 3 * 2 * 3) << line;
        for (size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(uint8_t(decoded.out[3 * i]), 10 + 10 * static_cast<int>(i), 1) << format;
    }
}

TEST(TalvdicomBench, PrintsItsFigures)
{
    const ToolRun run = RunTool({"bench", Sample("le-mr-10f.dcm"), "--json"});
    const json figures = json::parse(run.out);
    const json info = InfoOf(Sample("le-mr-10f.dcm"));
    EXPECT_EQ(figures["frames"], 10);
    EXPECT_EQ(figures["bytesPerFrame"], info["bytesPerLine"].get<int>() * info["rows"].get<int>());
    EXPECT_GT(figures["openMs"], 0);
    EXPECT_GT(figures["frameMsMedian"], 0);
    EXPECT_GE(figures["frameMsP99"], figures["frameMsMedian"]);
    EXPECT_EQ(figures["undecodableFrames"], 0);
}
}  // namespace
}  // namespace talv
