#pragma once

#include <cstddef>
#include <cstdint>

#include "dicom/reader.h"

namespace talv {
inline constexpr size_t kLargestHeader = 12;

constexpr uint16_t Load16(const uint8_t* bytes, bool littleEndian)
{
    return static_cast<uint16_t>(littleEndian ? bytes[0] | bytes[1] << 8 : bytes[0] << 8 | bytes[1]);
}

constexpr uint32_t Load32(const uint8_t* bytes, bool littleEndian)
{
    const uint32_t first = Load16(bytes, littleEndian);
    const uint32_t second = Load16(bytes + 2, littleEndian);
    return littleEndian ? first | second << 16 : first << 16 | second;
}

constexpr bool IsDelimiter(uint32_t tag)
{
    return tag == kTagItemDelimiter || tag == kTagSequenceDelimiter;
}

/// True when `letters`, the two bytes where explicit VR has its VR, are one that the library knows.
bool NamesVr(const uint8_t* letters);

/// Decodes the element header at `bytes`, of which `available` exist (kLargestHeader are always enough).
/// Results as ReadElementHeader, except that the length is not judged.
DicomStatus DecodeElementHeader(const uint8_t* bytes, size_t available, bool littleEndian, bool explicitVr,
                                ElementHeader* header);

/// Judges an odd length: files with preamble may have kMaxWarnings of them, each noted as a warning whose
/// element the parse fills in; everything else has none, which is how a wrong encoding is found out.
DicomStatus ToleratesLength(DicomDataSet* dataSet, uint32_t length);
}  // namespace talv
