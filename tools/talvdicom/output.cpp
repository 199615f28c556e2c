#include "tools/talvdicom/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
TextStyle style;
int failure = 0;  // errno of the first write that failed

bool NoteFailure(bool good)
{
    if (!good && failure == 0) failure = errno != 0 ? errno : EIO;
    return failure == 0;
}

/// Writing to a pipe that has no reader says EPIPE; some systems say EINVAL.
bool ReaderHasGone()
{
    return failure == EPIPE || (failure == EINVAL && !OutputIsFile());
}
}  // namespace

void ChooseColours(ColourChoice choice)
{
    const char* const refused = std::getenv("NO_COLOR");
    const bool wanted =
        choice == ColourChoice::always || (choice == ColourChoice::automatic && OutputIsTerminal() &&
                                           (refused == nullptr || *refused == '\0') && PrepareColours());
    if (choice == ColourChoice::always && OutputIsTerminal()) PrepareColours();
    style = wanted ? TextStyle{"\x1b[36m", "\x1b[1m", "\x1b[32m", "\x1b[33m", "\x1b[31m", "\x1b[0m"}
                   : TextStyle{};
}

const TextStyle& OutputStyle()
{
    return style;
}

bool WriteOutput(const void* bytes, size_t count)
{
    if (failure != 0) return false;
    errno = 0;
    return NoteFailure(std::fwrite(bytes, 1, count, stdout) == count);
}

bool WriteOutput(const std::string& text)
{
    return WriteOutput(text.data(), text.size());
}

bool FlushOutput()
{
    if (failure != 0) return false;
    errno = 0;
    return NoteFailure(std::fflush(stdout) == 0);
}

bool Print(const char* format, ...)
{
    if (failure != 0) return false;
    std::va_list arguments;
    va_start(arguments, format);
    errno = 0;
    const int written = std::vprintf(format, arguments);
    va_end(arguments);
    return NoteFailure(written >= 0);
}

void PrintFact(const char* indent, const char* colour, const char* label, int labelWidth,
               const std::string& text)
{
    constexpr int kLeastWidth = 40;
    const int width = OutputWidth(), before = static_cast<int>(std::strlen(indent)) + labelWidth;
    const size_t room = width > 0 ? static_cast<size_t>(std::max(width, kLeastWidth) - before) : SIZE_MAX;
    for (const std::string& line : WrapText(PrintableText(text), room)) {
        const int padding = labelWidth - static_cast<int>(std::strlen(label));
        Print("%s%s%s%s%*s%s\n", indent, colour, label, *colour != '\0' ? style.plain : "", padding, "",
              line.c_str());
        label = colour = "";
    }
}

bool OutputEnded()
{
    return failure != 0;
}

int FinishOutput(int status)
{
    FlushOutput();
    if (Interrupted()) return kInterrupted;
    if (failure == 0 || ReaderHasGone()) return status;
    Say("standard output cannot be written: " + std::generic_category().message(failure));
    return kRefused;
}

int Complain(const std::string& file, const std::string& message)
{
    FlushOutput();
    if (!Interrupted()) Say((file.empty() ? "\"\"" : file) + ": " + message);
    return kRefused;
}

void Say(const std::string& message)
{
    std::fprintf(stderr, "talvdicom: %s\n", PrintableText(message).c_str());
}
}  // namespace talv
