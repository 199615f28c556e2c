// talvdicom: shows, dumps, exports, streams and times DICOM files through the core of the player component.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "raster/raster_settings.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/printable.h"

namespace talv {
int Complain(const std::string& file, const std::string& message)
{
    std::fflush(stdout);
    std::fprintf(stderr, "talvdicom: %s: %s\n", PrintableText(file).c_str(), PrintableText(message).c_str());
    return kRefused;
}

namespace {
/// The libraries below, set up as the component does it when it is loaded.
class Libraries
{
  public:
    Libraries()
    {
        SelectAllocator(1);
        ready_ = InitDictionaries();
        AttachRasterLibrary(nullptr);
    }
    ~Libraries()
    {
        DetachRasterLibrary();
        FreeDictionaries();
    }
    Libraries(const Libraries&) = delete;
    Libraries& operator=(const Libraries&) = delete;
    bool Ready() const { return ready_; }

  private:
    bool ready_ = false;
};

int WrongUsage(const std::string& message)
{
    std::fprintf(stderr, "talvdicom: %s\nRun talvdicom --help for the commands.\n", message.c_str());
    return kWrongUsage;
}

int Run(int argc, char** argv)
{
    CLI::App app("Shows what the Talv DICOM Reader plays of a file.", "talvdicom");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // a name may begin with a slash there too
    app.set_version_flag("--version", "talvdicom " TALV_VERSION);

    std::string file;
    bool json = false, fullValues = false;
    FramesOptions frames;
    const auto command = [&](const char* name, const char* purpose) {
        CLI::App* made = app.add_subcommand(name, purpose);
        made->add_option("FILE", file, "DICOM file")->required();
        return made;
    };

    CLI::App* info =
        command("info", "What would be played: geometry, frames, timing, window, transfer syntax");
    info->add_flag("--json", json, "One JSON object");
    CLI::App* dump = command("dump", "The element tree as text");
    dump->add_flag("--full", fullValues, "Whole values instead of their first characters");
    CLI::App* pictures = command("frames", "PNG files of the frames as a viewer shows them");
    pictures->add_option("--out", frames.directory, "Folder for the files; made when missing")->required();
    pictures->add_flag("--raw", frames.raw, "Bitmap rows as they are, top row first, instead of PNG");
    pictures->add_option("--first", frames.first, "First frame, counted from 0")
        ->check(CLI::NonNegativeNumber);
    pictures->add_option("--last", frames.last, "Last frame, included")->check(CLI::NonNegativeNumber);
    CLI::App* stream = command("stream", "YUV4MPEG2 on standard output, for a video player or encoder");
    CLI::App* bench = command("bench", "Opens the file, decodes every frame and prints the timings");
    bench->add_flag("--json", json, "One JSON object");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // help and version
        return WrongUsage(error.what());
    }
    if (frames.first && frames.last && *frames.first > *frames.last)
        return WrongUsage("--first is after --last");

    const Libraries libraries;
    if (!libraries.Ready()) return Complain(file, "out of memory");
    if (info->parsed()) return RunInfo(file, json);
    if (dump->parsed()) return RunDump(file, fullValues);
    if (pictures->parsed()) return RunFrames(file, frames);
    if (stream->parsed()) return RunStream(file);
    if (bench->parsed()) return RunBench(file, json);
    return kWrongUsage;
}
}  // namespace
}  // namespace talv

int main(int argc, char** argv)
{
    talv::PrepareConsole();
    try {
        return talv::Run(argc, argv);
    } catch (const std::exception& error)  // memory, or a folder that cannot be made
    {
        std::fprintf(stderr, "talvdicom: %s\n", error.what());
        return talv::kRefused;
    }
}
