#pragma once

#include "codecs/entry_points.h"

/// Decompresses one JPEG 2000 codestream (from its SOC marker) into the caller's rows.
///
///   src         `sourceLength` bytes, left as they are
///   dest        the first destination row; rows are `bytesPerLine` apart
///   descriptor  `size` 60; `width` and `height` clip the image, and what it does not reach is set to 0
///
/// 8, 16, 24, 32, 48 or 64 bits per pixel take 1, 1, 3, 1 (deep) or 4, 3 and 4 components; one component also
/// fills the three of a colour pixel. Colours come as blue, green, red. Samples of 8 bits are the high bits
/// of deeper components; wider samples hold the component's values, signed ones in two's complement.
///
/// 1, or: -1 no memory or more than a frame may cost, -9 a stream of later extensions or of more than 31
/// bits, -13 invalid argument, -27 components do not fit the bits per pixel, -789 another `size`, -533, -534,
/// -536, -539 (`J2kStatus`). Calls are independent of each other; the threads of a call have ended when it
/// returns.
extern "C" FLT_EXPORT int32_t FLT_CALL
fltJ2KDecompressFrame(const void* src, void* dest, const talv::J2KFrameDescriptor* descriptor) noexcept;
