#include "filter/settings.h"

#include <algorithm>

namespace talv
{
int32_t ClampUserFrameTime(int32_t milliseconds)
{
    return std::clamp(milliseconds, kMinUserFrameTime, kMaxUserFrameTime);
}
}  // namespace talv
