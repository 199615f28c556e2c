#include "filter/directshow/file_type_keys.h"

#include <dshow.h>
#include <windows.h>

#include <cstring>
#include <initializer_list>

#include "filter/directshow/server_ids.h"

namespace talv {
namespace {
constexpr char kDicKey[] = "Media Type\\Extensions\\.dic";
constexpr char kDcmKey[] = "Media Type\\Extensions\\.dcm";
constexpr char kVideoKey[] = "Media Type\\{73646976-0000-0010-8000-00AA00389B71}";
constexpr char kPatternKey[] =
    "Media Type\\{73646976-0000-0010-8000-00AA00389B71}\\{59524754-0000-0010-8000-00AA00389B71}";

// Kept: ".dcm" and the byte pattern name a class that this server does not have; one would expect the
// reader's own, as ".dic" names it. Pinned by Registration.FileTypeKeysAreWrittenAsListed.
constexpr char kForeignReader[] = "{E2B7DB57-38C5-11D5-91F6-00104BDB8FF9}";
constexpr char kForeignReaderOfPattern[] = "{E2B7DB57-38C5-11D5-91F6-00104bdb8ff9}";
constexpr char kVideo[] = "{73646976-0000-0010-8000-00AA00389B71}";
constexpr char kNull[] = "{00000000-0000-0000-0000-000000000000}";
// At offset 128, 4 bytes, all bits compared, equal to "DICM".
constexpr char kPattern[] = "128,4,FFFFFFFF,4449434D";
static_assert(sizeof(kForeignReader) == 39 && sizeof(kPattern) == 24);

constexpr const char* kValueNames[] = {"Source Filter", "Media Type", "Subtype"};

class RootKey
{
  public:
    explicit RootKey(const char* path)
    {
        if (RegCreateKeyExA(HKEY_CLASSES_ROOT, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key_, nullptr) !=
            ERROR_SUCCESS)
            key_ = nullptr;
    }
    ~RootKey()
    {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    RootKey(const RootKey&) = delete;
    RootKey& operator=(const RootKey&) = delete;
    explicit operator bool() const { return key_ != nullptr; }
    void Write(const char* name, const char* text)
    {
        RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                       static_cast<DWORD>(std::strlen(text) + 1));
    }

  private:
    HKEY key_ = nullptr;
};

struct GuidText
{
    explicit GuidText(REFGUID guid)
    {
        wchar_t wide[40] = {};
        StringFromGUID2(guid, wide, 40);
        for (int i = 0; i < 40; ++i) text[i] = static_cast<char>(wide[i]);
    }
    char text[40];
};

bool IsEmpty(const char* path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    DWORD subkeys = 0, values = 0;
    const LSTATUS asked = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                                           &values, nullptr, nullptr, nullptr, nullptr);
    RegCloseKey(key);
    return asked == ERROR_SUCCESS && subkeys == 0 && values == 0;
}

// Deletes the key where that needs no deleting of subkeys.
void RemoveExtension(const char* path)
{
    for (const char* name : kValueNames) {
        char subkey[128];
        wsprintfA(subkey, "%s\\%s", path, name);
        RegDeleteKeyA(HKEY_CLASSES_ROOT, subkey);
    }
    RegDeleteKeyA(HKEY_CLASSES_ROOT, path);
}
}  // namespace

int WriteFileTypeKeys()
{
    RootKey dic(kDicKey);
    if (!dic) return 0;
    dic.Write("Source Filter", GuidText(kReaderClass).text);
    dic.Write("Media Type", GuidText(MEDIATYPE_Video).text);
    dic.Write("Subtype", GuidText(GUID_NULL).text);

    RootKey dcm(kDcmKey);
    if (!dcm) return 0;
    dcm.Write("Source Filter", kForeignReader);
    dcm.Write("Media Type", kVideo);
    dcm.Write("Subtype", kNull);

    const RootKey video(kVideoKey);
    if (!video) return 0;
    RootKey pattern(kPatternKey);
    if (!pattern) return 0;
    pattern.Write("Source Filter", kForeignReaderOfPattern);
    pattern.Write("1", kPattern);
    return 1;
}

int RemoveFileTypeKeys()
{
    RegDeleteKeyA(HKEY_CLASSES_ROOT, kPatternKey);
    RemoveExtension(kDcmKey);
    RemoveExtension(kDicKey);
    for (const char* path : {kDicKey, kDcmKey, kVideoKey})
        if (IsEmpty(path)) RegDeleteKeyA(HKEY_CLASSES_ROOT, path);
    return 1;
}
}  // namespace talv
