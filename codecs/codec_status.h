#pragma once

#include <cstdint>

namespace talv {
/// Results of the exported codec functions: 1 for success, a negative code for each failure.
enum CodecStatus : int32_t
{
    kCodecOk = 1,
    kCodecNoMemory = -1,
    kCodecUnsupported = -9,  ///< not a stream this decoder accepts
    kCodecInvalidParameter = -13,
    kCodecBadDepth = -27,  ///< destination bits per pixel do not fit the stream
    kCodecNotReadable = -34,
    kCodecTooNarrow = -44,  ///< destination narrower than the image
};
}  // namespace talv
