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
    int64_t maxBitmapBytes = 0;  ///< replaces kMaxBitmapBytes when positive; at most INT32_MAX counts
};
extern RasterSettings rasterSettings;

/// Called at process attach, before any other thread uses the library: default settings, and the choice of
/// the row kernels for this processor. Memory work only. `moduleHandle` is the handle of the module that the
/// library lives in.
void AttachRasterLibrary(void* moduleHandle);
/// Called at process detach: default settings again, and the spare mappings are given back. Bitmaps own
/// everything else and are freed by their owners.
void DetachRasterLibrary();
/// Called when a thread ends. The library keeps nothing for a single thread.
void DetachRasterThread();
}  // namespace talv
