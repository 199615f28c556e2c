#include "dicom/dicom_status.h"

namespace talv {
const char* DicomStatusText(DicomStatus status)
{
    switch (status) {
        case kDicomOk:
            return "success";
        case kDicomNoMemory:
            return "out of memory";
        case kDicomFileNotOpened:
            return "the file could not be opened";
        case kDicomShortRead:
            return "the data ends early, or the codec it needs is not available";
        case kDicomShortWrite:
            return "a temporary file could not be written";
        case kDicomSeekFailed:
            return "seeking in the file failed";
        case kDicomEndOfStream:
            return "the data ends where an element was expected";
        case kDicomNotDicom:
            return "not a DICOM file, or damaged beyond reading";
        case kDicomInvalidArgument:
            return "invalid argument";
        case kDicomNoFrame:
            return "no pixel data for this frame";
        case kDicomUnsupportedCompression:
            return "this compression is not supported";
        case kDicomUnknownPhotometric:
            return "unknown photometric interpretation";
        case kDicomNoGeometry:
            return "rows or columns missing, or an unusable palette";
        case kDicomBadPaletteSegment:
            return "damaged segmented palette";
        case kDicomNoRemapOperation:
            return "the image operations are not available";
        case kDicomWrongStructSize:
            return "wrong descriptor size";
        default:
            return "unknown status";
    }
}
}  // namespace talv
