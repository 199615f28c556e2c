#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/support/dicom_builder.h"
#include "tests/tools/tool_fixture.h"

namespace talv {
namespace {
using nlohmann::json;

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
        EXPECT_GE(info["framesFound"], 1);
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

TEST(TalvdicomDump, FindsByTagAndByName)
{
    const TemporaryFile file = PreambleFile()
                                   .ExplicitLittle()
                                   .BeginSequence(0x00081140)
                                   .BeginItem()
                                   .EndItem()
                                   .BeginItem()
                                   .Ui(0x00081155, "1.2.3")
                                   .EndItem()
                                   .EndSequence()
                                   .Us(0x00280010, 2)
                                   .Ds(0x00281050, "40")
                                   .Ds(0x00281051, "400")
                                   .Save();
    const struct
    {
        const char* find;
        std::vector<const char*> parts;
    } cases[] = {
        {"0028,0010", {"(0028,0010) US "}},
        {"(0028,0010)", {"(0028,0010) US "}},
        {"00280010", {"(0028,0010) US "}},
        {"WindowWidth", {"(0028,1051) DS "}},
        {"window", {"(0028,1050) DS ", "(0028,1051) DS "}},
        {"00081155", {"(0008,1140)[2].(0008,1155) UI "}},
        {"referenced image", {"(0008,1140) SQ ", "  (FFFE,E000) ", "  (FFFE,E000) ", "    (0008,1155) UI "}},
    };
    for (const auto& c : cases) {
        const ToolRun run = RunTool({"dump", file.Path(), "--find", c.find});
        EXPECT_EQ(run.status, 0) << c.find;
        EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), static_cast<int>(c.parts.size()))
            << run.out;
        for (const char* part : c.parts)
            EXPECT_TRUE(Contains("\n" + run.out, "\n" + std::string(part))) << run.out;
        const ToolRun listed = RunTool({"dump", file.Path(), "--json", "--find", c.find});
        EXPECT_TRUE(json::parse(listed.out)[0].contains("path"));
    }
    ExpectRefusal(RunTool({"dump", file.Path(), "--find", "nothing of the kind"}), file.Path());
}

TEST(TalvdicomDump, JsonHoldsTextsInTheFormOfTheFile)
{
    const TemporaryFile file = PreambleFile()
                                   .ExplicitLittle()
                                   .Text(0x00080008, "CS", "ORIGINAL\\\\LOCALIZER")
                                   .Text(0x00080020, "DA", "20040315")
                                   .Text(0x00080030, "TM", "1234 \\080910.50")
                                   .Text(0x00100010, "PN", "Yamada^Tarou==yamada^tarou")
                                   .Text(0x00101010, "AS", "045Y")
                                   .Save();
    const json model = json::parse(RunTool({"dump", "--json", file.Path()}).out);
    const auto values = [&](const char* tag) { return model[tag]["Value"]; };
    EXPECT_EQ(values("00080008"), json({"ORIGINAL", nullptr, "LOCALIZER"}));
    EXPECT_EQ(values("00080020"), json({"20040315"}));
    EXPECT_EQ(values("00080030"), json({"1234", "080910.50"}));
    EXPECT_EQ(values("00100010")[0], json({{"Alphabetic", "Yamada^Tarou"}, {"Phonetic", "yamada^tarou"}}));
    EXPECT_EQ(values("00101010"), json({"045Y"}));
}

TEST(TalvdicomDump, LinesFitTheTerminal)
{
    const std::string file = Quoted(Sample("le-1bit.dcm"));  // nested, with long names and long values
    for (const size_t width : {40, 80, 132})
        for (const char* command : {"dump ", "info ", "check "}) {
            const std::string run =
                "stty cols " + std::to_string(width) + "; \"$tool\" --color never " + command + file;
            const ToolRun shown = RunShell("export tool; script -qec " + Quoted(run) + " /dev/null");
            EXPECT_EQ(shown.status, 0);
            std::istringstream lines(shown.out);
            for (std::string line; std::getline(lines, line);) {
                const bool names = line[0] == '#' || Contains(line, "le-1bit.dcm");
                EXPECT_TRUE(names || line.size() <= width + 1) << line;  // with its carriage return
            }
        }
}

// --- check

ImageAttributes SmallImage()
{
    return {.rows = 2, .columns = 2};
}

DicomBuilder Start()
{
    return PreambleFile().ExplicitLittle().Ui(0x00080016, "1.2.840.10008.5.1.4.1.1.7");
}

TEST(TalvdicomCheck, GradesWhatItFinds)
{
    ImageAttributes clip = SmallImage(), bits = SmallImage(), colour = SmallImage();
    clip.numberOfFrames = "3";
    bits.highBit = 5;
    colour.samplesPerPixel = 3;
    ImageAttributes packed = SmallImage();
    packed.columns = 16;
    packed.bitsAllocated = packed.bitsStored = 12;
    packed.highBit = 11;
    const ByteVector four(4, 1), twelve(12, 1);
    ByteVector program = Start().Image(SmallImage()).NativePixels(four, "OB").Bytes();
    program[0] = 'M', program[1] = 'Z';
    ByteVector tail = Start().Image(SmallImage()).NativePixels(four, "OB").Bytes();
    tail.insert(tail.end(), 5, 0xAA);
    ByteVector rle(66, 0);
    rle[0] = 1, rle[4] = 64, rle[64] = 0xFD, rle[65] = 9;
    const auto timed = [&](const char* frameTime) {
        DicomBuilder builder = Start();
        return builder.Is(0x00180040, "30")
            .Ds(0x00181063, frameTime)
            .At(0x00280009, {0x00181063})
            .Image(clip);
    };
    ImageAttributes one = SmallImage();
    one.numberOfFrames = "1";
    const struct
    {
        ByteVector file;
        int status;
        const char* line;  // null: nothing odd
    } cases[] = {
        {Start().Image(SmallImage()).NativePixels(four, "OB").Bytes(), 0, nullptr},
        {timed("33.3").NativePixels(twelve, "OB").Bytes(), 0, "note     (0028,0009): tags do not ascend"},
        {BareFile()
             .ImplicitLittle()
             .NoMeta()
             .Ui(0x00080016, "1.2")
             .Image(SmallImage())
             .NativePixels(four)
             .Bytes(),
         0, "note     file: no preamble"},
        {program, 3, "warning  preamble: begins like a Windows program"},
        {tail, 0, "note     byte "},
        {Start().Image(packed).NativePixels(ByteVector(48, 1), "OW").Bytes(), 0,
         "note     (0028,0100): 12 bits allocated is unusual"},
        {Start().TransferSyntax("1.2.840.10008.1.2.4.80").Image(SmallImage()).Encapsulated({four}).Bytes(), 1,
         nullptr},
        {Start().Header(0x00100010, "PN", 3).Raw("A^B").Image(SmallImage()).NativePixels(four, "OB").Bytes(),
         3, "warning  (0010,0010): odd length"},
        {Start().Text(0x0018106C, "LO", "1").Image(SmallImage()).NativePixels(four, "OB").Bytes(), 3,
         "warning  (0018,106C) LO for US: another VR"},
        {Start().Image(bits).NativePixels(four, "OB").Bytes(), 3, "warning  (0028,0102): high bit 5 with 8"},
        {Start().Image(colour).NativePixels(twelve, "OB").Bytes(), 3,
         "warning  (0028,0002): 3 samples a pixel do not"},
        {Start().Image(clip).NativePixels(twelve, "OB").Bytes(), 3,
         "warning  timing: the file tells no frame time"},
        {timed("33.3").NativePixels(four, "OB").Bytes(), 4,
         "error    (0028,0008): 3 frames declared, 1 found"},
        {timed("40").NativePixels(twelve, "OB").Bytes(), 3,
         "warning  (0018,0040): Cine Rate asks for 33.33 ms a frame, the clip plays with 40 ms"},
        {timed("5").NativePixels(twelve, "OB").Bytes(), 3, "warning  (0018,1063): 5 ms is not between"},
        {Start()
             .Ds(0x00181063, "40")
             .At(0x00280009, {0x00181065})
             .Image(clip)
             .NativePixels(twelve, "OB")
             .Bytes(),
         3, "warning  (0028,0009): names (0018,1065), which is not there"},
        {Start().Ds(0x00181065, "0\\40\\80").Image(clip).NativePixels(twelve, "OB").Bytes(), 3,
         "warning  (0018,1065): frames follow each other after 40 ms to 80 ms"},
        {Start().TransferSyntax("1.2.840.10008.1.2.4.50").Image(one).Encapsulated({four}).Bytes(), 1,
         "error    file: Error reading Dicom images: its stream "},
        {Start().TransferSyntax("1.2.840.10008.1.2.5").Image(one).Encapsulated({rle}, {0}).Bytes(), 0,
         nullptr},
        {Start().TransferSyntax("1.2.840.10008.1.2.5").Image(one).Encapsulated({rle}, {8}).Bytes(), 3,
         "warning  offset table at byte "},
    };
    for (const auto& c : cases) {
        const TemporaryFile file(c.file);
        const ToolRun run = RunTool({"check", file.Path()});
        if (RefusedForWantOfACodec(run)) continue;
        EXPECT_EQ(run.status, c.status) << run.out << run.err;
        if (c.line != nullptr) {
            EXPECT_TRUE(Contains("\n" + run.out, "\n" + std::string(c.line))) << c.line << "\n" << run.out;
        } else if (c.status == 0) {
            EXPECT_EQ(run.out, std::string(file.Path()) + ": nothing odd\n");
        }
        const json answer = json::parse(RunTool({"check", "--quick", "--json", file.Path()}).out);
        EXPECT_EQ(answer["playable"], c.status != 1);
    }
    EXPECT_EQ(RunTool({"check", Sample("le-truncated.dcm")}).status, 4);
    const ToolRun label = RunTool({"check", Sample("jpeg-rgb-unmarked.dcm")});
    if (!RefusedForWantOfACodec(label)) {
        EXPECT_EQ(label.status, 3);
        EXPECT_TRUE(Contains(label.out, "labelled RGB, but shown as YCbCr")) << label.out;
    }
}

TEST(TalvdicomInfo, MarksTheTimingTagThatCounts)
{
    ImageAttributes clip = SmallImage();
    clip.numberOfFrames = "2";
    const struct
    {
        std::vector<std::pair<uint32_t, const char*>> tags;  // DS values; AT where the value is null
        uint32_t pointer;
        const char* chosen;
        double milliseconds;
    } cases[] = {
        {{{0x00181063, "40"}}, 0, "(0018,1063)", 40},
        {{{0x00180040, "10"}, {0x00181063, "40"}, {0x00181065, "50"}}, 0, "(0018,1063)", 40},
        {{{0x00181063, "40"}, {0x00181065, "50\\60"}}, 0x00181065, "(0018,1065)", 50},
        {{{0x00181063, "40"}, {0x00181242, "70"}}, 0x00181242, "(0018,1242)", 70},
        {{{0x00181063, "40"}}, 0x00181065, "(0018,1063)", 40},
        {{{0x00180040, "10"}}, 0, "", 1000.0 / 60},
    };
    for (const auto& c : cases) {
        DicomBuilder builder = Start();
        for (const auto& [tag, value] : c.tags) builder.Ds(tag, value);
        if (c.pointer != 0) builder.At(0x00280009, {c.pointer});
        const TemporaryFile file = builder.Image(clip).NativePixels(ByteVector(8, 1), "OB").Save();
        const json info = InfoOf(file.Path());
        std::string chosen;
        for (const json& tag : info["timing"])
            if (tag["chosen"]) chosen += tag["tag"].get<std::string>();
        EXPECT_EQ(chosen, c.chosen) << info["timing"].dump();
        EXPECT_NEAR(info["frameTimeMs"], c.milliseconds, 1e-9);
        EXPECT_NEAR(info["framesPerSecond"], 1000 / c.milliseconds, 0.001);
        const ToolRun words = RunTool({"info", file.Path()});
        EXPECT_EQ(Contains(words.out, "* " + std::string(c.chosen)), *c.chosen != '\0') << words.out;
        EXPECT_LE(std::count(words.out.begin(), words.out.end(), '\n'), 24) << words.out;
    }
}
}  // namespace
}  // namespace talv
