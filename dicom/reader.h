#pragma once

#include <cstdint>

#include "dicom/data_set.h"

namespace talv {
/// Encodings, as bits of DicomDataSet::mode.
inline constexpr uint16_t kImplicitLittle = 0x0014;
inline constexpr uint16_t kExplicitLittle = 0x0024;
inline constexpr uint16_t kExplicitBig = 0x0028;

/// Compression kinds of transfer syntaxes.
enum CompressionKind : int32_t
{
    kCompressionNone = 0,
    kCompressionRle = 1,
    kCompressionJpegLossless = 2,
    kCompressionJpegLossy = 3,
    kCompressionJpegLsLossless = 4,
    kCompressionJpegLsNear = 5,
    kCompressionJ2kLossless = 6,
    kCompressionJ2k = 7,
    kCompressionMpeg2 = 8,
};

struct TransferSyntax
{
    uint16_t encoding = kImplicitLittle;
    int32_t compression = kCompressionNone;
};

/// What the table of transfer syntaxes says of `uid`; null when it is not in it.
const TransferSyntax* FindTransferSyntax(const char* uid);

/// Classifies `uid`, or, when it is null, the data set's Transfer Syntax UID. True when a UID was available;
/// unknown UIDs classify as implicit VR little endian, uncompressed.
bool ClassifyTransferSyntax(DicomDataSet* dataSet, const char* uid, TransferSyntax* result);

/// Load flags: the low bits are those of DicomDataSet::mode.
/// Parses `stream` into `dataSet`; the stream must stay open while values are read, unless load flag 0x0200
/// copied them. kDicomInvalidArgument for null pointers and a read-only data set, which stays as it is;
/// kDicomNotDicom when no encoding fits, kDicomNoMemory and kDicomShortWrite when there is no room for the
/// tree or the copied values. A stream that names no known transfer syntax must hold an element of the
/// dictionary, unless it has none behind its meta group. On failure the data set is empty.
DicomStatus LoadDataSet(DicomDataSet* dataSet, DicomStream* stream, uint16_t loadFlags, bool requireImage);

/// Opens `fileName` (narrow) as the data set's file stream, loads it and repairs values of odd length.
DicomStatus LoadFile(DicomDataSet* dataSet, const char* fileName, uint16_t loadFlags);

struct ElementHeader
{
    uint32_t tag = 0;
    uint16_t vr = 0;  ///< kVrUnknownYet for implicit VR
    uint32_t length = 0;
    uint32_t headerBytes = 0;  ///< 8 or 12
    bool littleEndian = true;  ///< byte order this element was read in
};

/// Reads one element header. kDicomEndOfStream when the stream ends before its first byte pair,
/// kDicomShortRead when it ends inside, kDicomNotDicom for an odd length that is not tolerated.
DicomStatus ReadElementHeader(DicomDataSet* dataSet, DicomStream* stream, bool littleEndian, bool explicitVr,
                              ElementHeader* header);

/// The VR of an element by its tag and what the data set says; for an item the second argument is the item's
/// parent.
uint16_t DetermineVr(DicomDataSet* dataSet, DicomElement* elementOrParent, uint32_t tag);
}  // namespace talv
