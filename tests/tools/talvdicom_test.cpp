#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/support/dicom_builder.h"
#include "tests/tools/tool_runner.h"

namespace talv {
namespace {
using nlohmann::json;

std::string Sample(const std::string& name)
{
    return TALV_TEST_DATA "/samples/" + name;
}

json SampleFacts()
{
    const ByteVector text = ReadWholeFile(Sample("samples.json"));
    return json::parse(text.begin(), text.end())["files"];
}

json InfoOf(const std::string& file)
{
    const ToolRun run = RunTool({"info", file, "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "") << file;
    return json::parse(run.out, nullptr, false);
}

/// A refusal is status 1, nothing on standard output and one line on standard error.
void ExpectRefusal(const ToolRun& run, const std::string& file)
{
    EXPECT_EQ(run.status, 1) << file;
    EXPECT_EQ(run.out, "") << file;
    EXPECT_EQ(run.err.rfind("talvdicom: " + file + ": ", 0), 0u) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

bool RefusedForWantOfACodec(const ToolRun& run)
{
    return run.status == 1 && run.err.find(": this build has no decoder for ") != std::string::npos;
}

TEST(TalvdicomInfo, TellsTheFactsOfEverySample)
{
    const json samples = SampleFacts();
    int compared = 0;
    for (const auto& [name, facts] : samples.items()) {
        if (facts["outcome"] != "ok") continue;
        SCOPED_TRACE(name);
        const json& expected = facts["expected"];
        const ToolRun run = RunTool({"info", Sample(name), "--json"});
        // Without their decoder, JPEG and JPEG 2000 are refused; native and run-length files never are.
        if (expected["compression"] >= 2 && RefusedForWantOfACodec(run)) continue;
        ASSERT_EQ(run.status, 0) << run.err;
        const json info = json::parse(run.out);
        ++compared;
        for (const auto& [field, value] : expected.items()) {
            if (value != "from the pixel range") {
                EXPECT_EQ(info[field], value) << field;
            } else if (field == "windowWidth") {
                EXPECT_EQ(info[field], info["maxValue"].get<int>() - info["minValue"].get<int>());
            }
        }
        EXPECT_EQ(info["columns"], facts["columns"]);
        EXPECT_EQ(info["rows"], facts["rows"]);
        EXPECT_EQ(info["transferSyntax"], facts["transferSyntax"]);
        EXPECT_EQ(info["photometric"], facts["photometric"]);
        EXPECT_EQ(info["mpeg2"], false);
        EXPECT_EQ(RunTool({"info", Sample(name)}).status, 0);
    }
    EXPECT_GE(compared, 18);
}

TEST(TalvdicomInfo, AnMpeg2StreamIsDescribedButHasNoFramesToDecode)
{
    const json info = InfoOf(Sample("mpeg2-generated.dcm"));
    const json facts = SampleFacts()["mpeg2-generated.dcm"];
    EXPECT_EQ(info["mpeg2"], true);
    EXPECT_EQ(info["compression"], 8);
    EXPECT_EQ(info["columns"], facts["columns"]);
    EXPECT_EQ(info["rows"], facts["rows"]);
    ExpectRefusal(RunTool({"stream", Sample("mpeg2-generated.dcm")}), Sample("mpeg2-generated.dcm"));
}

TEST(Talvdicom, RefusesInOneLine)
{
    const json samples = SampleFacts();
    const ScratchFolder folder;
    int refused = 0;
    for (const auto& [name, facts] : samples.items()) {
        if (facts["outcome"] != "refuse") continue;
        ++refused;
        for (const char* command : {"info", "stream", "bench"})
            ExpectRefusal(RunTool({command, Sample(name)}), Sample(name));
        ExpectRefusal(RunTool({"frames", Sample(name), "--out", folder.Path("frames")}), Sample(name));
    }
    EXPECT_GE(refused, 4);
    for (const std::string& name :
         {folder.Path("missing.dcm"), folder.Path(), folder.Path(std::string(300, 'x'))})
        for (const char* command : {"info", "dump"}) ExpectRefusal(RunTool({command, name}), name);
    EXPECT_TRUE(folder.Names().empty());
}

TEST(Talvdicom, WrongUsageIsStatusTwo)
{
    const std::string file = Sample("le-rgb-3x3.dcm");
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"play", file},
        {"info"},
        {"info", file, file},
        {"info", file, "--jason"},
        {"frames", file},
        {"frames", file, "--out", "x", "--first", "-1"},
        {"frames", file, "--out", "x", "--last", "two"},
        {"frames", file, "--out", "x", "--first", "3", "--last", "2"},
    };
    for (const auto& arguments : wrong) {
        const ToolRun run = RunTool(arguments);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments) << run.err;
        EXPECT_EQ(run.err.rfind("talvdicom: ", 0), 0u) << run.err;
    }
    EXPECT_EQ(RunTool({"--help"}).status, 0);
    EXPECT_EQ(RunTool({"--version"}).status, 0);
}

// --- damaged files
// ---------------------------------------------------------------------------------------------------

void ExpectNoCrash(const std::string& file, const std::string& what)
{
    const ScratchFolder folder;
    const std::vector<std::vector<std::string>> runs = {
        {"info", file}, {"dump", file}, {"frames", file, "--out", folder.Path("f"), "--last", "1"}};
    for (const auto& arguments : runs) {
        const ToolRun run = RunTool(arguments);
        EXPECT_TRUE(run.status == 0 || run.status == 1) << arguments[0] << " of " << what << ": " << run.err;
        if (run.status == 1) {
            EXPECT_EQ(run.err.rfind("talvdicom: " + file + ": ", 0), 0u) << what << ": " << run.err;
        }
    }
}

TEST(TalvdicomDamage, CutFilesAreReadOrRefused)
{
    for (const char* name :
         {"le-palette.dcm", "rle-rgb-2f.dcm", "implicit-dose32-15f.dcm", "j2k-us-fragments.dcm"}) {
        const ByteVector whole = ReadWholeFile(Sample(name));
        ASSERT_FALSE(whole.empty());
        for (size_t cut : {0ul, 1ul, 131ul, 132ul, 135ul, 140ul, 300ul, 700ul, 1300ul, 2000ul,
                           whole.size() / 2, whole.size() - 9, whole.size() - 1}) {
            const TemporaryFile file(ByteVector(whole.begin(), whole.begin() + std::min(cut, whole.size())));
            ExpectNoCrash(file.Path(), std::string(name) + " cut at " + std::to_string(cut));
        }
    }
}

TEST(TalvdicomDamage, RandomBytesAreReadOrRefused)
{
    uint32_t state = 0x2545F491;
    for (int round = 0; round < 12; ++round) {
        ByteVector bytes(132 + 400 * round);
        for (uint8_t& byte : bytes) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(state >> 24);
        }
        if (round % 2 == 1) std::copy_n("DICM", 4, bytes.begin() + 128);
        ExpectNoCrash(TemporaryFile(bytes).Path(), "round " + std::to_string(round));
    }
}

TEST(TalvdicomDamage, AFrameCountBeyondTheDataCostsNoTime)
{
    ImageAttributes image{.rows = 2, .columns = 2};
    image.numberOfFrames = "2147483647";
    const TemporaryFile file =
        PreambleFile().ExplicitLittle().Image(image).NativePixels({1, 2, 3, 4, 5, 6, 7, 8}, "OB").Save();
    EXPECT_EQ(InfoOf(file.Path())["frames"], 2147483647);
    const ToolRun run = RunTool({"bench", file.Path(), "--json"});
    EXPECT_EQ(json::parse(run.out)["frames"], 2);
}

// --- dump
// ------------------------------------------------------------------------------------------------------------

TEST(TalvdicomDump, ShowsNestingPrivateElementsAndNoControlCharacters)
{
    const TemporaryFile file = PreambleFile()
                                   .ExplicitLittle()
                                   .Lo(0x00080070, "evil\x1b[31m")
                                   .BeginSequence(0x00081140)
                                   .BeginItem()
                                   .Ui(0x00081155, "1.2.3")
                                   .EndItem()
                                   .EndSequence()
                                   .Lo(0x00090010, "ACME")
                                   .Un(0x00091001, {1, 2})
                                   .Us(0x00280010, 2)
                                   .Value(0x7FE00010, "OB", ByteVector(100000, 0xAB))
                                   .Save();
    const ToolRun run = RunTool({"dump", file.Path()});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto has = [&](const char* text) { return run.out.find(text) != std::string::npos; };
    EXPECT_TRUE(has("evil.[31m"));
    EXPECT_TRUE(has("\n  (FFFE,E000)"));
    EXPECT_TRUE(has("\n    (0008,1155) UI        6  "));
    EXPECT_TRUE(has("\n(0009,0010) LO        4  Private Creator "));
    EXPECT_TRUE(has("\n(0009,1001) UN        2  Private Element                   01 02\n"));
    EXPECT_TRUE(has("AB AB ...\n"));
    EXPECT_LT(run.out.size(), 4000u);
}

// --- frames
// ----------------------------------------------------------------------------------------------------------

struct PngImage
{
    uint32_t width = 0, height = 0;
    int bitDepth = 0;
    std::vector<uint8_t> rgb;
};

/// Reads with the public library, as red, green and blue.
PngImage ReadPng(const std::string& path)
{
    PngImage image;
    const ByteVector bytes = ReadWholeFile(path);
    png_image reader = {};
    reader.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&reader, path.c_str())) << reader.message;
    reader.format = PNG_FORMAT_RGB;
    image.rgb.resize(PNG_IMAGE_SIZE(reader));
    EXPECT_TRUE(png_image_finish_read(&reader, nullptr, image.rgb.data(), 0, nullptr)) << reader.message;
    image.width = reader.width;
    image.height = reader.height;
    image.bitDepth = bytes.size() > 24 ? bytes[24] : 0;
    return image;
}

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
            const ByteVector raw = ReadWholeFile(folder.Path("raw/" + base + ".raw"));
            const ByteVector palette = ReadWholeFile(folder.Path("raw/" + base + ".pal"));
            ASSERT_EQ(raw.size(), info["bytesPerLine"].get<size_t>() * info["rows"].get<size_t>());
            const size_t bits = info["bitsPerPixel"];
            EXPECT_EQ(palette.size(), bits <= 8 ? size_t{4} << bits : 0);
            const PngImage png = ReadPng(folder.Path("png/" + base + ".png"));
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

TEST(TalvdicomFrames, DeepGreyGoesThroughRescaleAndWindow)
{
    // Signed 16-bit values -2, 0, 100, 300; rescale 2 v - 10; window 190 / 401 spans -10 to 390.
    const ImageAttributes image{.rows = 1,
                                .columns = 4,
                                .bitsAllocated = 16,
                                .bitsStored = 16,
                                .highBit = 15,
                                .pixelRepresentation = 1};
    const auto withWindow = [&](const char* center, const char* width) {
        DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
        if (center != nullptr) builder.Ds(0x00281050, center).Ds(0x00281051, width);
        builder.Ds(0x00281052, "-10").Ds(0x00281053, "2").Ow(0x7FE00010, {0xFFFE, 0, 100, 300});
        return builder.Bytes();
    };
    const auto levels = [&](const ByteVector& bytes) {
        const TemporaryFile file(bytes);
        const ScratchFolder folder;
        EXPECT_EQ(RunTool({"frames", file.Path(), "--out", folder.Path()}).status, 0);
        return ReadPng(folder.Path("frame-00000.png")).rgb;
    };
    const double rescaled[] = {-14, -10, 190, 590};
    const auto expectLevels = [&](const std::vector<uint8_t>& rgb, double center, double width) {
        ASSERT_EQ(rgb.size(), 12u);
        for (size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(rgb[3 * i], WindowLevel(rescaled[i], center, width), 1.0) << "pixel " << i;
    };
    expectLevels(levels(withWindow("190", "401")), 190, 401);
    expectLevels(levels(withWindow(nullptr, nullptr)), (590 - 14) / 2.0 + 0.5,
                 605);  // over the range of the frame
}

TEST(TalvdicomFrames, WritesTheChosenFramesWholeOrNotAtAll)
{
    const ScratchFolder folder;
    const std::string clip = Sample("le-mr-10f.dcm");
    ASSERT_EQ(RunTool({"frames", clip, "--out", folder.Path("f"), "--first", "8"}).status, 0);
    ASSERT_EQ(
        RunTool({"frames", clip, "--out", folder.Path("g"), "--first", "2", "--last", "3", "--raw"}).status,
        0);
    EXPECT_TRUE(std::filesystem::exists(folder.Path("f/frame-00008.png")));
    EXPECT_TRUE(std::filesystem::exists(folder.Path("f/frame-00009.png")));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("f/frame-00007.png")));
    EXPECT_TRUE(std::filesystem::exists(folder.Path("g/frame-00003.raw")));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("g/frame-00004.raw")));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("g/frame-00003.pal")));

    ExpectRefusal(RunTool({"frames", clip, "--out", folder.Path("h"), "--first", "10"}), clip);
    ExpectRefusal(RunTool({"frames", clip, "--out", clip + "/inside-a-file"}), clip);
    std::filesystem::create_directories(folder.Path("k/frame-00000.png/taken"));
    ExpectRefusal(RunTool({"frames", clip, "--out", folder.Path("k")}), clip);
    EXPECT_FALSE(std::filesystem::exists(folder.Path("k/frame-00000.png.part")));
}

// --- stream and bench
// ------------------------------------------------------------------------------------------------

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

TEST(TalvdicomStream, EndsQuietlyWhenItsReaderDoes)
{
    const ToolRun run = RunShell("{ \"$tool\" stream " + Quoted(Sample("le-palette.dcm")) +
                                 "; echo status $? >&2; } | head -c 10");
    EXPECT_EQ(run.out, "YUV4MPEG2 ");
    EXPECT_EQ(run.err, "status 0\n");
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
