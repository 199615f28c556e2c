#include <limits>

#include "dicom/data_set.h"
#include "dicom/value_class.h"
#include "dicom/value_text.h"

namespace talv {
namespace {
template <class Sink>
void PutAge(Sink* sink, const DicomAge& age)
{
    PutNumber(sink, age.number);
    sink->Put(" ");
    switch (age.unit) {
        case 'D':
            sink->Put("days");
            break;
        case 'W':
            sink->Put("weeks");
            break;
        case 'M':
            sink->Put("months");
            break;
        case 'Y':
            sink->Put("years");
            break;
        default:
            break;
    }
}

// Kept: dates are shown month first, while they are stored year first. Pinned by
// ValueText.DatesAreShownMonthFirst.
template <class Sink>
void PutDay(Sink* sink, uint16_t year, uint16_t month, uint16_t day)
{
    PutNumber(sink, month, 2);
    sink->Put("/");
    PutNumber(sink, day, 2);
    sink->Put("/");
    PutNumber(sink, year);
}

template <class Sink>
void PutClock(Sink* sink, uint16_t hour, uint16_t minute, uint16_t second, int32_t fraction)
{
    PutNumber(sink, hour, 2);
    sink->Put(":");
    PutNumber(sink, minute, 2);
    sink->Put(":");
    PutNumber(sink, second, 2);
    sink->Put(".");
    PutNumber(sink, static_cast<uint32_t>(fraction));
}

/// Puts "A", "A-", "-A" or "A-B".
template <class Sink, class PutFirst, class PutSecond>
void PutRange(Sink* sink, uint16_t rangeKind, PutFirst putFirst, PutSecond putSecond)
{
    if (rangeKind == kRangeUpTo) sink->Put("-");
    putFirst();
    if (rangeKind == kRangeFrom || rangeKind == kRangeBetween) sink->Put("-");
    if (rangeKind == kRangeBetween) putSecond();
}

template <class Sink>
void PutDate(Sink* sink, const DicomDate& date)
{
    PutRange(
        sink, date.rangeKind, [&] { PutDay(sink, date.year, date.month, date.day); },
        [&] { PutDay(sink, date.year2, date.month2, date.day2); });
}

template <class Sink>
void PutTime(Sink* sink, const DicomTime& time)
{
    PutRange(
        sink, time.rangeKind, [&] { PutClock(sink, time.hour, time.minute, time.second, time.fraction); },
        [&] { PutClock(sink, time.hour2, time.minute2, time.second2, time.fraction2); });
}

template <class Sink>
void PutDateTime(Sink* sink, const DicomDateTime& value)
{
    PutDay(sink, value.year, value.month, value.day);
    sink->Put("  ");
    PutClock(sink, value.hour, value.minute, value.second, value.fraction);
    PutNumber(sink, value.utcOffset, 1, 10, true);
}

/// Puts the display text of value `index` of a loaded element.
template <class Sink>
void PutValue(Sink* sink, const DicomElement* element, uint32_t index)
{
    const void* const values = element->values;
    switch (element->vr) {
        case kVrAE:
        case kVrCS:
        case kVrLO:
        case kVrLT:
        case kVrPN:
        case kVrSH:
        case kVrST:
        case kVrUI:
        case kVrUT:
            sink->Put(static_cast<const char* const*>(values)[index]);
            break;
        case kVrAS:
            PutAge(sink, static_cast<const DicomAge*>(values)[index]);
            break;
        case kVrAT: {
            const DicomTag& tag = static_cast<const DicomTag*>(values)[index];
            PutNumber(sink, tag.group, 4, 16);
            sink->Put(":");
            PutNumber(sink, tag.element, 4, 16);
            break;
        }
        case kVrDA:
            PutDate(sink, static_cast<const DicomDate*>(values)[index]);
            break;
        case kVrTM:
            PutTime(sink, static_cast<const DicomTime*>(values)[index]);
            break;
        case kVrDT:
            PutDateTime(sink, static_cast<const DicomDateTime*>(values)[index]);
            break;
        case kVrDS:
        case kVrFD:
            PutFixed(sink, static_cast<const double*>(values)[index]);
            break;
        case kVrFL:
        case kVrOF:
            PutFixed(sink, static_cast<const float*>(values)[index]);
            break;
        case kVrIS: {
            const int32_t number = static_cast<const int32_t*>(values)[index];
            if (number == std::numeric_limits<int32_t>::max())
                PutNumber(sink, WideIntegers(element)[index]);
            else
                PutNumber(sink, number);
            break;
        }
        case kVrSL:
            PutNumber(sink, static_cast<const int32_t*>(values)[index]);
            break;
        case kVrSS:
            PutNumber(sink, static_cast<const int16_t*>(values)[index]);
            break;
        case kVrUL:
            PutNumber(sink, static_cast<const uint32_t*>(values)[index]);
            break;
        case kVrUS:
        case kVrOW:
            PutNumber(sink, static_cast<const uint16_t*>(values)[index]);
            break;
        default:
            PutNumber(sink, static_cast<const uint8_t*>(values)[index], 2, 16);
            break;
    }
}

/// True for a value that display text leaves out, separator and all: an empty time.
bool IsLeftOut(const DicomElement* element, uint32_t index)
{
    return element->vr == kVrTM &&
           static_cast<const DicomTime*>(element->values)[index].rangeKind == kRangeEmpty;
}

/// Puts all values, each but the first behind a backslash, and a terminator at the end; nothing when all are
/// left out.
template <class Sink>
void PutAllValues(Sink* sink, const DicomElement* element)
{
    bool any = false;
    for (uint32_t index = 0; index < static_cast<uint32_t>(element->valueCount); ++index) {
        if (IsLeftOut(element, index)) continue;
        if (any) sink->Put("\\");
        PutValue(sink, element, index);
        any = true;
    }
    if (any) sink->Put({"", 1});
}
}  // namespace

void FormatOneValue(const DicomElement* element, uint32_t index, char* buffer, size_t capacity)
{
    TextWriter writer(buffer, capacity - 1);
    if (!IsLeftOut(element, index)) PutValue(&writer, element, index);
    *writer.End() = '\0';
}

size_t DicomDataSet::FormatValueText(DicomElement* element, char* buffer)
{
    if (GetValueCount(element) <= 0) return 0;
    TextCounter counter;
    PutAllValues(&counter, element);
    if (counter.Bytes() > std::numeric_limits<size_t>::max()) return 0;
    const size_t bytes = static_cast<size_t>(counter.Bytes());
    if (buffer != nullptr) {
        TextWriter writer(buffer, bytes);
        PutAllValues(&writer, element);
    }
    return bytes;
}
}  // namespace talv
