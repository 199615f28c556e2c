#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/output.h"

namespace talv {
/// Everything that a user can say. The parser is the one source of --help, of the manual page and of the
/// shell completions.
class CommandLine
{
  public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    CLI::App app;
    std::string file;
    ColourChoice colours = ColourChoice::automatic;
    int64_t maxFrameMiB = 0;  ///< 0: the component's own limit
    bool anySize = false;

    CLI::App* info = nullptr;
    CLI::App* dump = nullptr;
    CLI::App* frames = nullptr;
    CLI::App* stream = nullptr;
    CLI::App* check = nullptr;
    CLI::App* bench = nullptr;
    CLI::App* completion = nullptr;
    CLI::App* manual = nullptr;
    bool json = false;  ///< of info and bench
    DumpOptions dumpOptions;
    FramesOptions framesOptions;
    StreamOptions streamOptions;
    CheckOptions checkOptions;
    std::string shell;

    /// What the parser cannot tell by looking at one option; an error message, or nothing.
    std::string Contradiction() const;

  private:
    CLI::App* AddFileCommand(const char* name, const char* purpose);
    void AddGeneral();
    void AddInfoAndDump();
    void AddFrames();
    void AddStream();
    void AddOthers();
};

/// The manual page in troff.
std::string ManualPage(const CommandLine& line);
/// A completion script for "bash", "zsh" or "fish".
std::string CompletionScript(const CommandLine& line, const std::string& shell);
}  // namespace talv
