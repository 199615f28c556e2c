#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "dicom/element.h"

// Writing values as text. The same code runs twice, once against a TextCounter to learn the size and once
// against a TextWriter, so the two cannot disagree.

namespace talv {
/// Counts what is put.
class TextCounter
{
  public:
    void Put(std::string_view text) { bytes_ += text.size(); }
    uint64_t Bytes() const { return bytes_; }

  private:
    uint64_t bytes_ = 0;
};

/// Writes what is put into `buffer`; what does not fit into its `capacity` bytes is dropped.
class TextWriter
{
  public:
    TextWriter(char* buffer, size_t capacity) : at_(buffer), left_(capacity) {}
    void Put(std::string_view text)
    {
        const size_t count = text.size() < left_ ? text.size() : left_;
        std::memcpy(at_, text.data(), count);
        at_ += count;
        left_ -= count;
    }
    char* End() const { return at_; }

  private:
    char* at_;
    size_t left_;
};

/// Puts a whole number, as the printf conversions %0<width>d, %0<width>u, or (`base` 16, upper case)
/// %0<width>X; `plus` shows the sign of positive ones too.
template <class Sink, class Number>
void PutNumber(Sink* sink, Number number, int width = 1, int base = 10, bool plus = false)
{
    char digits[24];
    char* const begin = digits + 1;  // room for the plus sign
    char* end = std::to_chars(begin, digits + sizeof digits, number, base).ptr;
    for (char* c = begin; c != end; ++c)
        if (*c >= 'a') *c = static_cast<char>(*c - 'a' + 'A');
    char* first = begin;
    if (plus && number >= Number{0}) *--first = '+';
    const bool sign = *first == '-' || *first == '+';
    if (sign) sink->Put({first++, 1});
    for (auto written = end - first + sign; written < width; ++written) sink->Put("0");
    sink->Put({first, static_cast<size_t>(end - first)});
}

/// Puts a number as the printf conversion %f in the "C" locale.
template <class Sink>
void PutFixed(Sink* sink, double number)
{
    char digits[328];  // the largest double has 309 digits before the point, and 6 behind it
    const std::to_chars_result result =
        std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, 6);
    sink->Put({digits, static_cast<size_t>(result.ptr - digits)});
}

/// Display text of value `index` of a loaded element, cut to `capacity` bytes with its terminator (1 at
/// least).
void FormatOneValue(const DicomElement* element, uint32_t index, char* buffer, size_t capacity);
}  // namespace talv
