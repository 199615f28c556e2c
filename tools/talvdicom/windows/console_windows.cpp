// clang-format off
#include <windows.h>  // the others build on it
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <atomic>
#include <cstdlib>

#include "tools/talvdicom/console.h"

namespace talv {
namespace {
std::atomic<bool> interrupted{false};
UINT formerCodePage = 0;

BOOL WINAPI NoteInterrupt(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    return interrupted.exchange(true) ? FALSE : TRUE;
}

void RestoreCodePage()
{
    SetConsoleOutputCP(formerCodePage);
}

std::string Utf8FromWide(const wchar_t* wide)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    std::string text(size > 0 ? static_cast<size_t>(size) : 1, '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), size, nullptr, nullptr);
    text.pop_back();
    return text;
}

HANDLE Output()
{
    return GetStdHandle(STD_OUTPUT_HANDLE);
}
}  // namespace

void PrepareConsole()
{
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleCtrlHandler(NoteInterrupt, TRUE);
    formerCodePage = GetConsoleOutputCP();
    if (formerCodePage != 0 && SetConsoleOutputCP(CP_UTF8)) std::atexit(RestoreCodePage);
}

bool Interrupted()
{
    return interrupted;
}

std::vector<std::string> ArgumentsInUtf8(int argc, char** argv)
{
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) return {argv, argv + argc};
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) arguments.push_back(Utf8FromWide(wide[i]));
    LocalFree(wide);
    return arguments;
}

std::filesystem::path PathFromArgument(const std::string& argument)
{
    const std::filesystem::path path(std::u8string(argument.begin(), argument.end()));
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(path, error).make_preferred();
    // The long form takes no relative names, and short names need none.
    const std::wstring& text = whole.native();
    if (error || text.size() < MAX_PATH || text.starts_with(L"\\\\")) return path;
    return L"\\\\?\\" + text;
}

std::FILE* OpenForReading(const std::filesystem::path& path)
{
    return _wfopen(path.c_str(), L"rb");
}

std::FILE* OpenForWriting(const std::filesystem::path& path)
{
    return _wfopen(path.c_str(), L"wb");
}

std::filesystem::path MakeTemporaryFile()
{
    // A user's name may have no form in the ANSI code page, the short name of the folder has.
    wchar_t folder[MAX_PATH + 1] = {}, name[MAX_PATH + 1] = {};
    if (GetTempPathW(MAX_PATH, folder) == 0) return {};
    GetShortPathNameW(folder, folder, MAX_PATH);
    return GetTempFileNameW(folder, L"tvd", 0, name) != 0 ? name : L"";
}

unsigned long ProcessNumber()
{
    return GetCurrentProcessId();
}

bool ErrorIsTerminal()
{
    return _isatty(_fileno(stderr)) != 0;
}

bool OutputIsTerminal()
{
    DWORD mode = 0;
    return GetConsoleMode(Output(), &mode) != 0;
}

bool OutputIsFile()
{
    return GetFileType(Output()) == FILE_TYPE_DISK;
}

int OutputWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(Output(), &info)) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool PrepareColours()
{
    DWORD mode = 0;
    return GetConsoleMode(Output(), &mode) &&
           SetConsoleMode(Output(), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}
}  // namespace talv
