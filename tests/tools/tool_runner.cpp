#include "tests/tools/tool_runner.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "tests/support/temporary_file.h"

namespace talv {
ScratchFolder::ScratchFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "talvdicom-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code error;
    if (!path_.empty()) std::filesystem::remove_all(path_, error);
}

std::string ScratchFolder::Path(const std::string& name) const
{
    return (path_ / name).string();
}

std::vector<std::string> ScratchFolder::Names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string Quoted(const std::string& text)
{
    std::string quoted(1, '\'');
    for (const char c : text) {
        if (c == '\'')
            quoted.append("'\\''");
        else
            quoted.push_back(c);
    }
    quoted.push_back('\'');
    return quoted;
}

ToolRun RunShell(const std::string& command)
{
    const ScratchFolder scratch;
    const std::string out = scratch.Path("out"), err = scratch.Path("err");
    std::string whole = "tool=";
    whole.append(Quoted(TALVDICOM)).append("; { ").append(command).append("\n} >").append(Quoted(out));
    whole.append(" 2>").append(Quoted(err));
    // A run in the background of a script inherits these as ignored.
    for (const int signal : {SIGINT, SIGPIPE, SIGTERM}) std::signal(signal, SIG_DFL);
    const int answer = std::system(whole.c_str());
    ToolRun run;
    run.status = WIFEXITED(answer) ? WEXITSTATUS(answer) : 128 + WTERMSIG(answer);
    const ByteVector outBytes = ReadWholeFile(out), errBytes = ReadWholeFile(err);
    run.out.assign(outBytes.begin(), outBytes.end());
    run.err.assign(errBytes.begin(), errBytes.end());
    return run;
}

ToolRun RunTool(const std::vector<std::string>& arguments)
{
    std::string command = "\"$tool\"";
    for (const std::string& argument : arguments) command.append(" ").append(Quoted(argument));
    return RunShell(command);
}
}  // namespace talv
