// talvdicom: shows, dumps, checks, exports, streams and times DICOM files through the core of the player
// component.

#include <cstdio>
#include <exception>
#include <sstream>

#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "image/get_image.h"
#include "raster/raster_settings.h"
#include "tools/talvdicom/command_line.h"
#include "tools/talvdicom/console.h"

namespace talv {
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
    Say(message);
    std::fputs("Run talvdicom --help for the commands, or talvdicom COMMAND --help for its options.\n",
               stderr);
    return kWrongUsage;
}

/// The parser's words, but for what it leaves over where something else is missing.
std::string UsageText(const CommandLine& line, const CLI::ParseError& error)
{
    const std::vector<std::string> rest = line.app.remaining(true);
    if (line.app.get_subcommands().empty())
        return rest.empty() ? "a command is missing" : "\"" + rest.front() + "\" is no command";
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !rest.empty())
        return "\"" + rest.front() + "\" is no option here; a name that begins with - goes behind --";
    return error.what();
}

int RunCommand(const CommandLine& line)
{
    if (line.info->parsed()) return RunInfo(line.file, line.json);
    if (line.dump->parsed()) return RunDump(line.file, line.dumpOptions);
    if (line.frames->parsed()) return RunFrames(line.file, line.framesOptions);
    if (line.stream->parsed()) return RunStream(line.file, line.streamOptions);
    if (line.check->parsed()) return RunCheck(line.file, line.checkOptions);
    if (line.bench->parsed()) return RunBench(line.file, line.json);
    if (line.completion->parsed()) WriteOutput(CompletionScript(line, line.shell));
    if (line.manual->parsed()) WriteOutput(ManualPage(line));
    return kDone;
}

int Run(int argc, char** argv)
{
    CommandLine line;
    try {
        std::vector<std::string> arguments = ArgumentsInUtf8(argc, argv);
        if (!arguments.empty()) arguments.erase(arguments.begin());
        std::reverse(arguments.begin(), arguments.end());  // the order in which the parser takes them
        line.app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return WrongUsage(UsageText(line, error));
        std::ostringstream answer;  // help or version
        line.app.exit(error, answer, answer);
        WriteOutput(answer.str());
        return kDone;
    }
    if (const std::string error = line.Contradiction(); !error.empty()) return WrongUsage(error);
    ChooseColours(line.colours);

    const Libraries libraries;
    if (!libraries.Ready()) return Complain(line.file, "out of memory");
    rasterSettings.maxBitmapBytes = line.maxFrameMiB << 20;
    imageSettings.acceptSparseFrames = line.anySize;
    return RunCommand(line);
}
}  // namespace
}  // namespace talv

int main(int argc, char** argv)
{
    talv::PrepareConsole();
    int status = talv::kRefused;
    try {
        status = talv::Run(argc, argv);
    } catch (const std::exception& error)  // memory, or a folder that cannot be looked at
    {
        talv::Say(error.what());
    }
    return talv::FinishOutput(status);
}
