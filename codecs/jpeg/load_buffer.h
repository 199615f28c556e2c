#pragma once

#include <cstdint>

#include "platform/cpu.h"

namespace talv {
/// The arguments of the exported decoder function, as they come.
struct LoadRequest
{
    const uint8_t* source;
    uint32_t sourceLength;
    uint8_t* dest;
    int32_t format;
    int32_t width;
    int32_t height;
    uint32_t bitsPerPixel;
    const void* formatTables;
    uint32_t flags;
    // Not the caller's: the result does not depend on them, but for interpolated fields on the level.
    unsigned threads = 0;  ///< 0: one a processor
    SimdLevel level = DetectedSimdLevel();
};

/// Decodes one JPEG or CMP stream into the caller's rows: 1, or a negative code. May throw std::bad_alloc.
int32_t LoadBuffer(const LoadRequest& request);
}  // namespace talv
