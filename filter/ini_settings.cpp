#include <cstdio>

#include "filter/settings.h"
#include "platform/settings_store.h"

namespace talv {
namespace {
constexpr char kFrameTimeKey[] = "UserRepeatTime";
constexpr char kFrameControlKey[] = "EnableFrameControl";
constexpr char kFrameDroppingKey[] = "EnableFrameDropping";
constexpr size_t kTextSize = 80;

bool WriteNumber(const char* fileName, const char* key, int32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%d", static_cast<int>(value));
    return WriteIniText(fileName, kSettingsSection, key, text);
}

int32_t ReadNumber(const char* fileName, const char* key)
{
    char text[kTextSize];
    ReadIniText(fileName, kSettingsSection, key, "Error", text, sizeof text);
    return DecimalPrefix(text);
}
}  // namespace

int32_t DecimalPrefix(const char* text)
{
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    int64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + (negative ? '0' - *text : *text - '0');
        if (value > INT32_MAX) return INT32_MAX;
        if (value < INT32_MIN) return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

bool ExportSettings(const ReaderSettings& settings, const char* fileName)
{
    return WriteNumber(fileName, kFrameTimeKey, settings.userFrameTime) &&
           WriteNumber(fileName, kFrameControlKey, settings.frameControl) &&
           WriteNumber(fileName, kFrameDroppingKey, settings.frameDropping);
}

ReaderSettings ImportSettings(const char* fileName)
{
    ReaderSettings settings;
    settings.userFrameTime = ClampUserFrameTime(ReadNumber(fileName, kFrameTimeKey));
    settings.frameControl = ReadNumber(fileName, kFrameControlKey) != 0 ? 1 : 0;
    settings.frameDropping = ReadNumber(fileName, kFrameDroppingKey) != 0 ? 1 : 0;
    return settings;
}
}  // namespace talv
