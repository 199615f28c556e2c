#pragma once

#include <cstdint>

namespace talv {
/// Results of the raster library: 1 for success, a negative code for each failure.
enum RasterStatus : int32_t
{
    kRasterOk = 1,
    kRasterNoMemory = -1,      ///< out of memory, or a storage object could not be created
    kRasterNotAllocated = -2,  ///< no pixels allocated, or tiled storage could not be built
    kRasterSeekFailed = -4,
    kRasterWriteFailed = -5,  ///< the backing file could not be extended or written
    kRasterReadFailed = -7,
    kRasterEmpty = -11,     ///< `dataSize` is 0
    kRasterInvalid = -13,   ///< null pointer, unknown memory kind, bad state or argument
    kRasterBadDepth = -27,  ///< unsupported bits per pixel or colour order
    kRasterNoCmpCodec = -356,
    kRasterNoFaxCodec = -357,
    kRasterWrongStructSize = -789,
    kRasterNullBitmap = -814,
};

/// One line of English for `status`; never null.
const char* RasterStatusText(int32_t status);
}  // namespace talv
