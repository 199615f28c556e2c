#pragma once

#include <cstdint>

#include "codecs/entry_points.h"

namespace talv {
/// Decodes one codestream of `descriptor.sourceLength` bytes into the caller's rows. `threads` is the number
/// of threads at work, 0 for one a processor; the result does not depend on it. kCodecOk, or the negative
/// code of the first stage that fails; what a damaged stream holds before the damage is delivered. Throws
/// std::bad_alloc.
int32_t DecodeJ2kFrame(const uint8_t* source, void* rows, const J2KFrameDescriptor& descriptor,
                       unsigned threads);
}  // namespace talv
