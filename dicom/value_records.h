#pragma once

#include <cstdint>

namespace talv {
/// How a date or time stands for a range.
enum RangeKind : uint16_t
{
    kRangeSingle = 0,
    kRangeFrom = 1,     ///< from this one on, written with a trailing hyphen
    kRangeUpTo = 2,     ///< up to this one, written with a leading hyphen
    kRangeBetween = 3,  ///< from the first to the second
    kRangeEmpty = 4,    ///< times only: an empty value, which display text leaves out
};

struct DicomAge
{
    uint16_t number;
    char unit;  ///< 'D', 'W', 'M' or 'Y'; 0 when absent
};

struct DicomDate
{
    uint16_t year, month, day;
    uint16_t rangeKind;
    uint16_t year2, month2, day2;  ///< for kRangeBetween
};

struct DicomTime
{
    uint16_t hour, minute, second;
    int32_t fraction;  ///< the digits after the point as an integer
    uint16_t rangeKind;
    uint16_t hour2, minute2, second2;  ///< for kRangeBetween
    int32_t fraction2;
};

struct DicomDateTime
{
    uint16_t year, month, day, hour, minute, second;
    int32_t fraction;
    int32_t utcOffset;  ///< signed HHMM
};

/// An AT value.
struct DicomTag
{
    uint16_t group, element;
};
}  // namespace talv
