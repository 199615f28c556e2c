#pragma once

#include <cstdint>

namespace talv {
/// Milliseconds since some fixed moment, wrapping after 49.7 days as the system's tick count does.
uint32_t TickCount();
}  // namespace talv
