#include "platform/clock.h"

#include <chrono>

namespace talv {
uint32_t TickCount()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}
}  // namespace talv
