#include "filter/block_fields.h"
#include "filter/settings.h"
#include "platform/settings_store.h"

// The settings key. Kept: each value carries the raw four bytes of its little-endian integer under the type
// REG_SZ, where one would expect its decimal text; keys written long ago must read back. Pinned by
// RegistrySettings.ValuesAreFourRawBytes.
namespace talv {
namespace {
constexpr char kFrameTimeValue[] = "Frame Time";
constexpr char kFrameControlValue[] = "Frame Control";
constexpr char kFrameDroppingValue[] = "Frame Dropping";

int32_t ReadValue(const SettingsKey& key, const char* name, int32_t fallback)
{
    uint8_t bytes[4];
    return key.ReadBytes(name, bytes, sizeof bytes) ? static_cast<int32_t>(GetU32(bytes)) : fallback;
}

void WriteValue(SettingsKey* key, const char* name, int32_t value)
{
    uint8_t bytes[4];
    PutU32(bytes, static_cast<uint32_t>(value));
    key->WriteBytes(name, bytes, sizeof bytes);
}
}  // namespace

ReaderSettings ReadSettings()
{
    ReaderSettings settings;
    SettingsKey key;
    if (!key.OpenForReading(kSettingsKeyPath)) return settings;
    settings.frameControl = ReadValue(key, kFrameControlValue, 0) != 0 ? 1 : 0;
    settings.frameDropping = ReadValue(key, kFrameDroppingValue, 0) != 0 ? 1 : 0;
    settings.userFrameTime = ClampUserFrameTime(ReadValue(key, kFrameTimeValue, kDefaultUserFrameTime));
    return settings;
}

int32_t WriteSettings(const ReaderSettings& settings)
{
    SettingsKey key;
    const int32_t error = key.Create(kSettingsKeyPath);
    if (error != 0) return error;
    WriteValue(&key, kFrameControlValue, settings.frameControl);
    WriteValue(&key, kFrameDroppingValue, settings.frameDropping);
    WriteValue(&key, kFrameTimeValue, settings.userFrameTime);
    return 0;
}
}  // namespace talv
