#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
// All values of a key under HKEY_CLASSES_ROOT: name to text. Empty when there is no key.
std::map<std::string, std::string> Values(const std::string& path)
{
    std::map<std::string, std::string> values;
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return values;
    for (DWORD index = 0;; ++index) {
        char name[128] = {}, text[512] = {};
        DWORD nameSize = sizeof(name), type = 0, size = sizeof(text);
        if (RegEnumValueA(key, index, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(text),
                          &size) != ERROR_SUCCESS)
            break;
        EXPECT_EQ(type, DWORD{REG_SZ});
        EXPECT_EQ(size, std::strlen(text) + 1);
        values[name] = text;
    }
    RegCloseKey(key);
    return values;
}

constexpr char kExtensions[] = "Media Type\\Extensions\\";
constexpr char kPattern[] =
    "Media Type\\{73646976-0000-0010-8000-00AA00389B71}\\{59524754-0000-0010-8000-00AA00389B71}";
using Map = std::map<std::string, std::string>;

class Registration : public ComponentTest
{};

TEST_F(Registration, FileTypeKeysAreWrittenAsListed)
{
    ASSERT_EQ(Server::Get().registerServer(), S_OK);
    const Map dic = {{"Source Filter", "{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"},
                     {"Media Type", "{73646976-0000-0010-8000-00AA00389B71}"},
                     {"Subtype", "{00000000-0000-0000-0000-000000000000}"}};
    Map dcm = dic;
    dcm["Source Filter"] = "{E2B7DB57-38C5-11D5-91F6-00104BDB8FF9}";
    EXPECT_EQ(Values(std::string(kExtensions) + ".dic"), dic);
    EXPECT_EQ(Values(std::string(kExtensions) + ".dcm"), dcm);
    const Map pattern = {{"Source Filter", "{E2B7DB57-38C5-11D5-91F6-00104bdb8ff9}"},
                         {"1", "128,4,FFFFFFFF,4449434D"}};
    EXPECT_EQ(Values(kPattern), pattern);

    EXPECT_EQ(Values("CLSID\\{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}")[""], "Talv DICOM Reader (2.0)");
    EXPECT_EQ(Values("CLSID\\{E2B7DDB9-38C5-11D5-91F6-00104BDB8FF9}\\InprocServer32")["ThreadingModel"],
              "Both");
    ComPointer<IBaseFilter> filter;
    EXPECT_EQ(
        CoCreateInstance(kReaderClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, filter.OutVoid()),
        S_OK);
    filter.Reset();
    ComPointer<ITypeLib> library;
    EXPECT_EQ(LoadRegTypeLib(kTypeLibrary, 1, 0, 0, library.Out()), S_OK);
    library.Reset();

    EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
    EXPECT_EQ(Values(std::string(kExtensions) + ".dcm"), Map());
    EXPECT_EQ(Values(kPattern), Map());
    EXPECT_EQ(Values("CLSID\\{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"), Map());
    EXPECT_NE(LoadRegTypeLib(kTypeLibrary, 1, 0, 0, library.Out()), S_OK);
    EXPECT_EQ(Server::Get().unregisterServer(), S_OK) << "nothing to remove is no error";
}

// Keys that are missing are no reason to stop, and what others wrote below the video key stays.
TEST_F(Registration, RemovingLeavesOthersAlone)
{
    const std::string video = "Media Type\\{73646976-0000-0010-8000-00AA00389B71}",
                      other = video + "\\{other}";
    ASSERT_EQ(Server::Get().registerServer(), S_OK);
    RegSetKeyValueA(HKEY_CLASSES_ROOT, other.c_str(), "Source Filter", REG_SZ, "x", 2);
    RegDeleteTreeA(HKEY_CLASSES_ROOT, "Media Type\\Extensions\\.dcm");
    RegDeleteTreeA(HKEY_CLASSES_ROOT, "CLSID\\{E2B7DDB9-38C5-11D5-91F6-00104BDB8FF9}");
    EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
    EXPECT_EQ(Values(std::string(kExtensions) + ".dic"), Map());
    EXPECT_EQ(Values("CLSID\\{E2B7DDBA-38C5-11D5-91F6-00104BDB8FF9}"), Map());
    EXPECT_EQ(Values(other), (Map{{"Source Filter", "x"}}));
    RegDeleteTreeA(HKEY_CLASSES_ROOT, other.c_str());
    EXPECT_EQ(Server::Get().registerServer(), S_OK);
    EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, video.c_str(), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
}

// The same component without its library: the user is told, the classes are registered all the same.
TEST_F(Registration, AMissingTypeLibraryIsToldAndIsNoFailure)
{
    std::ifstream whole(std::filesystem::path(Server::Get().path), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(whole), {}};
    const size_t library = bytes.find(std::string("MSFT\2\0\1\0", 8));
    ASSERT_NE(library, std::string::npos);
    bytes.replace(library, 4, "none");
    const std::filesystem::path copy = std::filesystem::temp_directory_path() / "talv-no-library.ax";
    std::ofstream(copy, std::ios::binary) << bytes;
    const HMODULE module = LoadLibraryW(copy.c_str());
    ASSERT_NE(module, nullptr);
    const auto entry = [&](const char* name) {
        return reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    };
    {
        const NoticeCapture notices;
        EXPECT_EQ(entry("DllRegisterServer")(), S_OK);
        EXPECT_EQ(notices.Text(), "Error: Failed to register type library: " + copy.string() + "\n");
    }
    EXPECT_NE(Values("CLSID\\{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"), Map());
    EXPECT_EQ(entry("DllUnregisterServer")(), S_OK);
    EXPECT_EQ(Values("CLSID\\{E2B7DDB8-38C5-11D5-91F6-00104BDB8FF9}"), Map());
    FreeLibrary(module);
    std::filesystem::remove(copy);
}

TEST_F(Registration, TheFrameworkListsTheFilterButNeverPicksIt)
{
    ASSERT_EQ(Server::Get().registerServer(), S_OK);
    ComPointer<IFilterMapper2> mapper;
    CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                     mapper.OutVoid());
    const auto listed = [&](DWORD merit) {
        ComPointer<IEnumMoniker> monikers;
        mapper->EnumMatchingFilters(monikers.Out(), 0, FALSE, merit, FALSE, 0, nullptr, nullptr, nullptr,
                                    FALSE, TRUE, 0, nullptr, nullptr, nullptr);
        ComPointer<IMoniker> moniker;
        bool found = false;
        while (monikers && monikers->Next(1, moniker.Out(), nullptr) == S_OK) {
            LPOLESTR name = nullptr;
            moniker->GetDisplayName(nullptr, nullptr, &name);
            if (name != nullptr && wcsstr(name, L"E2B7DDB8-38C5") != nullptr) found = true;
            CoTaskMemFree(name);
        }
        return found;
    };
    EXPECT_TRUE(listed(0x200000));
    EXPECT_FALSE(listed(0x200001));
    EXPECT_EQ(Server::Get().unregisterServer(), S_OK);
    EXPECT_FALSE(listed(0x200000));
}
}  // namespace
}  // namespace talv
