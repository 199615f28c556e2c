#pragma once

#include <cstddef>
#include <cstdint>

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

/// Open-addressing hash table over the tags of the element rows, computed by the compiler. A row is found by
/// its own tag and mask; FindElementEntry asks once for each mask there is.
class TagIndex
{
  public:
    static constexpr uint32_t kMasks[] = {0xFFFFFFFF, 0xFF00FFFF, 0xFFFFFF0F, 0xFFFFFF00};
    static constexpr uint16_t kNone = 0xFFFF;

    template <size_t n>
    constexpr explicit TagIndex(const ElementEntry (&table)[n])
    {
        static_assert(n <= kSlots * 5 / 8, "more slots keep the runs short");
        for (uint16_t& slot : slots_) slot = kNone;
        // In table order: of rows with equal tag and mask the first stands nearer to the start of the probe.
        for (size_t row = 0; row < n; ++row) {
            uint32_t slot = Hash(table[row].tag);
            while (slots_[slot] != kNone) slot = (slot + 1) % kSlots;
            slots_[slot] = static_cast<uint16_t>(row);
        }
    }

    /// The first row of `table` with exactly this tag and mask; kNone when there is none.
    constexpr uint16_t Find(const ElementEntry* table, uint32_t tag, uint32_t mask) const
    {
        for (uint32_t slot = Hash(tag); slots_[slot] != kNone; slot = (slot + 1) % kSlots) {
            const ElementEntry& entry = table[slots_[slot]];
            if (entry.tag == tag && entry.mask == mask) return slots_[slot];
        }
        return kNone;
    }

  private:
    static constexpr uint32_t kSlotBits = 12;
    static constexpr uint32_t kSlots = 1u << kSlotBits;
    static constexpr uint32_t Hash(uint32_t tag) { return (tag * 0x9E3779B1u) >> (32 - kSlotBits); }

    uint16_t slots_[kSlots];
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
extern const DimseCommand kDimseCommandTable[kDimseCommandCount];
extern const DimseField kDimseFieldTable[kDimseFieldCount];
}  // namespace talv
