#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "dicom/data_set.h"
#include "dicom/dictionary.h"
#include "dicom/value_block.h"
#include "dicom/value_class.h"
#include "dicom/value_text.h"

namespace talv {
namespace {
constexpr size_t kMaxDecimalString = 16;  ///< characters of one DS value (PS3.5 6.2)
constexpr uint32_t kMaxStoredLength = 0xFFFFFFFE;

/// Puts a range as query text: "A", "A-", "-A" or "A-B".
template <class Sink, class PutFirst, class PutSecond>
void PutStoredRange(Sink* sink, uint16_t rangeKind, PutFirst putFirst, PutSecond putSecond)
{
    if (rangeKind == kRangeEmpty) return;
    if (rangeKind == kRangeUpTo) sink->Put("-");
    putFirst();
    if (rangeKind == kRangeFrom || rangeKind == kRangeBetween) sink->Put("-");
    if (rangeKind == kRangeBetween) putSecond();
}

template <class Sink>
void PutStoredDay(Sink* sink, uint16_t year, uint16_t month, uint16_t day)
{
    PutNumber(sink, year, 4);
    PutNumber(sink, month, 2);
    PutNumber(sink, day, 2);
}

template <class Sink>
void PutStoredClock(Sink* sink, uint16_t hour, uint16_t minute, uint16_t second, int32_t fraction)
{
    PutNumber(sink, hour, 2);
    PutNumber(sink, minute, 2);
    PutNumber(sink, second, 2);
    sink->Put(".");
    PutNumber(sink, fraction);
}

/// Puts the shortest text that reads back as the same number, or, when that is longer than a DS value may be,
/// the text with as many digits as fit.
template <class Sink>
void PutDecimalString(Sink* sink, double number)
{
    char text[40];
    char* end = std::to_chars(text, text + sizeof text, number).ptr;
    for (int digits = 15; end - text > static_cast<ptrdiff_t>(kMaxDecimalString) && digits > 0; --digits)
        end = std::to_chars(text, text + sizeof text, number, std::chars_format::general, digits).ptr;
    sink->Put({text, static_cast<size_t>(end - text)});
}

/// Puts value `index` of an array of native values as the text a stream holds.
template <class Sink>
void PutStoredValue(Sink* sink, uint16_t vr, const void* values, uint32_t index)
{
    switch (vr) {
        case kVrAS: {
            const DicomAge& age = static_cast<const DicomAge*>(values)[index];
            PutNumber(sink, age.number, 3);
            if (age.unit != 0) sink->Put({&age.unit, 1});
            break;
        }
        case kVrDA: {
            const DicomDate& date = static_cast<const DicomDate*>(values)[index];
            PutStoredRange(
                sink, date.rangeKind, [&] { PutStoredDay(sink, date.year, date.month, date.day); },
                [&] { PutStoredDay(sink, date.year2, date.month2, date.day2); });
            break;
        }
        case kVrTM: {
            const DicomTime& time = static_cast<const DicomTime*>(values)[index];
            PutStoredRange(
                sink, time.rangeKind,
                [&] { PutStoredClock(sink, time.hour, time.minute, time.second, time.fraction); },
                [&] { PutStoredClock(sink, time.hour2, time.minute2, time.second2, time.fraction2); });
            break;
        }
        case kVrDT: {
            const DicomDateTime& value = static_cast<const DicomDateTime*>(values)[index];
            PutStoredDay(sink, value.year, value.month, value.day);
            PutStoredClock(sink, value.hour, value.minute, value.second, value.fraction);
            // Kept: the offset is written without leading zeros, +0130 as "+130", which reads back the same
            // here. Pinned by ValueStore.EveryVrHasItsForm.
            PutNumber(sink, value.utcOffset, 1, 10, true);
            break;
        }
        case kVrIS:
            PutNumber(sink, static_cast<const int32_t*>(values)[index]);
            break;
        case kVrDS:
            PutDecimalString(sink, static_cast<const double*>(values)[index]);
            break;
        default:
            if (const char* const text = static_cast<const char* const*>(values)[index]) sink->Put(text);
            break;
    }
}

template <class Sink>
void PutStoredValues(Sink* sink, uint16_t vr, const void* values, uint32_t count)
{
    for (uint32_t index = 0; index < count; ++index) {
        if (index > 0) sink->Put("\\");
        PutStoredValue(sink, vr, values, index);
    }
}

/// The byte that makes a value of odd length even (PS3.5 6.2): a blank for text, else zero.
char PaddingOf(uint16_t vr)
{
    const VrEntry* const entry = FindVrEntry(vr);
    const bool text = entry != nullptr && (entry->flags & (kVrSplitText | kVrFreeText)) != 0;
    return text && vr != kVrUI ? ' ' : '\0';
}
}  // namespace

bool DicomDataSet::SetRawValue(DicomElement* element, const void* bytes, uint32_t length)
{
    if (element == nullptr || !CheckElement(element)) return false;
    if (element->length == kUndefinedLength || length > kMaxStoredLength || (bytes == nullptr && length > 0))
        return false;
    if (!ownStream.IsOpen() && !ownStream.Open("", kStreamOwnFlags)) return false;

    const uint32_t stored = length + (length & 1);
    const bool fits = element->valueStream == &ownStream && stored <= element->valueLength;
    const uint64_t position = fits ? element->valuePosition : ownStream.Size();
    const char padding = PaddingOf(element->vr);
    const bool written = ownStream.Seek(static_cast<int64_t>(position), 0) &&
                         (length == 0 || ownStream.Write(bytes, length)) &&
                         (stored == length || ownStream.Write(&padding, 1));
    ownStream.Seek(static_cast<int64_t>(ownStream.Size()), 0);
    if (!written) return false;

    element->length = stored;
    element->valueLength = stored;
    element->valuePosition = position;
    element->valueStream = &ownStream;
    ReleaseValues(element);
    NoteChange();
    return true;
}

bool DicomDataSet::SetValues(DicomElement* element, const void* values, uint32_t count, uint32_t raw)
{
    if (count == 0) return SetRawValue(element, values, raw);
    if (element == nullptr || !CheckElement(element)) return false;
    if (element->length == kUndefinedLength || values == nullptr) return false;
    const ValueClass valueClass = ValueClassOf(element->vr);
    const VrEntry* const vr = FindVrEntry(element->vr);
    if (valueClass == kClassNone || vr == nullptr) return false;

    if ((vr->flags & (kVrSplitText | kVrFreeText)) != 0) {
        TextCounter counter;
        PutStoredValues(&counter, element->vr, values, count);
        if (counter.Bytes() > kMaxStoredLength) return false;
        const uint32_t length = static_cast<uint32_t>(counter.Bytes());
        ValueBlock text(length);
        if (!text) return false;
        TextWriter writer(text.As<char>(), length);
        PutStoredValues(&writer, element->vr, values, count);
        return SetRawValue(element, text.As<char>(), length);
    }

    const uint64_t length = uint64_t{count} * vr->unitSize;
    if (length > kMaxStoredLength) return false;
    ValueBlock copy(length);
    if (!copy) return false;
    std::memcpy(copy.As<void>(), values, static_cast<size_t>(length));
    if (IsStoredBigEndian(this, element))
        SwapUnits(element->vr, copy.As<void>(), static_cast<size_t>(length));
    return SetRawValue(element, copy.As<void>(), static_cast<uint32_t>(length));
}
}  // namespace talv
