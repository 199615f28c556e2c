#include "tools/talvdicom/command_line.h"

namespace talv {
namespace {
constexpr char kDescription[] =
    "Looks at a DICOM file with the code of the Talv DICOM Reader, which plays such files: what\n"
    ".B info\n"
    "tells is what the player does. Data goes to standard output, everything else to standard error.\n"
    "A\n.I FILE\nnamed\n.B \\-\nis read from standard input, through a temporary file that is gone when the "
    "command ends.\n";

constexpr char kStatus[] =
    ".TP\n.B 0\nDone. A reader of standard output that goes early is no fault.\n"
    ".TP\n.B 1\nThe file, or a frame of it, was refused; standard error says where, why and what to try.\n"
    ".TP\n.B 2\nWrong usage.\n"
    ".TP\n.B 3\n.B check\nfound warnings: shown, but perhaps not as it was meant.\n"
    ".TP\n.B 4\n.B check\nfound errors: something is missing or cannot be shown.\n"
    ".TP\n.B 130\nInterrupted; no unfinished file is left.\n";

constexpr char kEnvironment[] =
    ".TP\n.B NO_COLOR\nWhen it is set and not empty, nothing is coloured unless\n.B \\-\\-color=always\nsays "
    "so.\n"
    ".TP\n.B TMPDIR\nFolder for the copy of standard input.\n";

constexpr char kExamples[] =
    ".nf\n"
    "talvdicom info clip.dcm\n"
    "talvdicom dump clip.dcm \\-\\-find WindowCenter\n"
    "talvdicom frames clip.dcm \\-\\-out pictures \\-\\-frames 1\\-10 \\-\\-window minmax\n"
    "talvdicom stream clip.dcm \\-\\-loop 3 | ffplay \\-autoexit \\-f yuv4mpegpipe \\-i \\-\n"
    "talvdicom check clip.dcm || echo \"look at it\"\n"
    "gunzip \\-c clip.dcm.gz | talvdicom info \\- \\-\\-json\n"
    ".fi\n";

/// Text as troff takes it: no control characters at a line's start, dashes as they are.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '\\')
            escaped += "\\e";
        else if (c == '-')
            escaped += "\\-";
        else
            escaped += c;
    }
    return !escaped.empty() && (escaped[0] == '.' || escaped[0] == '\'') ? "\\&" + escaped : escaped;
}

void AddOptions(const CLI::App& app, std::string* page)
{
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional() || option->get_name() == "--help") continue;
        *page += ".TP\n.B " + Escaped(option->get_name(false, true));
        if (!option->get_type_name().empty() && option->get_expected_max() > 0)
            *page += " " + Escaped(option->get_type_name());
        *page += "\n" + Escaped(option->get_description()) + ".\n";
    }
}

std::string Synopsis(const CLI::App& command)
{
    std::string line = ".B talvdicom " + command.get_name() + "\n";
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional()) line += ".I " + option->get_name() + "\n";
        if (!option->get_positional() && option->get_required())
            line += ".B " + Escaped(option->get_name()) + "\n.I " + option->get_type_name() + "\n";
    }
    return line + (command.get_options().size() > 2 ? "[options]\n" : "");
}
}  // namespace

std::string ManualPage(const CommandLine& line)
{
    const auto commands = line.app.get_subcommands([](const CLI::App*) { return true; });
    std::string page = ".TH TALVDICOM 1 \"\" \"talvdicom " TALV_VERSION
                       "\" \"User Commands\"\n.SH NAME\n"
                       "talvdicom \\- shows, dumps, checks, exports and streams DICOM files\n.SH SYNOPSIS\n";
    for (const CLI::App* command : commands)
        page += (command == commands.front() ? "" : ".br\n") + Synopsis(*command);
    page += ".SH DESCRIPTION\n" + std::string(kDescription);
    page += ".SH COMMANDS\n";
    for (const CLI::App* command : commands) {
        page += ".SS " + command->get_name() + "\n" + Escaped(command->get_description()) + ".\n";
        AddOptions(*command, &page);
    }
    page += ".SH OPTIONS OF EVERY COMMAND\n";
    AddOptions(line.app, &page);
    page += ".SH EXIT STATUS\n" + std::string(kStatus);
    page += ".SH ENVIRONMENT\n" + std::string(kEnvironment);
    return page + ".SH EXAMPLES\n" + kExamples;
}
}  // namespace talv
