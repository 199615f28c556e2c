#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "tools/talvdicom/console.h"

namespace talv {
void PrepareConsole()
{
    std::signal(SIGPIPE, SIG_IGN);
}

bool ErrorIsTerminal()
{
    return isatty(STDERR_FILENO) == 1;
}

int OutputWidth()
{
    winsize size = {};
    if (isatty(STDOUT_FILENO) != 1) return 0;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool OutputShowsColour()
{
    const char* const terminal = std::getenv("TERM");
    const char* const refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::strcmp(terminal, "dumb") != 0;
}

std::filesystem::path PathFromArgument(const std::string& argument)
{
    return argument;
}
}  // namespace talv
