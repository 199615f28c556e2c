#include "image/get_image.h"
#include "platform/module.h"
#include "raster/remap.h"
#include "raster/statistics.h"

namespace talv {
DataSetTables StandardTables()
{
    const auto codec = [](const char* name) { return reinterpret_cast<AnyFunction>(FindModuleSymbol(name)); };
    DataSetTables tables;
    tables.codecs.loadBufferCmp = codec("_fltLoadBufferCMP@36");
    tables.codecs.saveBufferCmp = codec("_fltSaveBufferCMP@36");
    tables.codecs.j2kDecompressFrame = codec("_fltJ2KDecompressFrame@12");
    tables.images.getStatistics = GetBitmapStatistics;
    tables.images.remapLinear = RemapLinear;
    tables.images.remapTable = RemapTable;
    return tables;
}
}  // namespace talv
