#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "tests/support/dicom_builder.h"
#include "tests/tools/tool_fixture.h"

namespace talv {
namespace {
using nlohmann::json;

/// A frame's pixels as red, green and blue, from the rows and the palette that --raw writes.
std::vector<uint8_t> RgbFromRaw(const json& info, const ByteVector& raw, const ByteVector& palette)
{
    std::vector<uint8_t> rgb;
    const size_t stride = info["bytesPerLine"], columns = info["columns"], rows = info["rows"];
    const int bits = info["bitsPerPixel"];
    for (size_t y = 0; y < rows; ++y)
        for (size_t x = 0; x < columns; ++x) {
            const uint8_t* row = &raw[y * stride];
            if (bits == 24) {
                rgb.insert(rgb.end(), {row[3 * x + 2], row[3 * x + 1], row[3 * x]});
                continue;
            }
            const size_t index = bits == 1 ? row[x / 8] >> (7 - x % 8) & 1 : row[x];
            rgb.insert(rgb.end(),
                       {palette.at(4 * index + 2), palette.at(4 * index + 1), palette.at(4 * index)});
        }
    return rgb;
}

TEST(TalvdicomFrames, PicturesShowTheRawRowsThroughThePalette)
{
    for (const char* name : {"le-palette.dcm", "le-1bit.dcm", "le-rgb-planar.dcm", "le-rgb-3x3.dcm",
                             "rle-rgb-2f.dcm", "rle-palette.dcm"}) {
        SCOPED_TRACE(name);
        const ScratchFolder folder;
        const json info = InfoOf(Sample(name));
        ASSERT_EQ(RunTool({"frames", Sample(name), "--out", folder.Path("png")}).status, 0);
        ASSERT_EQ(RunTool({"frames", Sample(name), "--out", folder.Path("raw"), "--raw"}).status, 0);
        const int64_t frames = info["frames"];
        for (int64_t frame = 0; frame < frames; ++frame) {
            const std::string base = "frame-0000" + std::to_string(frame);
            const std::string picture = "frame-0000" + std::to_string(frame + 1);
            const ByteVector raw = ReadWholeFile(folder.Path("raw/" + base + ".raw"));
            const ByteVector palette = ReadWholeFile(folder.Path("raw/" + base + ".pal"));
            ASSERT_EQ(raw.size(), info["bytesPerLine"].get<size_t>() * info["rows"].get<size_t>());
            const size_t bits = info["bitsPerPixel"];
            EXPECT_EQ(palette.size(), bits <= 8 ? size_t{4} << bits : 0);
            const PngImage png = ReadPng(folder.Path("png/" + picture + ".png"));
            EXPECT_EQ(png.width, info["columns"]);
            EXPECT_EQ(png.height, info["rows"]);
            EXPECT_EQ(png.bitDepth, bits == 1 ? 1 : 8);
            EXPECT_EQ(png.rgb, RgbFromRaw(info, raw, palette));
        }
    }
}

/// The window function of PS3.3 C.11.2.1.2.1 onto 0..255.
double WindowLevel(double value, double center, double width)
{
    if (value <= center - 0.5 - (width - 1) / 2) return 0;
    if (value > center - 0.5 + (width - 1) / 2) return 255;
    return ((value - (center - 0.5)) / (width - 1) + 0.5) * 255;
}

/// A clip of signed 16-bit values -2, 0, 100, 300 and 10, 20, 30, 600 in four columns; rescale 2 v - 10.
ByteVector DeepClip(bool withWindow)
{
    const ImageAttributes image{.rows = 1,
                                .columns = 4,
                                .bitsAllocated = 16,
                                .bitsStored = 16,
                                .highBit = 15,
                                .pixelRepresentation = 1,
                                .numberOfFrames = "2"};
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    if (withWindow) builder.Ds(0x00281050, "190").Ds(0x00281051, "401");
    builder.Ds(0x00281052, "-10").Ds(0x00281053, "2").Ow(0x7FE00010, {0xFFFE, 0, 100, 300, 10, 20, 30, 600});
    return builder.Bytes();
}

TEST(TalvdicomFrames, OneWindowHoldsForTheWholeClip)
{
    const double rescaled[2][4] = {{-14, -10, 190, 590}, {10, 30, 50, 1190}};
    const struct
    {
        const char* rule;
        bool withWindow;
        double center, width;
    } cases[] = {
        {"auto", true, 190, 401},
        {"auto", false, (590 - 14) / 2.0 + 0.5, 605},  // the range of the first frame
        {"file", true, 190, 401},
        {"minmax", true, (1190 - 14) / 2.0 + 0.5, 1205},
        {"minmax", false, (1190 - 14) / 2.0 + 0.5, 1205},
        {"100,250", true, 100, 250},
        {"-5.5,30", false, -5.5, 30},
        {"50,1", false, 50, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule);
        const TemporaryFile file(DeepClip(c.withWindow));
        const ScratchFolder folder;
        ASSERT_EQ(RunTool({"frames", file.Path(), "--out", folder.Path("8"), "--window", c.rule}).status, 0);
        ASSERT_EQ(RunTool({"frames", file.Path(), "--out", folder.Path("16"), "--16bit", "--window", c.rule})
                      .status,
                  0);
        for (size_t frame = 0; frame < 2; ++frame) {
            const std::string name = "/frame-0000" + std::to_string(frame + 1) + ".png";
            const PngImage bytes = ReadPng(folder.Path("8" + name)),
                           words = ReadPng(folder.Path("16" + name));
            ASSERT_EQ(bytes.bitDepth, 8);
            ASSERT_EQ(words.bitDepth, 16);
            for (size_t i = 0; i < 4; ++i) {
                const double level = WindowLevel(rescaled[frame][i], c.center, c.width);
                EXPECT_NEAR(bytes.rgb[3 * i], level, 1.0) << frame << " " << i;
                EXPECT_NEAR(words.grey[i], level * 257, 1.0) << frame << " " << i;
            }
        }
    }
    const TemporaryFile plain(DeepClip(false));
    const ScratchFolder folder;
    ExpectRefusal(RunTool({"frames", plain.Path(), "--out", folder.Path(), "--window", "file"}),
                  plain.Path());
    ASSERT_EQ(RunTool({"frames", plain.Path(), "--out", folder.Path(), "--16bit", "--window", "none"}).status,
              0);
    EXPECT_EQ(ReadPng(folder.Path("frame-00001.png")).grey,
              (std::vector<uint16_t>{0x7FFE, 0x8000, 0x8064, 0x812C}));
}

TEST(TalvdicomFrames, AFramesOwnRescaleCounts)
{
    // Both frames hold 10 and 20; rescaled they are 10 and 20, and 110 and 120.
    const ImageAttributes image{
        .rows = 1, .columns = 2, .bitsAllocated = 16, .bitsStored = 16, .highBit = 15, .numberOfFrames = "2"};
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    builder.BeginSequence(0x52009230);
    for (const char* intercept : {"0", "100"})
        builder.BeginItem()
            .BeginSequence(0x00289145)
            .BeginItem()
            .Ds(0x00281052, intercept)
            .Ds(0x00281053, "1")
            .EndItem()
            .EndSequence()
            .EndItem();
    builder.EndSequence().Ow(0x7FE00010, {10, 20, 10, 20});
    const TemporaryFile file(builder.Bytes());
    const struct
    {
        const char* rule;
        double center, width;
    } cases[] = {{"65.5,131", 65.5, 131}, {"minmax", 65.5, 111}, {"auto", 15.5, 11}};
    for (const auto& c : cases) {
        const ScratchFolder folder;
        ASSERT_EQ(
            RunTool({"frames", file.Path(), "--out", folder.Path(), "--16bit", "--window", c.rule}).status,
            0);
        const double values[2][2] = {{10, 20}, {110, 120}};
        for (size_t frame = 0; frame < 2; ++frame)
            for (size_t i = 0; i < 2; ++i)
                EXPECT_NEAR(ReadPng(folder.Path("frame-0000" + std::to_string(frame + 1) + ".png")).grey[i],
                            WindowLevel(values[frame][i], c.center, c.width) * 257, 1.0)
                    << c.rule << " " << frame << " " << i;
    }
}

TEST(TalvdicomFrames, EightBitGreyIsShownAsItIsMeant)
{
    const struct
    {
        const char *photometric, *rule;
        bool isSigned;
        std::vector<uint8_t> levels;  // of the stored bytes 10, 110, 210
    } cases[] = {
        {"MONOCHROME2", "auto", false, {10, 110, 210}},
        {"MONOCHROME1", "auto", false, {245, 145, 45}},
        {"MONOCHROME2", "minmax", false, {0, 128, 255}},
        {"MONOCHROME1", "minmax", false, {255, 128, 0}},
        {"MONOCHROME2", "110.5,1", false, {0, 0, 255}},
        {"MONOCHROME2", "minmax", true, {92, 255, 0}},  // 10, 110, -46
    };
    for (const auto& c : cases) {
        const ImageAttributes image{.rows = 1,
                                    .columns = 3,
                                    .pixelRepresentation = static_cast<uint16_t>(c.isSigned ? 1 : 0),
                                    .photometric = c.photometric};
        const TemporaryFile file =
            PreambleFile().ExplicitLittle().Image(image).NativePixels({10, 110, 210}, "OB").Save();
        const ScratchFolder folder;
        ASSERT_EQ(RunTool({"frames", file.Path(), "--out", folder.Path(), "--window", c.rule}).status, 0);
        const PngImage png = ReadPng(folder.Path("frame-00001.png"));
        for (size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(png.rgb[3 * i], c.levels[i], 1) << c.photometric << " " << c.rule << " " << i;
    }
}

TEST(TalvdicomFrames, RunLengthGreyGetsItsByteOrderBackInPictures)
{
    const ScratchFolder folder;
    for (const char* name : {"rle-mr16.dcm", "le-mr-signed16.dcm"}) {
        ASSERT_EQ(RunTool({"frames", Sample(name), "--out", folder.Path(name)}).status, 0);
        ASSERT_EQ(RunTool({"frames", Sample(name), "--out", folder.Path(name), "--raw"}).status, 0);
    }
    const auto read = [&](const char* name, const char* file) {
        return ReadWholeFile(folder.Path(std::string(name) + "/" + file));
    };
    EXPECT_EQ(read("rle-mr16.dcm", "frame-00001.png"), read("le-mr-signed16.dcm", "frame-00001.png"));
    EXPECT_NE(read("rle-mr16.dcm", "frame-00000.raw"), read("le-mr-signed16.dcm", "frame-00000.raw"));
    EXPECT_EQ(RunTool({"stream", "-q", Sample("rle-mr16.dcm")}).out,
              RunTool({"stream", "-q", Sample("le-mr-signed16.dcm")}).out);
}

TEST(TalvdicomFrames, WritesTheChosenFramesWholeOrNotAtAll)
{
    const ScratchFolder folder;
    const std::string clip = Sample("le-mr-10f.dcm");
    using Names = std::vector<std::string>;
    const struct
    {
        std::vector<std::string> options;
        Names names;
    } cases[] = {
        {{"--frames", "3-4,10"}, {"frame-00003.png", "frame-00004.png", "frame-00010.png"}},
        {{"--frames", "9-"}, {"frame-00009.png", "frame-00010.png"}},
        {{"--frames", "2,2,1-2"}, {"frame-00001.png", "frame-00002.png"}},
        {{"--frames", "10-99"}, {"frame-00010.png"}},
        {{"--first", "8"}, {"frame-00009.png", "frame-00010.png"}},
        {{"--first", "2", "--last", "3", "--raw"}, {"frame-00002.raw", "frame-00003.raw"}},
        {{"--frames", "3-4", "--raw"}, {"frame-00002.raw", "frame-00003.raw"}},
    };
    int number = 0;
    for (const auto& c : cases) {
        const std::string out = std::to_string(number++);
        std::vector<std::string> arguments = {"frames", clip, "--out", folder.Path(out)};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        EXPECT_EQ(RunTool(arguments).status, 0);
        Names names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path(out)))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names, c.names);

        // What is there is written over only when asked for.
        const std::string first = folder.Path(out + "/" + c.names[0]);
        std::filesystem::resize_file(first, 0);
        ExpectRefusal(RunTool(arguments), clip);
        EXPECT_TRUE(std::filesystem::is_empty(first));
        arguments.push_back("-y");
        EXPECT_EQ(RunTool(arguments).status, 0);
        EXPECT_FALSE(std::filesystem::is_empty(first));
    }
    ExpectRefusal(RunTool({"frames", clip, "--out", folder.Path("h"), "--first", "10"}), clip);
    ExpectRefusal(RunTool({"frames", clip, "--out", folder.Path("h"), "--frames", "11"}), clip);
    ExpectRefusal(RunTool({"frames", clip, "--out", clip + "/inside-a-file"}), clip);
    std::filesystem::create_directories(folder.Path("k/frame-00001.png/taken"));
    ExpectRefusal(RunTool({"frames", clip, "--out", folder.Path("k"), "-y"}), clip);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("k")), {}), 1);
}
}  // namespace
}  // namespace talv
