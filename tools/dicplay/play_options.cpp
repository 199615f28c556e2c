#include "play_options.h"

#include <windows.h>
// A block of its own: this header needs the one above.
#include <shellapi.h>

#include <cstdio>

namespace talv {
namespace {
struct Switch
{
    const wchar_t* name;
    bool PlayOptions::*value;
};
const Switch kSwitches[] = {
    {L"--null", &PlayOptions::null},
    {L"--no-clock", &PlayOptions::noClock},
    {L"--loop", &PlayOptions::loop},
    {L"--hold", &PlayOptions::hold},
    {L"--exit", &PlayOptions::exit},
    {L"--quiet", &PlayOptions::quiet},
    {L"--log-samples", &PlayOptions::logSamples},
    {L"--properties", &PlayOptions::properties},
};
struct Setting
{
    const wchar_t* name;
    std::wstring PlayOptions::*value;
};
const Setting kSettings[] = {
    {L"--server", &PlayOptions::server},
    {L"--snapshot", &PlayOptions::snapshot},
};

bool TakeArgument(int count, wchar_t** arguments, int* at, PlayOptions* options)
{
    const std::wstring argument = arguments[*at];
    for (const Switch& entry : kSwitches)
        if (argument == entry.name) return options->*entry.value = true;
    for (const Setting& entry : kSettings) {
        if (argument != entry.name) continue;
        if (*at + 1 >= count) return false;
        options->*entry.value = arguments[++*at];
        return true;
    }
    if (argument.rfind(L"--", 0) == 0 || !options->file.empty()) return false;
    options->file = argument;
    return true;
}
}  // namespace

void PrintUsage()
{
    std::fputs(
        "usage: dicplay [option...] [FILE]\n"
        "plays a DICOM file in a filter graph\n"
        "  --server PATH    use this component file; without it, the registered component\n"
        "  --null           no window: a null renderer takes the frames as the component makes them\n"
        "  --no-clock       as fast as frames decode\n"
        "  --loop           start again at the end\n"
        "  --exit           close the window at the end; without it, it stays open\n"
        "  --quiet          nobody looks: no message boxes, and as --exit\n"
        "  --properties     show the property pages before playing\n"
        "  --log-samples    one line per sample on standard output\n"
        "  --snapshot FILE  write the last frame as a BMP picture\n",
        stderr);
}

bool ReadOptions(PlayOptions* options)
{
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr) return false;
    bool good = true;
    for (int at = 1; good && at < count; ++at) good = TakeArgument(count, arguments, &at, options);
    LocalFree(arguments);
    options->exit |= options->quiet;
    if (good && !(options->null && options->file.empty())) return true;
    PrintUsage();
    return false;
}
}  // namespace talv
