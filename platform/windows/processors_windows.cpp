#include <windows.h>

#include <algorithm>
#include <bit>
#include <cstdint>

#include "platform/cpu.h"

namespace talv {
unsigned ProcessorCount()
{
    DWORD_PTR allowed = 0, present = 0;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &allowed, &present)) return 1;
    return static_cast<unsigned>(std::max(1, std::popcount(static_cast<uint64_t>(allowed))));
}
}  // namespace talv
