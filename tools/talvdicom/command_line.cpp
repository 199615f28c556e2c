#include "tools/talvdicom/command_line.h"

#include <charconv>
#include <utility>
#include <vector>

namespace talv {
namespace {
/// An option whose text goes through `parse`, which answers with an error message or nothing.
template <class Parse>
CLI::Option* AddParsed(CLI::App* command, const char* name, const char* purpose, Parse parse)
{
    return command->add_option_function<std::string>(
        name,
        [name, parse](const std::string& text) {
            if (const std::string error = parse(text); !error.empty())
                throw CLI::ValidationError(name, error);
        },
        purpose);
}

/// An option that takes one of a few words.
template <class Value>
CLI::Option* AddChoice(CLI::App* command, const char* name, const char* purpose,
                       const std::vector<std::pair<const char*, Value>>& choices, Value* value)
{
    return AddParsed(command, name, purpose, [choices, value](const std::string& text) {
        std::string words;
        for (const auto& [word, meaning] : choices) {
            if (text == word) {
                *value = meaning;
                return std::string();
            }
            words += (words.empty() ? "" : ", ") + std::string(word);
        }
        return "\"" + text + "\" is none of " + words;
    });
}

/// An option that takes a whole number from 0 on.
template <class Value>
CLI::Option* AddCount(CLI::App* command, const char* name, const char* purpose, Value* value)
{
    return AddParsed(command, name, purpose, [value](const std::string& text) {
        int64_t number = 0;
        const char* const end = text.data() + text.size();
        const auto [next, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || next != end || number < 0)
            return "\"" + text + "\" is no whole number from 0 on";
        *value = number;
        return std::string();
    });
}

void AddFrameChoice(CLI::App* command, FrameRanges* ranges, std::string* text)
{
    AddParsed(command, "--frames", "Only these frames, counted from 1: 10-20,35,40-",
              [ranges, text](const std::string& words) {
                  if (text != nullptr) *text = words;
                  return ParseFrameRanges(words, ranges);
              })
        ->type_name("RANGES");
}

void AddWindow(CLI::App* command, WindowRule* rule, std::string* text)
{
    AddParsed(command, "--window",
              "How grey is shown, one rule for the whole clip: auto, minmax, file, none, or center,width",
              [rule, text](const std::string& words) {
                  if (text != nullptr) *text = words;
                  return ParseWindowRule(words, rule);
              })
        ->type_name("RULE");
}
}  // namespace

CommandLine::CommandLine() : app("Shows what the Talv DICOM Reader plays of a file.", "talvdicom")
{
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // a name may begin with a slash there too
    app.set_version_flag("--version", "talvdicom " TALV_VERSION);
    app.footer(
        "FILE is - for standard input. Exit status: 0 done, 1 refused, 2 wrong usage; check: 3 warnings, 4 "
        "errors.");
    app.fallthrough();
    AddGeneral();
    AddInfoAndDump();
    AddFrames();
    AddStream();
    AddOthers();
}

void CommandLine::AddGeneral()
{
    AddChoice<ColourChoice>(
        &app, "--color", "Terminal colours: auto, always or never",
        {{"auto", ColourChoice::automatic}, {"always", ColourChoice::always}, {"never", ColourChoice::never}},
        &colours)
        ->type_name("WHEN");
    app.add_option("--max-frame", maxFrameMiB,
                   "Largest decoded frame in MiB, up to 2047 (1024; 256 in 32-bit builds)")
        ->check(CLI::Range(int64_t{1}, int64_t{2047}).description(""))
        ->type_name("MIB");
    app.add_flag("--any-size", anySize, "Takes a large frame however few bytes of the file it is made of");
}

CLI::App* CommandLine::AddFileCommand(const char* name, const char* purpose)
{
    CLI::App* made = app.add_subcommand(name, purpose);
    made->add_option("FILE", file, "DICOM file, or - for standard input")->required()->type_name("");
    return made;
}

void CommandLine::AddInfoAndDump()
{
    info = AddFileCommand("info",
                          "What would be played and why: geometry, frames, timing, window, transfer syntax");
    info->add_flag("--json", json, "One JSON object");
    dump = AddFileCommand("dump", "The element tree as text");
    dump->add_flag("--full", dumpOptions.fullValues, "Whole values instead of their first characters");
    dump->add_option("--find", dumpOptions.find,
                     "Only elements with this tag (0028,0010) or part of a name, and what is below")
        ->type_name("TAG|NAME");
    dump->add_flag("--json", dumpOptions.json, "The DICOM JSON model (PS3.18 F.2)");
}

void CommandLine::AddFrames()
{
    frames = AddFileCommand("frames", "PNG files of the frames as a viewer shows them");
    frames->add_option("--out", framesOptions.directory, "Folder for the files; made when missing")
        ->required()
        ->type_name("DIR");
    AddFrameChoice(frames, &framesOptions.ranges, nullptr);
    AddWindow(frames, &framesOptions.window, nullptr);
    frames->add_flag("--16bit", framesOptions.sixteenBits, "16-bit PNG of grey frames above 8 bits");
    frames->add_flag("-y,--overwrite", framesOptions.overwrite, "Writes over files that exist");
    frames->add_flag("--raw", framesOptions.raw, "Bitmap rows as they are, top row first, instead of PNG");
    AddCount(frames, "--first", "First frame, counted from 0", &framesOptions.first)
        ->type_name("N")
        ->excludes("--frames");
    AddCount(frames, "--last", "Last frame, counted from 0, included", &framesOptions.last)
        ->type_name("M")
        ->excludes("--frames");
}

void CommandLine::AddStream()
{
    stream =
        AddFileCommand("stream", "Video on standard output, for a player or encoder, at the clip's own rate");
    AddChoice<VideoFormat>(stream, "--format",
                           "y4m (YUV4MPEG2, the default), or pixels alone: bgr24, rgb24, gray, gray16le",
                           {{"y4m", VideoFormat::y4m},
                            {"bgr24", VideoFormat::bgr24},
                            {"rgb24", VideoFormat::rgb24},
                            {"gray", VideoFormat::gray},
                            {"gray16le", VideoFormat::gray16le}},
                           &streamOptions.format)
        ->type_name("NAME");
    AddFrameChoice(stream, &streamOptions.ranges, &streamOptions.framesText);
    AddWindow(stream, &streamOptions.window, &streamOptions.windowText);
    stream->add_flag("--max-speed", streamOptions.maxSpeed, "As fast as the reader takes it");
    AddCount(stream, "--loop", "Plays the clip N times; 0: until the reader has enough", &streamOptions.loops)
        ->type_name("N");
    stream->add_flag("--sweep", streamOptions.sweep, "Forward, then backward");
    stream->add_flag("-q,--quiet", streamOptions.quiet, "Without the lines for players on standard error");
}

void CommandLine::AddOthers()
{
    check = AddFileCommand("check", "Lists and grades every oddity of a file; decodes every frame");
    check->add_flag("--quick", checkOptions.quick, "Decodes no more than the first frame");
    check->add_flag("--json", checkOptions.json, "One JSON object");
    bench = AddFileCommand("bench", "Opens the file, decodes every frame and prints the timings");
    bench->add_flag("--json", json, "One JSON object");
    completion = app.add_subcommand("completion", "Prints the completion script of a shell");
    completion->add_option("SHELL", shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
        ->type_name("");
    manual = app.add_subcommand("manual", "Prints the manual page in troff");
}

std::string CommandLine::Contradiction() const
{
    const FramesOptions& f = framesOptions;
    if (f.first && f.last && *f.first > *f.last) return "--first is after --last";
    if (frames->parsed() && f.directory.empty()) return "--out names no folder";
    if (f.raw && f.sixteenBits) return "--raw and --16bit: rows as they are are no PNG";
    if (frames->parsed() && f.window.kind == WindowKind::none && !f.sixteenBits && !f.raw)
        return "--window none needs --16bit";
    if (stream->parsed() && streamOptions.window.kind == WindowKind::none &&
        streamOptions.format != VideoFormat::gray16le)
        return "--window none needs --format gray16le";
    return {};
}
}  // namespace talv
