#include <unistd.h>

#include <csignal>

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

std::filesystem::path PathFromArgument(const std::string& argument)
{
    return argument;
}
}  // namespace talv
