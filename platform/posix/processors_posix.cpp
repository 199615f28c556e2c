#include <sched.h>
#include <unistd.h>

#include <algorithm>

#include "platform/cpu.h"

namespace talv {
unsigned ProcessorCount()
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof(allowed), &allowed) == 0)
        return static_cast<unsigned>(std::max(1, CPU_COUNT(&allowed)));
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}
}  // namespace talv
