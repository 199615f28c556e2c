#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dicom/data_set.h"
#include "tests/dicom/value_fixture.h"

namespace talv {
namespace {
using namespace std::string_view_literals;

/// The display text, after checking that the size asked for first is the size written.
std::string Show(DicomDataSet* dataSet, DicomElement* element)
{
    const size_t size = dataSet->FormatValueText(element, nullptr);
    std::vector<char> buffer(size + 16, '\x5A');
    EXPECT_EQ(dataSet->FormatValueText(element, buffer.data()), size);
    for (size_t i = size; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], '\x5A') << "written past the end";
    if (size == 0) return {};
    EXPECT_EQ(buffer[size - 1], '\0');
    EXPECT_EQ(std::strlen(buffer.data()), size - 1);
    return buffer.data();
}

std::string Show(const char* vr, std::string_view bytes)
{
    StoredValues stored;
    return Show(&stored.dataSet, stored.Add(vr, bytes));
}

TEST(ValueText, EveryVrHasItsForm)
{
    const struct
    {
        const char* vr;
        std::string_view bytes;
        const char* text;
    } cases[] = {
        {"CS", "ORIGINAL\\PRIMARY"sv, "ORIGINAL\\PRIMARY"},
        {"AE", " STATION "sv, "STATION"},
        {"LT", "a\\b "sv, "a\\b "},
        {"UI", "1.2.840\0"sv, "1.2.840"},
        {"LO", "a\\\\b"sv, "a\\\\b"},
        {"LO", ""sv, ""},
        {"AS", "045Y"sv, "45 years"},
        {"AS", "003M\\012W\\100D"sv, "3 months\\12 weeks\\100 days"},
        {"AS", "003X"sv, "3 "},
        {"AT", "\x28\0\x10\0\xE0\x7F\x10\0"sv, "0028:0010\\7FE0:0010"},
        {"TM", "12"sv, "12:00:00.0"},
        {"TM", "123456.789"sv, "12:34:56.789"},
        {"TM", "08-\\-09\\10-1130"sv, "08:00:00.0-\\-09:00:00.0\\10:00:00.0-11:30:00.0"},
        {"TM", "12\\\\13"sv, "12:00:00.0\\13:00:00.0"},
        {"TM", "\\"sv, ""},
        {"DT", "20040315123456.789+0130"sv, "03/15/2004  12:34:56.789+130"},
        {"DT", "20040315123456-0500"sv, "03/15/2004  12:34:56.0-500"},
        {"DT", "2004"sv, "00/00/2004  00:00:00.0+0"},
        {"DS", "1.5\\-2\\1e400\\x"sv, "1.500000\\-2.000000\\inf\\0.000000"},
        {"FL", "\0\0\xC0\x3F\xCD\xCC\xCC\x3D"sv, "1.500000\\0.100000"},
        {"FD", "\0\0\0\0\0\0\xF8\xBF"sv, "-1.500000"},
        {"OF", "\0\0\xC0\x3F"sv, "1.500000"},
        {"IS", "2147483648"sv, "2147483648"},
        {"IS", "2147483647\\-5\\99999999999999999999"sv, "2147483647\\-5\\9223372036854775807"},
        {"IS", "-2147483649"sv, "-2147483648"},
        {"SL", "\xFF\xFF\xFF\xFF"sv, "-1"},
        {"SS", "\xFE\xFF\x05\0"sv, "-2\\5"},
        {"UL", "\xFF\xFF\xFF\xFF"sv, "4294967295"},
        {"US", "\xFF\xFF\0\0"sv, "65535\\0"},
        {"OW", "\1\2"sv, "513"},
        {"OB", "\x0A\xFF\0"sv, "0A\\FF\\00"},
        {"UN", "Az"sv, "41\\7A"},
        {"??", "Az"sv, "41\\7A"},
    };
    for (const auto& c : cases) EXPECT_EQ(Show(c.vr, c.bytes), c.text) << c.vr << ' ' << c.bytes;
    StoredValues stored;
    EXPECT_EQ(stored.dataSet.FormatValueText(stored.Add("CS", "ORIGINAL\\PRIMARY"sv), nullptr), 17u);
}

TEST(ValueText, DatesAreShownMonthFirst)
{
    const struct
    {
        const char *stored, *text;
    } cases[] = {{"20040315", "03/15/2004"},
                 {"2004.03.15", "03/15/2004"},
                 {"20040315-", "03/15/2004-"},
                 {"-20040315", "-03/15/2004"},
                 {"20040315-20050416\\0001", "03/15/2004-04/16/2005\\00/00/1"}};
    for (const auto& c : cases) EXPECT_EQ(Show("DA", c.stored), c.text);
}

/// Joins what `format` makes of each value.
template <class Value, class Shown>
std::string Joined(const std::vector<Value>& values, const char* format, Shown (*shown)(Value))
{
    std::string all;
    char text[400];
    for (size_t i = 0; i < values.size(); ++i) {
        std::snprintf(text, sizeof text, format, shown(values[i]));
        all += i > 0 ? "\\" : "";
        all += text;
    }
    return all;
}

template <class Value, class Shown>
void CompareWithPrintf(const char* vr, const char* format, Shown (*shown)(Value))
{
    std::mt19937_64 random(7);
    for (int round = 0; round < 200; ++round) {
        std::vector<Value> values(1 + random() % 20);
        for (Value& value : values) {
            const uint64_t bits = random();
            std::memcpy(&value, &bits, sizeof value);
            if (value != value) value = Value{};  // printf shows the sign of what is not a number, or not
        }
        const std::string_view bytes(reinterpret_cast<const char*>(values.data()),
                                     values.size() * sizeof(Value));
        EXPECT_EQ(Show(vr, bytes), Joined(values, format, shown)) << vr;
    }
}

TEST(ValueText, NumbersAreShownAsPrintfShowsThem)
{
    CompareWithPrintf<uint16_t, unsigned>("US", "%u", [](uint16_t v) { return unsigned{v}; });
    CompareWithPrintf<uint16_t, unsigned>("OW", "%u", [](uint16_t v) { return unsigned{v}; });
    CompareWithPrintf<int16_t, int>("SS", "%d", [](int16_t v) { return int{v}; });
    CompareWithPrintf<int32_t, long>("SL", "%ld", [](int32_t v) { return long{v}; });
    CompareWithPrintf<uint32_t, unsigned long>("UL", "%lu",
                                               [](uint32_t v) { return static_cast<unsigned long>(v); });
    CompareWithPrintf<uint8_t, unsigned>("OB", "%02X", [](uint8_t v) { return unsigned{v}; });
    CompareWithPrintf<float, double>("FL", "%f", [](float v) { return double{v}; });
    CompareWithPrintf<double, double>("FD", "%f", [](double v) { return v; });
}
}  // namespace
}  // namespace talv
