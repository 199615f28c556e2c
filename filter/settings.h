#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
inline constexpr int32_t kMinUserFrameTime = 20;  // ms
inline constexpr int32_t kMaxUserFrameTime = 1000;
inline constexpr int32_t kDefaultUserFrameTime = 40;
inline constexpr size_t kSettingsBlockSize = 12;
inline constexpr char kSettingsKeyPath[] = "SOFTWARE\\Talv Systems, Inc.\\DShow\\Filters\\TVDicRd2";
inline constexpr char kSettingsSection[] = "Talv DICOM Reader (2.0)";

/// The three user settings.
struct ReaderSettings
{
    int32_t userFrameTime = kDefaultUserFrameTime;  ///< ms, 20..1000
    int32_t frameControl = 0;                       ///< 1: the user frame time replaces the file's
    int32_t frameDropping = 0;  ///< 1: adapt to lateness instead of following quality messages
};

int32_t ClampUserFrameTime(int32_t milliseconds);
/// Reads the settings key; what is missing or of another length takes its default, the frame time is clamped
/// and a switch is on for every number but 0.
ReaderSettings ReadSettings();
/// Writes the settings key. 0, or the system's error code when the key cannot be created (nothing is written
/// then).
int32_t WriteSettings(const ReaderSettings& settings);
/// Writes the three INI keys as decimal text; false at the first that cannot be written.
bool ExportSettings(const ReaderSettings& settings, const char* fileName);
/// Reads the three INI keys: "UserRepeatTime", "EnableFrameControl", "EnableFrameDropping"; text that is no
/// number counts as 0, the frame time is clamped.
ReaderSettings ImportSettings(const char* fileName);
/// The number at the start of `text`, after white space and a sign; 0 when there is none. Saturates.
int32_t DecimalPrefix(const char* text);
/// Three little-endian 32-bit integers: frame time, frame control, frame dropping.
void SettingsToBlock(const ReaderSettings& settings, uint8_t block[kSettingsBlockSize]);
/// The reverse, clamped as ReadSettings does.
ReaderSettings SettingsFromBlock(const uint8_t block[kSettingsBlockSize]);
}  // namespace talv
