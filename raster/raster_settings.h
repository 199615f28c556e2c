#pragma once

#include <cstdint>

namespace talv {
/// Process-wide settings of the raster library; changed only while no other thread uses it.
struct RasterSettings
{
    int32_t rowOrder = 1;     ///< default for new bitmaps: 1 top-down
    int32_t xResolution = 0;  ///< dots per inch; 150 when not positive
    int32_t yResolution = 0;
    int64_t maxMemoryBlock = 0;                    ///< bytes; 16 MiB when not positive
    int64_t minFreeMemory = 0;                     ///< bytes to leave free; negative: percent of all memory
    int64_t maxInMemory = INT64_MAX;               ///< bytes; negative: percent of the available memory
    int32_t maxResidentTiles = -100;               ///< count; negative: percent of the tiles
    int64_t maxTemporaryBytes = int64_t{1} << 30;  ///< temporary files in total
};
extern RasterSettings rasterSettings;

/// Process and thread hooks of the library.
void AttachRasterLibrary(void* moduleHandle);
void DetachRasterLibrary();
void DetachRasterThread();
}  // namespace talv
