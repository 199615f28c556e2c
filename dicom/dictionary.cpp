#include "dicom/dictionary.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "dicom/dictionary_tables.h"

namespace talv {
namespace {
/// The first row of `table` whose `field` equals `text`, by way of `order`, which lists the rows in ascending
/// order of that field and equal ones in table order.
template <class Entry>
const Entry* FindByText(const Entry* table, std::span<const uint16_t> order, const char* Entry::*field,
                        const char* text)
{
    if (text == nullptr) return nullptr;
    const auto place = std::lower_bound(
        order.begin(), order.end(), text,
        [&](uint16_t row, const char* wanted) { return std::strcmp(table[row].*field, wanted) < 0; });
    if (place == order.end() || std::strcmp(table[*place].*field, text) != 0) return nullptr;
    return &table[*place];
}
}  // namespace

const ElementEntry* FindElementEntry(uint32_t tag)
{
    const uint16_t row = kElementIndex.Find(kElementTable, tag);
    return row != TagIndex::kNone ? &kElementTable[row] : nullptr;
}

const ElementEntry* FindElementEntryByName(const char* name)
{
    return FindByText(kElementTable, kElementsByName, &ElementEntry::name, name);
}

const VrEntry* FindVrEntry(uint16_t vr)
{
    for (const VrEntry& entry : kVrTable)
        if (entry.vr == vr) return &entry;
    return nullptr;
}

uint32_t GetVrUnitSize(uint16_t vr)
{
    const VrEntry* const entry = FindVrEntry(vr);
    return entry != nullptr ? entry->unitSize : 1;
}

void VrText(uint16_t vr, char text[3])
{
    const auto printable = [](unsigned letter) { return letter > 0x20 && letter < 0x7F; };
    const unsigned first = vr >> 8, second = vr & 0xFF;
    const bool good = printable(first) && printable(second);
    text[0] = good ? static_cast<char>(first) : '?';
    text[1] = good ? static_cast<char>(second) : '?';
    text[2] = '\0';
}

const UidEntry* FindUidEntry(const char* uid)
{
    return FindByText(kUidTable, kUidsByText, &UidEntry::uid, uid);
}

const UidEntry* NextUidOfType(const UidEntry* previous, uint32_t type)
{
    const UidEntry* const end = kUidTable + kUidCount;
    for (const UidEntry* entry = previous != nullptr ? previous + 1 : kUidTable; entry < end; ++entry)
        if (entry->type == type) return entry;
    return nullptr;
}

const char* FindUidName(const char* uid)
{
    const UidEntry* entry = FindUidEntry(uid);
    if (entry == nullptr) entry = FindByText(kOptionalUidTable, kOptionalUidsByText, &UidEntry::uid, uid);
    return entry != nullptr ? entry->name : nullptr;
}

size_t GetDimseCommandCount()
{
    return kDimseCommandCount;
}

const DimseCommand* GetDimseCommand(size_t index)
{
    return index < kDimseCommandCount ? &kDimseCommandTable[index] : nullptr;
}

const DimseCommand* FindDimseCommand(uint16_t commandField)
{
    for (const DimseCommand& command : kDimseCommandTable)
        if (command.commandField == commandField) return &command;
    return nullptr;
}

const DimseField* GetDimseField(const DimseCommand* command, size_t index)
{
    return index < command->fieldCount ? &kDimseFieldTable[command->firstField + index] : nullptr;
}
}  // namespace talv
