#pragma once

#include <cstdint>

#include "dicom/tree.h"

namespace talv {
class DicomStream;

/// Packs a tag: group in the high half, element number in the low half.
constexpr uint32_t MakeTag(uint16_t group, uint16_t element)
{
    return uint32_t{group} << 16 | element;
}
constexpr uint16_t TagGroup(uint32_t tag)
{
    return static_cast<uint16_t>(tag >> 16);
}
constexpr uint16_t TagElement(uint32_t tag)
{
    return static_cast<uint16_t>(tag);
}

/// Packs a value representation: first letter times 256 plus second letter.
constexpr uint16_t MakeVr(char first, char second)
{
    return static_cast<uint16_t>(static_cast<unsigned char>(first) << 8 | static_cast<unsigned char>(second));
}

inline constexpr uint16_t kVrUnknownYet = 0xFFFF;  ///< implicit VR, not looked up yet
inline constexpr uint32_t kUndefinedLength = 0xFFFFFFFF;

inline constexpr uint16_t kMetaGroup = 0x0002;
inline constexpr uint32_t kTagTransferSyntaxUid = 0x00020010;
inline constexpr uint32_t kTagPixelData = 0x7FE00010;
inline constexpr uint32_t kTagItem = 0xFFFEE000;
inline constexpr uint32_t kTagItemDelimiter = 0xFFFEE00D;
inline constexpr uint32_t kTagSequenceDelimiter = 0xFFFEE0DD;
inline constexpr uint32_t kTagTrailingPadding = 0xFFFCFFFC;

/// One node of a data set: a data element, a sequence, a sequence item or a pixel-data fragment.
/// The value lies in `valueStream` until it is asked for; where it lies is kept in the node itself.
struct DicomElement : TreeLinks<DicomElement>
{
    uint32_t tag = 0;
    uint16_t vr = 0;  ///< see MakeVr; 0 when the dictionary does not know the tag
    uint16_t storedVr =
        0;  ///< the VR letters the stream gave, kept when a rule replaced them; 0 when it gave none
    uint32_t length = 0;      ///< bytes of the value; kUndefinedLength for every container
    int32_t valueCount = -1;  ///< values found; -1 while the value has not been loaded and converted
    uint32_t streamOffset =
        0;  ///< items: where the header began (low 32 bits); directory offset elements: their value
    void* values = nullptr;      ///< owned array of converted values, or null while they lie in the stream
    uint64_t valuePosition = 0;  ///< stream position of the first value byte
    DicomStream* valueStream = nullptr;
    uint32_t valueLength = 0;  ///< value length as found in the stream
};
}  // namespace talv
