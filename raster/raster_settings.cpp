#include "raster/raster_settings.h"

#include "raster/row_kernels.h"
#include "raster/spare_mappings.h"

namespace talv {
RasterSettings rasterSettings;

void AttachRasterLibrary(void*)
{
    rasterSettings = RasterSettings{};
    BestRowKernels();
}

void DetachRasterLibrary()
{
    ReleaseSpareMappings();
    rasterSettings = RasterSettings{};
}

void DetachRasterThread() {}
}  // namespace talv
