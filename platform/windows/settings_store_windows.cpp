// Registry and INI files. All calls are the narrow ones: values are raw bytes under REG_SZ, and the registry
// converts text between its narrow and wide calls, so bytes written by one kind come back changed through the
// other.

#include <windows.h>

#include <limits>
#include <new>
#include <string>

#include "platform/settings_store.h"

namespace talv {
bool SettingsKey::OpenForReading(const char* path)
{
    Close();
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    key_ = key;
    return true;
}

int32_t SettingsKey::Create(const char* path)
{
    Close();
    HKEY key = nullptr;
    const LSTATUS status = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (status == ERROR_SUCCESS) key_ = key;
    return status;
}

void SettingsKey::Close()
{
    if (key_ != nullptr) RegCloseKey(static_cast<HKEY>(key_));
    key_ = nullptr;
}

bool SettingsKey::ReadBytes(const char* name, void* buffer, size_t count) const
{
    if (key_ == nullptr) return false;
    const HKEY key = static_cast<HKEY>(key_);
    // The length is asked for first, so a value of another length leaves the buffer alone.
    DWORD length = 0;
    if (RegQueryValueExA(key, name, nullptr, nullptr, nullptr, &length) != ERROR_SUCCESS || length != count)
        return false;
    return RegQueryValueExA(key, name, nullptr, nullptr, static_cast<BYTE*>(buffer), &length) ==
               ERROR_SUCCESS &&
           length == count;
}

bool SettingsKey::WriteBytes(const char* name, const void* bytes, size_t count)
{
    if (key_ == nullptr || count >= std::numeric_limits<DWORD>::max()) return false;
    try {
        // The call takes the bytes for text: it looks behind the last one and stores a zero that it finds
        // there too.
        std::string value(static_cast<const char*>(bytes), count), kept(count, '\0');
        value.push_back('\xFF');
        const auto write = [&](DWORD type) {
            return RegSetValueExA(static_cast<HKEY>(key_), name, 0, type,
                                  reinterpret_cast<const BYTE*>(value.data()),
                                  static_cast<DWORD>(count)) == ERROR_SUCCESS;
        };
        if (!write(REG_SZ)) return false;
        // Code pages with characters of several bytes do not give every byte back.
        const bool same = ReadBytes(name, kept.data(), count) && value.compare(0, count, kept) == 0;
        return same || write(REG_BINARY);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool WriteIniText(const char* fileName, const char* section, const char* key, const char* text)
{
    return WritePrivateProfileStringA(section, key, text, fileName) != 0;
}

void ReadIniText(const char* fileName, const char* section, const char* key, const char* fallback,
                 char* buffer, size_t bufferSize)
{
    if (bufferSize == 0) return;
    buffer[0] = '\0';
    if (bufferSize > std::numeric_limits<DWORD>::max()) bufferSize = std::numeric_limits<DWORD>::max();
    GetPrivateProfileStringA(section, key, fallback, buffer, static_cast<DWORD>(bufferSize), fileName);
}
}  // namespace talv
