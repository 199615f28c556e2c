#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/dicom_builder.h"
#include "tests/tools/tool_fixture.h"

namespace talv {
namespace {
using nlohmann::json;

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
        {"frames", file, "--out", "x", "--first", "1", "--frames", "2"},
        {"frames", file, "--out", "x", "--frames", "0-3"},
        {"frames", file, "--out", "x", "--frames", "3-2"},
        {"frames", file, "--out", "x", "--frames", "1,,2"},
        {"frames", file, "--out", "x", "--frames", ""},
        {"frames", file, "--out", "x", "--window", "40"},
        {"frames", file, "--out", "x", "--window", "40,0"},
        {"frames", file, "--out", "x", "--window", "nan,400"},
        {"frames", file, "--out", "x", "--window", "none"},
        {"stream", file, "--format", "avi"},
        {"stream", file, "--loop", "-1"},
        {"dump", file, "--color", "blue"},
        {"info", file, "--max-frame", "4096"},
        {"completion", "csh"},
    };
    for (const auto& arguments : wrong) {
        const ToolRun run = RunTool(arguments);
        EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments) << run.err;
        EXPECT_EQ(run.err.rfind("talvdicom: ", 0), 0u) << run.err;
        EXPECT_LE(run.err.find('\n'), 120u) << run.err;
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

// --- names, standard input, limits

TEST(Talvdicom, StandardInputIsReadLikeAFileAndLeavesNothingBehind)
{
    const ScratchFolder folder;
    const std::string clip = Quoted(Sample("rle-rgb-2f.dcm"));
    const std::string inFolder = "TMPDIR=" + Quoted(folder.Path()) + " \"$tool\" ";
    for (const char* command : {"info - --json", "dump - --full", "stream - -q", "check -"}) {
        const ToolRun piped = RunShell("cat " + clip + " | " + inFolder + command);
        std::string named = command;
        named.replace(named.find(" -") + 1, 1, clip);
        const ToolRun direct = RunShell("\"$tool\" " + named);
        EXPECT_EQ(piped.status, direct.status) << command << piped.err;
        if (!Contains(command, "check")) {
            EXPECT_EQ(piped.out, direct.out) << command;
        }
    }
    const std::string pipe = Quoted(folder.Path("pipe"));
    const ToolRun named = RunShell("mkfifo " + pipe + "; cat " + clip + " >" + pipe + " & " + inFolder +
                                   "info --json " + pipe + "; rm " + pipe);
    EXPECT_EQ(named.out, RunShell("\"$tool\" info --json " + clip).out) << named.err;
    const ToolRun empty = RunShell(inFolder + "info - </dev/null");
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.err.rfind("talvdicom: -: ", 0), 0u) << empty.err;
    EXPECT_TRUE(folder.Names().empty());
}

TEST(Talvdicom, LongAndForeignNamesWork)
{
    const ScratchFolder folder;
    std::string deep = folder.Path();
    for (int i = 0; i < 6; ++i) deep += "/" + std::string(60, static_cast<char>('a' + i));
    deep += "/\u00d6rtlich \u6771\u4eac \u0416";
    std::filesystem::create_directories(deep);
    const std::string file = deep + "/it's a clip.dcm";
    std::filesystem::copy_file(Sample("rle-rgb-2f.dcm"), file);
    EXPECT_EQ(InfoOf(file)["frames"], 2);
    EXPECT_EQ(RunTool({"dump", file}).out, RunTool({"dump", Sample("rle-rgb-2f.dcm")}).out);
    EXPECT_EQ(RunTool({"frames", file, "--out", deep + "/pictures"}).status, 0);
    const std::string notUtf8 = folder.Path("\xe4\xf6.dcm");
    std::filesystem::copy_file(file, notUtf8);
    EXPECT_EQ(InfoOf(notUtf8)["frames"], 2);
    EXPECT_TRUE(json::accept(RunTool({"dump", "--json", notUtf8}).out));
    EXPECT_TRUE(std::filesystem::exists(deep + "/pictures/frame-00002.png"));
}

TEST(Talvdicom, LimitsOnFramesCanBeMoved)
{
    ImageAttributes image{.rows = 1200, .columns = 1000};
    const TemporaryFile ordinary =
        PreambleFile().ExplicitLittle().Image(image).NativePixels(ByteVector(1200000, 7), "OB").Save();
    const ToolRun lowered = RunTool({"info", ordinary.Path(), "--max-frame", "1"});
    ExpectRefusal(lowered, ordinary.Path());
    EXPECT_TRUE(Contains(lowered.err, "--max-frame")) << lowered.err;
    EXPECT_EQ(RunTool({"info", ordinary.Path(), "--max-frame", "2"}).status, 0);

    // 81 MB of picture out of a run-length header and one run.
    image.rows = image.columns = 9000;
    ByteVector item(66, 0);
    item[0] = 1, item[4] = 64, item[64] = 0x81, item[65] = 200;
    const TemporaryFile sparse =
        PreambleFile().ExplicitLittle("1.2.840.10008.1.2.5").Image(image).Encapsulated({item}).Save();
    const ToolRun refused = RunTool({"info", sparse.Path()});
    ExpectRefusal(refused, sparse.Path());
    EXPECT_TRUE(Contains(refused.err, "--any-size")) << refused.err;
    const ToolRun taken = RunTool({"info", sparse.Path(), "--any-size", "--json"});
    ASSERT_EQ(taken.status, 0) << taken.err;
    EXPECT_EQ(json::parse(taken.out)["columns"], 9000);
}

// --- ends and colours

TEST(Talvdicom, FullDiskClosedPipeAndInterruptEndCleanly)
{
    const ScratchFolder folder;
    const std::string clip = Quoted(Sample("le-palette.dcm"));
    const std::string endless = "\"$tool\" stream " + clip + " --loop 0 -q";
    const std::string copies = Quoted(folder.Path("copies")), number = Quoted(folder.Path("number"));
    std::filesystem::create_directory(folder.Path("copies"));
    // Runs what follows as the process whose number is in the file.
    const std::string numbered = "sh -c 'echo $$ >\"$0\"; exec \"$@\"' " + number;
    // Sends a signal to a run that has begun to write.
    const auto signalled = [&](const std::string& signal, const std::string& command) {
        return "{ " + numbered + " " + command + "; echo status $? >&2; } | { head -c 1 >&3; kill -s " +
               signal + " $(cat " + number + "); cat >&3; } 3>/dev/null";
    };
    const struct
    {
        std::string command;
        int status;
        std::string out, errorPart;
    } cases[] = {
        {"{ " + endless + "; echo status $? >&2; } | head -c 10", 0, "YUV4MPEG2 ", "status 0\n"},
        {"\"$tool\" dump " + clip + " >/dev/full", 1, "", "standard output cannot be written: "},
        {"\"$tool\" stream " + clip + " -q >/dev/full", 1, "", "standard output cannot be written: "},
        {signalled("INT", endless), 0, "", "status 130\n"},
        {signalled("TERM", endless + " --max-speed"), 0, "", "status 130\n"},
        // While it copies an endless standard input.
        {"{ until ls " + copies + " | grep -q .; do sleep 0.01; done; kill -s INT $(cat " + number +
             "); } & while sleep 0.01 && head -c 99999 /dev/zero; do :; done 2>/dev/null | TMPDIR=" + copies +
             " " + numbered + " \"$tool\" info -",
         130, "", ""},
        // A file may not grow beyond 512 bytes.
        {"trap '' XFSZ; ulimit -f 1; \"$tool\" frames " + clip + " --out " + Quoted(folder.Path("f")), 1, "",
         "frame 1 of "},
    };
    for (const auto& c : cases) {
        const ToolRun run = RunShell(c.command);
        EXPECT_EQ(run.status, c.status) << c.command << run.err;
        EXPECT_EQ(run.out, c.out) << c.command;
        EXPECT_TRUE(c.errorPart.empty() ? run.err.empty() : Contains(run.err, c.errorPart))
            << c.command << run.err;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path("f")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path("copies")));
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"copies", "f", "number"}));
}

TEST(Talvdicom, ColoursOnlyWhereTheyAreWanted)
{
    const std::string dump = "\"$tool\" dump " + Quoted(Sample("le-rgb-3x3.dcm"));
    const struct
    {
        std::string command;
        bool coloured;
    } cases[] = {
        {dump, false},
        {dump + " --color always", true},
        {"\"$tool\" --color=always info " + Quoted(Sample("le-rgb-3x3.dcm")), true},
        {dump + " --color=never", false},
        {"script -qec " + Quoted(dump) + " /dev/null", true},
        {"NO_COLOR=1 script -qec " + Quoted(dump) + " /dev/null", false},
        {"TERM=dumb script -qec " + Quoted(dump) + " /dev/null", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Contains(RunShell("export TERM=${TERM:-xterm} tool; " + c.command).out, "\x1b["),
                  c.coloured)
            << c.command;
}

TEST(Talvdicom, ManualAndCompletionsAreWellFormed)
{
    const ToolRun manual = RunTool({"manual"});
    EXPECT_TRUE(Contains(manual.out, "\n.B \\-\\-window RULE\n"));
    if (HasProgram("mandoc")) {
        const ToolRun lint = RunShell("\"$tool\" manual | mandoc -T lint -W error");
        EXPECT_EQ(lint.status, 0) << lint.out;
    }
    const struct
    {
        const char *words, *answer;
    } cases[] = {{"talvdicom fra", "frames"},
                 {"talvdicom stream --form", "--format"},
                 {"talvdicom stream --format bg", "bgr24"},
                 {"talvdicom completion z", "zsh"},
                 {"talvdicom info a", "a clip.dcm"}};
    const ScratchFolder folder;
    std::filesystem::copy_file(Sample("rle-rgb-2f.dcm"), folder.Path("a clip.dcm"));
    for (const auto& c : cases) {
        const ToolRun run = RunShell(
            "export tool; cd " + Quoted(folder.Path()) +
            "; bash -c 'source <(\"$tool\" completion bash); COMP_WORDS=(" + std::string(c.words) +
            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _talvdicom; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
        EXPECT_EQ(run.out, c.answer + std::string("\n")) << c.words << run.err;
    }
}
}  // namespace
}  // namespace talv
