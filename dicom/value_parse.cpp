#include "dicom/value_parse.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace talv {
namespace {
constexpr bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Reads a text from its start; past the end there is nothing.
class TextCursor
{
  public:
    explicit TextCursor(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }
    bool AtDigit() const { return !rest_.empty() && IsDigit(rest_.front()); }

    /// Steps over `c` if it comes next.
    bool Accept(char c)
    {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }

    char TakeChar()
    {
        if (rest_.empty()) return 0;
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    /// The number made of the next digits, at most `maxDigits`; it saturates at the largest 32-bit integer.
    int32_t TakeDigits(size_t maxDigits)
    {
        int64_t number = 0;
        for (size_t i = 0; i < maxDigits && AtDigit(); ++i)
            number = std::min<int64_t>(number * 10 + (TakeChar() - '0'), std::numeric_limits<int32_t>::max());
        return static_cast<int32_t>(number);
    }

    uint16_t TakeGroup(size_t digits) { return static_cast<uint16_t>(TakeDigits(digits)); }

    void SkipBlanks()
    {
        while (Accept(' ')) {
        }
    }

  private:
    std::string_view rest_;
};

void TakeDate(TextCursor* cursor, uint16_t* year, uint16_t* month, uint16_t* day)
{
    *year = cursor->TakeGroup(4);
    cursor->Accept('.');
    *month = cursor->TakeGroup(2);
    cursor->Accept('.');
    *day = cursor->TakeGroup(2);
    cursor->Accept('.');
}

void TakeTime(TextCursor* cursor, uint16_t* hour, uint16_t* minute, uint16_t* second, int32_t* fraction)
{
    *hour = cursor->TakeGroup(2);
    cursor->Accept(':');
    *minute = cursor->TakeGroup(2);
    cursor->Accept(':');
    *second = cursor->TakeGroup(2);
    // Kept: the digits count as a whole number, so ".5" gives 5 and ".50" gives 50, not fractions of one
    // unit. Pinned by ValueParse.TimesInEveryForm.
    if (cursor->Accept('.')) *fraction = cursor->TakeDigits(std::string_view::npos);
}

/// Reads "A", "A-", "-A" or "A-B"; the functions read one end each.
template <class TakeFirst, class TakeSecond>
uint16_t TakeRange(TextCursor* cursor, TakeFirst takeFirst, TakeSecond takeSecond)
{
    const bool upTo = cursor->Accept('-');
    cursor->SkipBlanks();
    takeFirst();
    cursor->SkipBlanks();
    if (upTo) return kRangeUpTo;
    if (!cursor->Accept('-')) return kRangeSingle;
    cursor->SkipBlanks();
    if (!cursor->AtDigit()) return kRangeFrom;
    takeSecond();
    return kRangeBetween;
}

/// `text` without the white space before a number: lines are sometimes broken, or tabs set, where blanks
/// ought to be.
std::string_view SkipWhiteSpace(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    return text;
}

/// True when the number that from_chars called out of range is a large one, not one too near to zero: the
/// power of ten of its first digit that is not zero, exponent included, is positive.
bool IsHuge(std::string_view number)
{
    const size_t exponentAt = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, exponentAt);
    const size_t point = std::min(mantissa.find('.'), mantissa.size());
    const size_t digit = std::min(mantissa.find_first_of("123456789"), mantissa.size());
    const int64_t power = static_cast<int64_t>(point) - static_cast<int64_t>(digit);
    const int64_t exponent =
        exponentAt < number.size() ? ParseInteger(number.substr(exponentAt + 1)) : int64_t{0};
    return exponent > -power;
}
}  // namespace

std::string_view TrimValue(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    const size_t first = std::min(text.find_first_not_of(' '), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

double ParseDecimal(std::string_view text)
{
    text = SkipWhiteSpace(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value);
    if (result.ec == std::errc::result_out_of_range) {
        const bool negative = text.front() == '-';
        const std::string_view number(text.data() + (negative ? 1 : 0), result.ptr);
        value = IsHuge(number) ? std::numeric_limits<double>::infinity() : 0.0;
        if (negative) value = -value;
    }
    return value;
}

int64_t ParseInteger(std::string_view text)
{
    text = SkipWhiteSpace(text);
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && (negative || text.front() == '+')) text.remove_prefix(1);
    constexpr uint64_t kMost = std::numeric_limits<int64_t>::max();
    const uint64_t limit = negative ? kMost + 1 : kMost;
    uint64_t magnitude = 0;
    for (const char c : text) {
        if (!IsDigit(c)) break;
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (magnitude > (limit - digit) / 10) {
            magnitude = limit;
            break;
        }
        magnitude = magnitude * 10 + digit;
    }
    return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

DicomAge ParseAge(std::string_view text)
{
    TextCursor cursor(text);
    DicomAge age = {};
    age.number = cursor.TakeGroup(3);
    age.unit = cursor.TakeChar();
    return age;
}

DicomDate ParseDate(std::string_view text)
{
    TextCursor cursor(text);
    DicomDate date = {};
    date.rangeKind = TakeRange(
        &cursor, [&] { TakeDate(&cursor, &date.year, &date.month, &date.day); },
        [&] { TakeDate(&cursor, &date.year2, &date.month2, &date.day2); });
    return date;
}

DicomTime ParseTime(std::string_view text)
{
    TextCursor cursor(text);
    DicomTime time = {};
    if (text.empty()) {
        time.rangeKind = kRangeEmpty;
        return time;
    }
    time.rangeKind = TakeRange(
        &cursor, [&] { TakeTime(&cursor, &time.hour, &time.minute, &time.second, &time.fraction); },
        [&] { TakeTime(&cursor, &time.hour2, &time.minute2, &time.second2, &time.fraction2); });
    return time;
}

DicomDateTime ParseDateTime(std::string_view text)
{
    TextCursor cursor(text);
    DicomDateTime value = {};
    TakeDate(&cursor, &value.year, &value.month, &value.day);
    TakeTime(&cursor, &value.hour, &value.minute, &value.second, &value.fraction);
    const bool west = cursor.Accept('-');
    if (west || cursor.Accept('+')) value.utcOffset = cursor.TakeDigits(4) * (west ? -1 : 1);
    return value;
}
}  // namespace talv
