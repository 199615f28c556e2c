#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "platform/text.h"
#include "tools/talvdicom/console.h"

namespace talv {
void PrepareConsole()
{
    _setmode(_fileno(stdout), _O_BINARY);
}

bool ErrorIsTerminal()
{
    return _isatty(_fileno(stderr)) != 0;
}

int OutputWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool OutputShowsColour()
{
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    const char* const refused = std::getenv("NO_COLOR");
    DWORD mode = 0;
    if (!GetConsoleMode(console, &mode) || (refused != nullptr && *refused != '\0')) return false;
    return SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

std::filesystem::path PathFromArgument(const std::string& argument)
{
    return WideFromNarrow(argument);
}
}  // namespace talv
