#include "dicom/reader.h"
#include "image/image_description.h"

namespace talv {
const char* CompressionName(int32_t compression)
{
    switch (compression) {
        case kCompressionNone:
            return "None";
        case kCompressionRle:
            return "Run Length";
        case kCompressionJpegLossless:
            return "JPEG Lossless";
        case kCompressionJpegLossy:
            return "JPEG Lossy";
        case kCompressionJ2kLossless:
            return "JPEG2000 Lossless";
        case kCompressionJ2k:
            return "JPEG2000";
        default:
            return "Unknown";
    }
}
}  // namespace talv
