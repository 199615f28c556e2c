#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "dicom/data_set.h"
#include "dicom/dictionary.h"
#include "dicom/value_block.h"
#include "dicom/value_class.h"
#include "dicom/value_parse.h"

namespace talv {
namespace {
constexpr size_t kShortText = 512;  ///< texts up to this length are read into a local buffer

/// Offset of the 64-bit values behind `count` 32-bit ones.
constexpr uint64_t WideOffset(uint64_t count)
{
    return (count * sizeof(int32_t) + 7) / 8 * 8;
}

bool ReadStored(const DicomElement* element, void* buffer, size_t count)
{
    return element->valueStream->ReadAt(element->valuePosition, buffer, count) == count;
}

/// True when the stream holds all of the value, so that memory is never asked for by a length that only
/// claims it.
bool StreamHolds(const DicomElement* element)
{
    if (element->valueStream == nullptr) return false;
    const uint64_t size = element->valueStream->Size();
    return element->valuePosition <= size && element->valueLength <= size - element->valuePosition;
}

void SetLoaded(DicomElement* element, void* values, size_t count)
{
    element->values = values;
    element->valueCount = static_cast<int32_t>(count);
}

/// Binary values and those of VRs that are not known: the bytes as they are, a remainder below one unit
/// ignored.
bool LoadBinary(const DicomDataSet* dataSet, DicomElement* element)
{
    const uint32_t unit = GetVrUnitSize(element->vr);
    const uint32_t count = element->valueLength / unit;
    if (count > static_cast<uint32_t>(std::numeric_limits<int32_t>::max())) return false;
    const size_t bytes = size_t{count} * unit;
    ValueBlock block(bytes);
    if (!block || !ReadStored(element, block.As<void>(), bytes)) return false;
    if (IsStoredBigEndian(dataSet, element)) SwapUnits(element->vr, block.As<void>(), bytes);
    SetLoaded(element, block.Release(), count);
    return true;
}

/// Free text: one value, all of it.
bool LoadFreeText(DicomElement* element)
{
    const size_t length = element->valueLength;
    ValueBlock block(uint64_t{length} + sizeof(char*) + 1);
    if (!block) return false;
    char* const text = block.As<char>() + sizeof(char*);
    if (!ReadStored(element, text, length)) return false;
    text[length] = '\0';
    block.As<char*>()[0] = text;
    SetLoaded(element, block.Release(), 1);
    return true;
}

/// Calls `take(index, text)` for the trimmed text of every value of `text`.
template <class Take>
void ForEachValue(std::string_view text, Take take)
{
    for (size_t index = 0;; ++index) {
        const size_t end = text.find('\\');
        take(index, TrimValue(text.substr(0, end)));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

bool LoadStrings(DicomElement* element, std::string_view text, size_t count)
{
    const uint64_t pointerBytes = uint64_t{count} * sizeof(char*);
    ValueBlock block(pointerBytes + text.size() +
                     1);  // each backslash, and the end, leaves room for a terminator
    if (!block) return false;
    char** const strings = block.As<char*>();
    char* next = block.As<char>() + pointerBytes;
    ForEachValue(text, [&](size_t index, std::string_view value) {
        strings[index] = next;
        std::copy(value.begin(), value.end(), next);
        next += value.size();
        *next++ = '\0';
    });
    SetLoaded(element, block.Release(), count);
    return true;
}

bool LoadIntegerStrings(DicomElement* element, std::string_view text, size_t count)
{
    ValueBlock block(WideOffset(count) + uint64_t{count} * sizeof(int64_t));
    if (!block) return false;
    int32_t* const values = block.As<int32_t>();
    int64_t* const wide = reinterpret_cast<int64_t*>(block.As<char>() + WideOffset(count));
    ForEachValue(text, [&](size_t index, std::string_view value) {
        wide[index] = ParseInteger(value);
        values[index] = static_cast<int32_t>(std::clamp<int64_t>(
            wide[index], std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
    });
    SetLoaded(element, block.Release(), count);
    return true;
}

/// Values that `parse` makes from their texts one by one.
template <class Value>
bool LoadParsed(DicomElement* element, std::string_view text, size_t count, Value (*parse)(std::string_view))
{
    ValueBlock block(uint64_t{count} * sizeof(Value));
    if (!block) return false;
    Value* const values = block.As<Value>();
    ForEachValue(text, [&](size_t index, std::string_view value) { values[index] = parse(value); });
    SetLoaded(element, block.Release(), count);
    return true;
}

/// Text split at backslashes. A number, date or time that is nothing but padding has no value; the same as a
/// string is one empty string.
bool LoadSplitText(DicomElement* element)
{
    char local[kShortText];
    const size_t length = element->valueLength;
    ValueBlock block;
    if (length > kShortText && !block.Allocate(length)) return false;
    char* const bytes = block ? block.As<char>() : local;
    if (!ReadStored(element, bytes, length)) return false;

    const std::string_view text(bytes, length);
    const size_t count = static_cast<size_t>(std::count(text.begin(), text.end(), '\\')) + 1;
    if (count > static_cast<size_t>(std::numeric_limits<int32_t>::max())) return false;
    const ValueClass valueClass = ValueClassOf(element->vr);
    if (valueClass == kClassStrings) return LoadStrings(element, text, count);
    if (count == 1 && TrimValue(text).empty()) {
        SetLoaded(element, nullptr, 0);
        return true;
    }
    switch (valueClass) {
        case kClassLongs:
            return LoadIntegerStrings(element, text, count);
        case kClassDoubles:
            return LoadParsed(element, text, count, ParseDecimal);
        case kClassAges:
            return LoadParsed(element, text, count, ParseAge);
        case kClassDates:
            return LoadParsed(element, text, count, ParseDate);
        case kClassTimes:
            return LoadParsed(element, text, count, ParseTime);
        case kClassDateTimes:
            return LoadParsed(element, text, count, ParseDateTime);
        default:
            return false;
    }
}
}  // namespace

bool LoadValues(const DicomDataSet* dataSet, DicomElement* element)
{
    if (element->length == kUndefinedLength) return false;
    if (element->valueCount >= 0) return true;
    if (element->valueLength == 0) {
        SetLoaded(element, nullptr, 0);
        return true;
    }
    if (!StreamHolds(element)) return false;
    const VrEntry* const vr = FindVrEntry(element->vr);
    if (vr != nullptr && (vr->flags & kVrSplitText) != 0) return LoadSplitText(element);
    if (vr != nullptr && (vr->flags & kVrFreeText) != 0) return LoadFreeText(element);
    return LoadBinary(dataSet, element);
}

const int64_t* WideIntegers(const DicomElement* element)
{
    const uint64_t count = static_cast<uint32_t>(element->valueCount);
    return reinterpret_cast<const int64_t*>(static_cast<const char*>(element->values) + WideOffset(count));
}

bool IsStoredBigEndian(const DicomDataSet* dataSet, const DicomElement* element)
{
    return (dataSet->mode & kModeBigEndian) != 0 && TagGroup(element->tag) != 0x0002;
}

void SwapUnits(uint16_t vr, void* bytes, size_t count)
{
    const size_t unit = vr == kVrAT ? 2 : GetVrUnitSize(vr);
    if (unit == 1) return;
    uint8_t* const end = static_cast<uint8_t*>(bytes) + count / unit * unit;
    for (uint8_t* at = static_cast<uint8_t*>(bytes); at != end; at += unit) std::reverse(at, at + unit);
}
}  // namespace talv
