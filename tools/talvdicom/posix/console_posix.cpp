#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "tools/talvdicom/console.h"

namespace talv {
namespace {
volatile std::sig_atomic_t interrupted = 0;

void NoteInterrupt(int)
{
    interrupted = 1;
}
}  // namespace

void PrepareConsole()
{
    std::signal(SIGPIPE, SIG_IGN);
    // Without SA_RESTART a blocked read or write ends; with SA_RESETHAND the next signal ends the program.
    struct sigaction action = {};
    action.sa_handler = NoteInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present = {};
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

bool Interrupted()
{
    return interrupted != 0;
}

std::vector<std::string> ArgumentsInUtf8(int argc, char** argv)
{
    return {argv, argv + argc};
}

std::filesystem::path PathFromArgument(const std::string& argument)
{
    return argument;
}

std::FILE* OpenForReading(const std::filesystem::path& path)
{
    return std::fopen(path.c_str(), "rb");
}

std::FILE* OpenForWriting(const std::filesystem::path& path)
{
    return std::fopen(path.c_str(), "wb");
}

std::filesystem::path MakeTemporaryFile()
{
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "talvdicom-XXXXXX").string();
    const int file = error ? -1 : mkstemp(name.data());
    if (file < 0) return {};
    close(file);
    return name;
}

unsigned long ProcessNumber()
{
    return static_cast<unsigned long>(getpid());
}

bool ErrorIsTerminal()
{
    return isatty(STDERR_FILENO) == 1;
}

bool OutputIsTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

bool OutputIsFile()
{
    struct stat facts = {};
    return fstat(STDOUT_FILENO, &facts) == 0 && S_ISREG(facts.st_mode);
}

int OutputWidth()
{
    winsize size = {};
    if (!OutputIsTerminal()) return 0;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool PrepareColours()
{
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}
}  // namespace talv
