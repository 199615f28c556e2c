#pragma once

#include <cstddef>
#include <cstdint>

#include "dicom/tree.h"

namespace talv
{
class DicomDataSet;

struct ElementEntry
{
    uint32_t tag;
    uint32_t mask;  ///< bits of a looked-up tag that must equal `tag`
    const char* name;
    uint16_t vr;
    uint32_t vmMin;
    uint32_t vmMax;  ///< 0xFFFFFFFF for "n"
    uint32_t vmStep;
};

/// Class flags of a VR.
enum VrFlags : uint16_t
{
    kVrBinary = 0x0100,
    kVrSplitText = 0x0200,  ///< text whose values are split at backslashes
    kVrFreeText = 0x0400,   ///< a backslash is part of the text
    kVrSequence = 0x0004,
};

struct VrEntry
{
    uint16_t vr;
    const char* name;
    uint32_t maxLength;
    uint16_t flags;
    uint32_t unitSize;  ///< bytes swapped together and counted as one value
};

enum UidType : uint32_t
{
    kUidOther = 0,
    kUidNativeTransferSyntax = 1,
    kUidEncapsulatedTransferSyntax = 2,
    kUidSopClass = 3,
    kUidMetaSopClass = 4,
    kUidSopInstance = 5,
    kUidApplicationContext = 6,
};

struct UidEntry
{
    const char* uid;
    uint32_t type;
    const char* name;
};

/// Builds the look-up structures; called once, at library load, before any data set exists. Look-ups are read-only
/// and take no lock. False when memory is short.
bool InitDictionaries();
void FreeDictionaries();

/// The first row, in table order, for which (`tag` & mask) equals the row's tag; null when there is none.
const ElementEntry* FindElementEntry(uint32_t tag);
/// The first row named `name` exactly; null when there is none.
const ElementEntry* FindElementEntryByName(const char* name);
const VrEntry* FindVrEntry(uint16_t vr);
uint32_t GetVrUnitSize(uint16_t vr);  ///< 1 when the VR is unknown
const UidEntry* FindUidEntry(const char* uid);
/// The row after `previous` (null: the first) that has `type`; null after the last.
const UidEntry* NextUidOfType(const UidEntry* previous, uint32_t type);
}  // namespace talv
