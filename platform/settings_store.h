#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
/// One key of the machine-wide settings store: HKEY_LOCAL_MACHINE on Windows, a table of this process
/// elsewhere. Values carry raw bytes under the registry type REG_SZ, whatever they mean; under REG_BINARY
/// where the system's code page would change them.
class SettingsKey
{
  public:
    SettingsKey() = default;
    SettingsKey(const SettingsKey&) = delete;
    SettingsKey& operator=(const SettingsKey&) = delete;
    ~SettingsKey() { Close(); }

    /// Opens an existing key for reading; false when there is none or it may not be read.
    bool OpenForReading(const char* path);
    /// Creates or opens the key with full access. Returns 0 or the system's error code.
    int32_t Create(const char* path);
    void Close();

    /// Reads a value of exactly `count` bytes, ignoring its type; false when it is missing or of another
    /// length.
    bool ReadBytes(const char* name, void* buffer, size_t count) const;
    bool WriteBytes(const char* name, const void* bytes, size_t count);

  private:
    void* key_ = nullptr;
};

/// Writes one entry of an INI file; false when the file cannot be written. `fileName` as in platform/file.h.
bool WriteIniText(const char* fileName, const char* section, const char* key, const char* text);
/// Reads one entry into `buffer` (always terminated, cut to `bufferSize` - 1), or copies `fallback` when it
/// is missing.
void ReadIniText(const char* fileName, const char* section, const char* key, const char* fallback,
                 char* buffer, size_t bufferSize);
}  // namespace talv
