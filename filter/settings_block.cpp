#include <algorithm>

#include "filter/block_fields.h"
#include "filter/settings.h"

namespace talv {
int32_t ClampUserFrameTime(int32_t milliseconds)
{
    return std::clamp(milliseconds, kMinUserFrameTime, kMaxUserFrameTime);
}

void SettingsToBlock(const ReaderSettings& settings, uint8_t block[kSettingsBlockSize])
{
    PutU32(block, static_cast<uint32_t>(settings.userFrameTime));
    PutU32(block + 4, static_cast<uint32_t>(settings.frameControl));
    PutU32(block + 8, static_cast<uint32_t>(settings.frameDropping));
}

ReaderSettings SettingsFromBlock(const uint8_t block[kSettingsBlockSize])
{
    ReaderSettings settings;
    settings.userFrameTime = ClampUserFrameTime(static_cast<int32_t>(GetU32(block)));
    settings.frameControl = GetU32(block + 4) != 0 ? 1 : 0;
    settings.frameDropping = GetU32(block + 8) != 0 ? 1 : 0;
    return settings;
}
}  // namespace talv
