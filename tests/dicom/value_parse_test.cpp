#include "dicom/value_parse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace talv {
namespace {
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int64_t kMost = std::numeric_limits<int64_t>::max(), kLeast = std::numeric_limits<int64_t>::min();

TEST(ValueParse, TrimStopsAtTheFirstNulAndStripsBlanks)
{
    const struct
    {
        std::string_view text, trimmed;
    } cases[] = {{"", ""},
                 {" ", ""},
                 {"  a b  ", "a b"},
                 {std::string_view("1.2\0", 4), "1.2"},
                 {"a", "a"},
                 {"\ta", "\ta"},
                 {std::string_view("\0a", 2), ""},
                 {std::string_view("a \0b", 4), "a"}};
    for (const auto& c : cases) EXPECT_EQ(TrimValue(c.text), c.trimmed) << c.text;
}

TEST(ValueParse, DecimalsInAndOutOfRange)
{
    const std::string huge = "1" + std::string(400, '0'), tiny = "0." + std::string(400, '0') + "1";
    const struct
    {
        std::string text;
        double value;
    } cases[] = {
        {"", 0},
        {"0", 0},
        {"-0.5", -0.5},
        {"+3.25", 3.25},
        {"\r\n\t -2.5", -2.5},
        {"1E3", 1000},
        {"1e+2", 100},
        {".5", 0.5},
        {"5.", 5},
        {"1,5", 1},
        {"0x10", 0},
        {"12abc", 12},
        {"abc", 0},
        {"+", 0},
        {"-", 0},
        {"+-1", 0},
        {"--1", 0},
        {"1e", 1},
        {"1e400", kInfinity},
        {"-1e400", -kInfinity},
        {"1e-400", 0},
        {"-1e-400", -0.0},
        {huge, kInfinity},
        {"-" + huge, -kInfinity},
        {tiny, 0},
        {huge + "e-400", 1},
        {tiny + "e401", 1},
        {"1e99999999999999999999", kInfinity},
        {"1e-99999999999999999999", 0},
        {"0e99999", 0},
        {"inf", kInfinity},
        {"3333333333333333333333333333333333333333", 3.3333333333333333e39},
        {"1.7976931348623157e308", 1.7976931348623157e308},
        {"0.0001e310", 1e306},
        {"9999e305", kInfinity},
        {"123e-330", 0},
    };
    for (const auto& c : cases) EXPECT_EQ(ParseDecimal(c.text), c.value) << c.text;
    EXPECT_TRUE(std::isnan(ParseDecimal("nan")));
    EXPECT_TRUE(std::signbit(ParseDecimal("-1e-400")));
}

TEST(ValueParse, DecimalsAgreeWithTheRunTimeLibrary)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < 50000; ++i) {
        char text[64];
        const uint64_t bits = random();
        double number;
        static_assert(sizeof number == sizeof bits);
        std::memcpy(&number, &bits, sizeof bits);
        if (!std::isfinite(number)) continue;
        std::snprintf(text, sizeof text, i % 2 != 0 ? "%.*e" : "%.*g", static_cast<int>(random() % 20),
                      number);
        EXPECT_EQ(ParseDecimal(text), std::strtod(text, nullptr)) << text;
    }
}

TEST(ValueParse, IntegersSaturate)
{
    const struct
    {
        const char* text;
        int64_t value;
    } cases[] = {
        {"", 0},
        {"0", 0},
        {"-5", -5},
        {"+7", 7},
        {"\t-7", -7},
        {"007", 7},
        {"1e3", 1},
        {"3.7", 3},
        {"12 34", 12},
        {"abc", 0},
        {"-", 0},
        {"+-3", 0},
        {"2147483648", 2147483648},
        {"4294967297", 4294967297},
        {"9223372036854775807", kMost},
        {"9223372036854775808", kMost},
        {"-9223372036854775808", kLeast},
        {"-9223372036854775809", kLeast},
        {"9999999999999999999999999999999999999999", kMost},
        {"-9999999999999999999999999999999999999999", kLeast},
    };
    for (const auto& c : cases) EXPECT_EQ(ParseInteger(c.text), c.value) << c.text;
}

std::string Text(const DicomDate& d)
{
    char text[80];
    std::snprintf(text, sizeof text, "%u %u %u kind %u", d.year, d.month, d.day, d.rangeKind);
    std::string all = text;
    if (d.rangeKind == kRangeBetween) {
        std::snprintf(text, sizeof text, " %u %u %u", d.year2, d.month2, d.day2);
        all += text;
    }
    return all;
}

TEST(ValueParse, DatesInEveryForm)
{
    const struct
    {
        const char *text, *record;
    } cases[] = {
        {"20040315", "2004 3 15 kind 0"},
        {"2004.03.15", "2004 3 15 kind 0"},
        {"2004.0315", "2004 3 15 kind 0"},
        {"20040315-", "2004 3 15 kind 1"},
        {"-20040315", "2004 3 15 kind 2"},
        {"20040315-20050416", "2004 3 15 kind 3 2005 4 16"},
        {"20040315 - 2005.04.16", "2004 3 15 kind 3 2005 4 16"},
        {"", "0 0 0 kind 0"},
        {"2", "2 0 0 kind 0"},
        {"2004", "2004 0 0 kind 0"},
        {"20041", "2004 1 0 kind 0"},
        {"2004031599", "2004 3 15 kind 0"},
        {"-", "0 0 0 kind 2"},
        {"--", "0 0 0 kind 2"},
        {"2004-03", "2004 0 0 kind 3 3 0 0"},
        {"20040315-x", "2004 3 15 kind 1"},
        {"yyyymmdd", "0 0 0 kind 0"},
        {"20x40315", "20 0 0 kind 0"},
        {"+2004", "0 0 0 kind 0"},
    };
    for (const auto& c : cases) EXPECT_EQ(Text(ParseDate(c.text)), c.record) << c.text;
}

std::string Text(const DicomTime& t)
{
    char text[120];
    std::snprintf(text, sizeof text, "%u %u %u %d kind %u", t.hour, t.minute, t.second, t.fraction,
                  t.rangeKind);
    std::string all = text;
    if (t.rangeKind == kRangeBetween) {
        std::snprintf(text, sizeof text, " %u %u %u %d", t.hour2, t.minute2, t.second2, t.fraction2);
        all += text;
    }
    return all;
}

TEST(ValueParse, TimesInEveryForm)
{
    const struct
    {
        const char *text, *record;
    } cases[] = {
        {"123456", "12 34 56 0 kind 0"},
        {"123456.5", "12 34 56 5 kind 0"},
        {"123456.50", "12 34 56 50 kind 0"},
        {"123456.000001", "12 34 56 1 kind 0"},
        {"123456.99999999999999", "12 34 56 2147483647 kind 0"},
        {"12:34:56.7", "12 34 56 7 kind 0"},
        {"12", "12 0 0 0 kind 0"},
        {"1", "1 0 0 0 kind 0"},
        {"1234", "12 34 0 0 kind 0"},
        {"12345", "12 34 5 0 kind 0"},
        {"000000", "0 0 0 0 kind 0"},
        {"", "0 0 0 0 kind 4"},
        {"12-", "12 0 0 0 kind 1"},
        {"-12", "12 0 0 0 kind 2"},
        {"12-1330", "12 0 0 0 kind 3 13 30 0 0"},
        {"08:00-09:30:15.25", "8 0 0 0 kind 3 9 30 15 25"},
        {"xx", "0 0 0 0 kind 0"},
        {"12.5", "12 0 0 5 kind 0"},
    };
    for (const auto& c : cases) EXPECT_EQ(Text(ParseTime(c.text)), c.record) << c.text;
}

std::string Text(const DicomDateTime& d)
{
    char text[120];
    std::snprintf(text, sizeof text, "%u %u %u %u %u %u %d %d", d.year, d.month, d.day, d.hour, d.minute,
                  d.second, d.fraction, d.utcOffset);
    return text;
}

TEST(ValueParse, DateTimesInEveryForm)
{
    const struct
    {
        const char *text, *record;
    } cases[] = {
        {"20040315123456.789+0130", "2004 3 15 12 34 56 789 130"},
        {"20040315123456.789-0500", "2004 3 15 12 34 56 789 -500"},
        {"20040315123456", "2004 3 15 12 34 56 0 0"},
        {"20040315", "2004 3 15 0 0 0 0 0"},
        {"20040315+0100", "2004 3 15 0 0 0 0 100"},
        {"2004-0500", "2004 0 0 0 0 0 0 -500"},
        {"20040315123456+99999", "2004 3 15 12 34 56 0 9999"},
        {"", "0 0 0 0 0 0 0 0"},
    };
    for (const auto& c : cases) EXPECT_EQ(Text(ParseDateTime(c.text)), c.record) << c.text;
}

TEST(ValueParse, AgesInEveryForm)
{
    const struct
    {
        const char* text;
        int number;
        char unit;
    } cases[] = {{"045Y", 45, 'Y'}, {"007D", 7, 'D'}, {"45Y", 45, 'Y'}, {"999W", 999, 'W'}, {"012", 12, 0},
                 {"01", 1, 0},      {"", 0, 0},       {"Y", 0, 'Y'},    {"1234", 123, '4'}, {"-12Y", 0, '-'}};
    for (const auto& c : cases) {
        const DicomAge age = ParseAge(c.text);
        EXPECT_EQ(age.number, c.number) << c.text;
        EXPECT_EQ(age.unit, c.unit) << c.text;
    }
}

TEST(ValueParse, AWellFormedTextCutAnywhereGivesThePartBeforeTheCut)
{
    const std::string full = "20040315123456.789+0130";
    const DicomDateTime whole = ParseDateTime(full);
    for (size_t cut = 0; cut <= full.size(); ++cut) {
        const DicomDateTime part = ParseDateTime(std::string_view(full).substr(0, cut));
        EXPECT_EQ(part.month, cut >= 6 ? whole.month : 0) << cut;
        EXPECT_EQ(part.day, cut >= 8 ? whole.day : cut == 7 ? 1 : 0) << cut;
        EXPECT_EQ(part.second, cut >= 14 ? whole.second : cut == 13 ? 5 : 0) << cut;
        EXPECT_EQ(part.utcOffset, cut >= 23 ? whole.utcOffset : cut == 22 ? 13 : cut == 21 ? 1 : 0) << cut;
    }
}
}  // namespace
}  // namespace talv
