#pragma once

#include <cstdint>
#include <vector>

#include "image/attribute_reader.h"
#include "image/image_description.h"

namespace talv {
/// Reads the three palette descriptors (PS3.3 C.7.6.3.1.5) into `description`, which must know its pixel
/// representation.
void ReadPaletteDescriptors(const AttributeReader& reader, ImageDescription* description);

/// Reads and expands the three tables whose descriptors were found. kDicomNoGeometry for a segmented palette
/// that is not of 16 bits or cannot be expanded, kDicomNoMemory.
DicomStatus LoadPaletteTables(const AttributeReader& reader, ImageDescription* description);

/// Expands the segments of one colour (PS3.3 C.7.9.2) into `table`, whose size is the descriptor's entry
/// count and whose entries are zero. kDicomBadPaletteSegment when an opcode is unknown or a segment reads or
/// writes outside.
DicomStatus ExpandSegmentedTable(const std::vector<uint16_t>& segments, std::vector<uint16_t>* table);
}  // namespace talv
