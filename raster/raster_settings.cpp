#include "raster/raster_settings.h"

namespace talv {
RasterSettings rasterSettings;
}  // namespace talv
