#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/byte_writer.h"

namespace talv {
/// What one run of the tool left.
struct ToolRun
{
    int status = -1;  ///< exit status; 128 + n when signal n ended it
    std::string out, err;
};

/// A folder of its own, removed with all in it when the object goes.
class ScratchFolder
{
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string Path(const std::string& name = {}) const;
    std::vector<std::string> Names() const;  ///< of what is in it, sorted

  private:
    std::filesystem::path path_;
};

/// Runs talvdicom with `arguments`, each passed as it is.
ToolRun RunTool(const std::vector<std::string>& arguments);
/// Runs `command` in the shell with $tool set to the tool's path.
ToolRun RunShell(const std::string& command);
/// `text` as one word of the shell.
std::string Quoted(const std::string& text);
}  // namespace talv
