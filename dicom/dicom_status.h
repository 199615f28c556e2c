#pragma once

#include <cstdint>

namespace talv {
/// Results of the data-set library and of image extraction, which share one scale.
using DicomStatus = uint16_t;

enum : DicomStatus
{
    kDicomOk = 0,
    kDicomNoMemory = 2,  ///< no memory, or no storage to work on
    kDicomFileNotOpened = 3,
    kDicomShortRead = 4,  ///< fewer bytes than asked for; also: codec not available
    kDicomShortWrite = 5,
    kDicomSeekFailed = 6,
    kDicomEndOfStream = 7,  ///< the stream ends where an element header was expected
    kDicomNotDicom = 8,     ///< not a DICOM stream, or content contradicting the encoding being tried
    kDicomInvalidArgument = 9,
    kDicomNoFrame = 10,  ///< no pixel data, frame not found, or its bitmap could not be created
    kDicomUnsupportedCompression = 11,
    kDicomUnknownPhotometric = 12,
    kDicomNoGeometry = 14,  ///< Rows or Columns missing, or an unusable palette
    kDicomBadPaletteSegment = 201,
    kDicomNoRemapOperation = 215,  ///< the table of image operations lacks the operation (0xD7)
    kDicomWrongStructSize = 0xFCEB,
};

inline constexpr DicomStatus kDicomCodecMissing = kDicomShortRead;

/// Warning code for an element of odd length that was tolerated.
inline constexpr uint32_t kWarningOddLength = 12;

/// One line of English for `status`; never null.
const char* DicomStatusText(DicomStatus status);
}  // namespace talv
