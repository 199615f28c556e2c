#include "raster/raster_status.h"

namespace talv {
const char* RasterStatusText(int32_t status)
{
    switch (status) {
        case kRasterOk:
            return "success";
        case kRasterNoMemory:
            return "out of memory";
        case kRasterNotAllocated:
            return "no pixels allocated";
        case kRasterSeekFailed:
            return "seeking in the backing file failed";
        case kRasterWriteFailed:
            return "the backing file could not be written";
        case kRasterReadFailed:
            return "the backing file could not be read";
        case kRasterEmpty:
            return "the raster is empty";
        case kRasterInvalid:
            return "invalid parameter";
        case kRasterBadDepth:
            return "unsupported bits per pixel or colour order";
        case kRasterNoCmpCodec:
            return "the CMP codec is not available";
        case kRasterNoFaxCodec:
            return "the FAX codec is not available";
        case kRasterWrongStructSize:
            return "wrong descriptor size";
        case kRasterNullBitmap:
            return "no bitmap given";
        default:
            return "unknown status";
    }
}
}  // namespace talv
