#include "filter/directshow/help_lookup.h"

#include <string>
#include <vector>

#include "filter/directshow/com_object.h"
#include "filter/directshow/server_lock.h"
#include "filter/frame_source.h"
#include "platform/notice.h"

namespace talv {
namespace {
constexpr char kHelpKey[] = "SOFTWARE\\Talv Systems, Inc.\\DShow\\Help";
constexpr char kHelpFile[] = "tvfilters.chm";

// The value as text, whatever its length; empty when there is none.
std::string HelpPath()
{
    DWORD size = 0;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, kHelpKey, "Path", RRF_RT_REG_SZ, nullptr, nullptr, &size) !=
        ERROR_SUCCESS)
        return {};
    std::string text(size, '\0');
    if (RegGetValueA(HKEY_LOCAL_MACHINE, kHelpKey, "Path", RRF_RT_REG_SZ, nullptr, text.data(), &size) !=
        ERROR_SUCCESS)
        return {};
    return text.c_str();
}

std::string OwnDirectory()
{
    char path[MAX_PATH + 1] = {};
    GetModuleFileNameA(serverModule, path, MAX_PATH);
    const std::string text(path);
    const size_t slash = text.find_last_of('\\');
    return slash == std::string::npos ? std::string() : text.substr(0, slash);
}

std::vector<std::string> HelpDirectories()
{
    std::vector<std::string> directories;
    const std::string path = HelpPath();
    for (size_t begin = 0; begin < path.size();) {
        size_t end = path.find(';', begin);
        if (end == std::string::npos) end = path.size();
        std::string directory = path.substr(begin, end - begin);
        while (!directory.empty() && directory.back() == '\\') directory.pop_back();
        if (!directory.empty()) directories.push_back(directory);
        begin = end + 1;
    }
    directories.push_back(OwnDirectory());
    return directories;
}

bool FileExists(const std::string& name)
{
    const DWORD attributes = GetFileAttributesA(name.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::string LastFolder(const std::string& directory)
{
    const size_t slash = directory.find_last_of('\\');
    return (slash == std::string::npos ? directory : directory.substr(slash + 1)) + "\\" + kHelpFile;
}

void ShowNotFound(const std::vector<std::string>& directories)
{
    const std::string text = "The following help files were not found in the help path(s): \n\n- ...\\" +
                             LastFolder(directories.front()) + "\n- ...\\" + LastFolder(directories.back()) +
                             "\n- ...\\tvfilters.chm\n";
    ShowNotice(text.c_str(), kErrorTitle, kNoticeExclamation);
}

// The help viewer is loaded only when help is asked for; its function takes a file with a topic.
bool OpenTopic(HWND owner, const std::string& target)
{
    using HtmlHelp = HWND(WINAPI*)(HWND, LPCSTR, UINT, DWORD_PTR);
    constexpr UINT kDisplayTopic = 0;
    const HMODULE viewer = LoadLibraryExW(L"hhctrl.ocx", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (viewer == nullptr) return false;
    const auto open =
        reinterpret_cast<HtmlHelp>(reinterpret_cast<void*>(GetProcAddress(viewer, "HtmlHelpA")));
    return open != nullptr && open(owner, target.c_str(), kDisplayTopic, 0) != nullptr;
}
}  // namespace

void ShowHelpTopic(HWND owner, const char* topic)
{
    Guarded([&] {
        const std::vector<std::string> directories = HelpDirectories();
        for (const std::string& directory : directories) {
            const std::string file = directory + "\\" + kHelpFile;
            if (!FileExists(file)) continue;
            if (!OpenTopic(owner, file + "::/Filters/" + topic + ".htm"))
                ShowNotice("Can't find help file.", kErrorTitle, kNoticeExclamation);
            return S_OK;
        }
        ShowNotFound(directories);
        return S_FALSE;
    });
}
}  // namespace talv
