#include "raster/raster_settings.h"

#include "raster/row_kernels.h"

namespace talv {
RasterSettings rasterSettings;

void AttachRasterLibrary(void*)
{
    rasterSettings = RasterSettings{};
    BestRowKernels();
}

void DetachRasterLibrary()
{
    rasterSettings = RasterSettings{};
}

void DetachRasterThread() {}
}  // namespace talv
