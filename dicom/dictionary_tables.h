#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "dicom/dictionary.h"
#include "dicom/element.h"

// The constant tables behind the look-ups of dictionary.h, private to this room.
// All but the VR table are written by tools/dictionary/generate_tables.py.

namespace talv {
inline constexpr size_t kElementCount = 2178;
inline constexpr size_t kVrCount = 27;
inline constexpr size_t kUidCount = 156;
inline constexpr size_t kOptionalUidCount = 37;
inline constexpr size_t kIodCount = 109;
inline constexpr size_t kModuleUseCount = 1350;
inline constexpr size_t kModuleCount = 244;
inline constexpr size_t kAttributeCount = 6817;
inline constexpr size_t kDescriptionCount = 213;
inline constexpr size_t kDimseCommandCount = 23;
inline constexpr size_t kDimseFieldCount = 183;

/// One attribute of a module; those nested in a sequence attribute follow it one level deeper. Names are
/// those of the element dictionary.
struct AttributeRow
{
    uint32_t tag;
    uint8_t level;  ///< 1 directly in the module
    uint8_t usage;
};

/// What an attribute tells; sorted by tag.
struct DescriptionRow
{
    uint32_t tag;
    const char* text;
};

/// A module, numbered from 1 by its place in the table.
struct ModuleRow
{
    const char* name;
    uint16_t firstAttribute;
    uint16_t attributeCount;
};

struct ModuleUseRow
{
    uint8_t module;
    uint8_t usage;
};

struct IodRow
{
    const char* name;
    const char* sopClassUids;  ///< separated by backslashes
    uint16_t firstUse;
    uint16_t useCount;
};

/// Finds the first element row that matches a tag, as a scan of the table with the mask test would, without
/// the scan. Computed by the compiler. A hash table holds the rows by their own tag; a look-up asks it for
/// the tag under each mask there is and takes the earliest row. Masked rows stand in five groups only, so
/// three of the four questions are nearly always answered by a bit set of groups.
class TagIndex
{
  public:
    static constexpr uint32_t kMasks[] = {0xFFFFFFFF, 0xFF00FFFF, 0xFFFFFF0F, 0xFFFFFF00};
    static constexpr uint16_t kNone = 0xFFFF;

    template <size_t n>
    constexpr explicit TagIndex(const ElementEntry (&table)[n])
    {
        static_assert(n <= kSlots * 5 / 8, "more slots keep the runs short");
        for (size_t row = 0; row < n; ++row) {
            const ElementEntry& entry = table[row];
            size_t mask = 0;
            while (kMasks[mask] != entry.mask) ++mask;  // a mask that is not listed does not compile
            groups_[mask] |= GroupBit(entry.tag);
            // In table order: of rows with equal tag and mask the first stands nearer to the start of the
            // run.
            uint32_t slot = Hash(entry.tag);
            while (rows_[slot] != 0) slot = (slot + 1) % kSlots;
            tags_[slot] = entry.tag;
            rows_[slot] = static_cast<uint16_t>(row + 1);
        }
    }

    /// Number of the first row that matches `tag`; kNone when there is none.
    constexpr uint16_t Find(const ElementEntry* table, uint32_t tag) const
    {
        uint16_t first = FindRow(table, tag, kMasks[0]);
        for (size_t mask = 1; mask < std::size(kMasks); ++mask) {
            const uint32_t masked = tag & kMasks[mask];
            if ((groups_[mask] & GroupBit(masked)) == 0) continue;
            first = std::min(first, FindRow(table, masked, kMasks[mask]));
        }
        return first;
    }

  private:
    static constexpr uint32_t kSlotBits = 12;
    static constexpr uint32_t kSlots = 1u << kSlotBits;
    static constexpr uint32_t Hash(uint32_t tag) { return (tag * 0x9E3779B1u) >> (32 - kSlotBits); }
    static constexpr uint64_t GroupBit(uint32_t tag)
    {
        return uint64_t{1} << (((tag >> 16) * 0x9E3779B1u) >> 26);
    }

    constexpr uint16_t FindRow(const ElementEntry* table, uint32_t tag, uint32_t mask) const
    {
        for (uint32_t slot = Hash(tag); rows_[slot] != 0; slot = (slot + 1) % kSlots)
            if (tags_[slot] == tag && table[rows_[slot] - 1].mask == mask)
                return static_cast<uint16_t>(rows_[slot] - 1);
        return kNone;
    }

    uint32_t tags_[kSlots] = {};
    uint16_t rows_[kSlots] = {};  ///< row + 1; 0 where the slot is free
    uint64_t groups_[std::size(kMasks)] = {};
};

extern const ElementEntry kElementTable[kElementCount];
extern const TagIndex kElementIndex;
extern const uint16_t kElementsByName[kElementCount];  ///< rows in ascending order of their names
extern const VrEntry kVrTable[kVrCount];
extern const UidEntry kUidTable[kUidCount];
extern const uint16_t kUidsByText[kUidCount];  ///< rows in ascending order of their UIDs
extern const UidEntry kOptionalUidTable[kOptionalUidCount];
extern const uint16_t kOptionalUidsByText[kOptionalUidCount];
extern const IodRow kIodTable[kIodCount];
extern const ModuleUseRow kModuleUseTable[kModuleUseCount];
extern const ModuleRow kModuleTable[kModuleCount];
extern const AttributeRow kAttributeTable[kAttributeCount];
extern const DescriptionRow kDescriptionTable[kDescriptionCount];
extern const DimseCommand kDimseCommandTable[kDimseCommandCount];
extern const DimseField kDimseFieldTable[kDimseFieldCount];
}  // namespace talv
