#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "dicom/data_set.h"
#include "dicom/dictionary.h"
#include "tests/dicom/value_fixture.h"

namespace talv {
namespace {
using namespace std::string_view_literals;

constexpr uint32_t kAll = 0xFFFFFFFF;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kMost = std::numeric_limits<int32_t>::max(), kLeast = std::numeric_limits<int32_t>::min();

TEST(Values, AGetterServesItsClassOnly)
{
    const struct
    {
        const char* vr;
        std::string_view bytes;
        int valueClass;
    } cases[] = {
        {"OB", "ab"sv, 0},       {"UN", "ab"sv, 0},       {"OW", "ab"sv, 1},   {"SS", "ab"sv, 1},
        {"US", "ab"sv, 1},       {"AT", "abcd"sv, 2},     {"IS", "12"sv, 2},   {"SL", "abcd"sv, 2},
        {"UL", "abcd"sv, 2},     {"FL", "abcd"sv, 3},     {"OF", "abcd"sv, 3}, {"DS", "12"sv, 4},
        {"FD", "abcdefgh"sv, 4}, {"AE", "ab"sv, 5},       {"CS", "ab"sv, 5},   {"LO", "ab"sv, 5},
        {"LT", "ab"sv, 5},       {"PN", "ab"sv, 5},       {"SH", "ab"sv, 5},   {"ST", "ab"sv, 5},
        {"UI", "12"sv, 5},       {"UT", "ab"sv, 5},       {"AS", "045Y"sv, 6}, {"DA", "20040315"sv, 7},
        {"TM", "1200"sv, 8},     {"DT", "20040315"sv, 9}, {"??", "ab"sv, -1},  {"us", "ab"sv, -1},
    };
    for (const auto& c : cases) {
        StoredValues stored;
        DicomElement* const e = stored.Add(c.vr, c.bytes);
        DicomDataSet& d = stored.dataSet;
        const void* const values[] = {d.GetBytes(e, 0, kAll),   d.GetWords(e, 0, kAll),
                                      d.GetLongs(e, 0, kAll),   d.GetFloats(e, 0, kAll),
                                      d.GetDoubles(e, 0, kAll), d.GetStrings(e, 0, kAll),
                                      d.GetAges(e, 0, kAll),    d.GetDates(e, 0, kAll),
                                      d.GetTimes(e, 0, kAll),   d.GetDateTimes(e, 0, kAll)};
        for (int valueClass = 0; valueClass < 10; ++valueClass)
            EXPECT_EQ(values[valueClass] != nullptr, valueClass == c.valueClass) << c.vr << valueClass;
        EXPECT_GT(d.GetValueCount(e), 0) << c.vr;
    }
}

TEST(Values, RangesAreCheckedWithoutWrapping)
{
    StoredValues stored;
    DicomElement* const e = stored.Add("US", "\x01\0\x02\0\x03\0"sv);
    DicomDataSet& d = stored.dataSet;
    const uint16_t* const words = d.GetWords(e, 0, kAll);
    ASSERT_NE(words, nullptr);
    EXPECT_EQ(d.GetValueCount(e), 3);
    const struct
    {
        uint32_t first, count;
        const uint16_t* result;
    } cases[] = {{0, 3, words},          {1, 2, words + 1},       {2, kAll, words + 2},
                 {3, 0, words + 3},      {3, kAll, words + 3},    {3, 1, nullptr},
                 {0, 4, nullptr},        {4, 0, nullptr},         {4, kAll, nullptr},
                 {kAll, kAll, nullptr},  {kAll, 2, nullptr},      {2, kAll - 1, nullptr},
                 {kAll - 1, 2, nullptr}, {0x80000000, 1, nullptr}};
    for (const auto& c : cases)
        EXPECT_EQ(d.GetWords(e, c.first, c.count), c.result) << c.first << ' ' << c.count;
}

TEST(Values, NullContainersAndForeignElementsHaveNone)
{
    StoredValues stored;
    DicomDataSet& d = stored.dataSet;
    DicomElement* const sequence = d.InsertElement(nullptr, false, 0x00081140, VrOf("SQ"), true, kAll);
    for (DicomElement* const e : {static_cast<DicomElement*>(nullptr), sequence}) {
        int32_t integer;
        int64_t wide;
        double real;
        EXPECT_EQ(d.GetValueCount(e), 0);
        EXPECT_EQ(d.GetBytes(e, 0, kAll), nullptr);
        EXPECT_FALSE(d.GetInteger(e, 0, &integer));
        EXPECT_FALSE(d.GetReal(e, 0, &real));
        EXPECT_FALSE(d.GetIntegerString64(e, 0, &wide));
        EXPECT_EQ(d.FormatValueText(e, nullptr), 0u);
        EXPECT_FALSE(d.SetValues(e, "x", 0, 1));
        EXPECT_FALSE(d.SetRawValue(e, "x", 1));
        d.ReleaseValues(e);
    }

    StoredValues other;
    DicomElement* const foreign = other.Add("US", "\x01\0"sv);
    int reports = 0;
    d.elementCheckUser = &reports;
    d.elementCheck = [](DicomElement*, uint32_t code, void* user) {
        EXPECT_EQ(code, kCheckForeignElement);
        ++*static_cast<int*>(user);
    };
    int32_t integer;
    EXPECT_EQ(d.GetValueCount(foreign), 0);
    EXPECT_EQ(d.GetWords(foreign, 0, kAll), nullptr);
    EXPECT_FALSE(d.GetInteger(foreign, 0, &integer));
    EXPECT_EQ(d.FormatValueText(foreign, nullptr), 0u);
    EXPECT_FALSE(d.SetRawValue(foreign, "ab", 2));
    EXPECT_EQ(reports, 5);
    EXPECT_EQ(foreign->valueCount, -1);
}

TEST(Values, TextIsSplitTrimmedAndTerminated)
{
    using Strings = std::vector<std::string>;
    const struct
    {
        const char* vr;
        std::string_view bytes;
        Strings values;
    } cases[] = {
        {"CS", "ORIGINAL\\PRIMARY"sv, {"ORIGINAL", "PRIMARY"}},
        {"CS", " A \\ B\\C "sv, {"A", "B", "C"}},
        {"CS", ""sv, {}},
        {"CS", "  "sv, {""}},
        {"CS", "\\"sv, {"", ""}},
        {"LO", "a\\\\b"sv, {"a", "", "b"}},
        {"UI", "1.2.840\0"sv, {"1.2.840"}},
        {"UI", "1.2\0\\1.3\0"sv, {"1.2", "1.3"}},
        {"SH", "AB\0CD\\EF"sv, {"AB", "EF"}},
        {"PN", "Doe^Jane^^Dr.^ "sv, {"Doe^Jane^^Dr.^"}},
        {"LT", "a\\b "sv, {"a\\b "}},
        {"ST", " x"sv, {" x"}},
        {"UT", "no terminator"sv, {"no terminator"}},
        {"LT", "ab\0cd"sv, {"ab"}},
        {"PN", "\x1b$B;3ED\x1b(J^"sv, {"\x1b$B;3ED\x1b(J^"}},  // ISO 2022 text passes as it is
        {"LO", "\xc3\xa4\xff"sv, {"\xc3\xa4\xff"}},
    };
    for (const auto& c : cases) {
        StoredValues stored;
        DicomElement* const e = stored.Add(c.vr, c.bytes);
        ASSERT_EQ(stored.dataSet.GetValueCount(e), static_cast<int32_t>(c.values.size())) << c.bytes;
        char** const strings = stored.dataSet.GetStrings(e, 0, kAll);
        const size_t count = strings != nullptr ? c.values.size() : 0;
        EXPECT_EQ(Strings(strings, strings + count), c.values) << c.bytes;
    }
}

TEST(Values, ThousandsOfBackslashesGiveThatManyEmptyValues)
{
    for (const char* vr : {"LO", "DS", "IS", "DA", "TM", "DT", "AS"}) {
        StoredValues stored;
        DicomElement* const e = stored.Add(vr, std::string(65534, '\\'));
        EXPECT_EQ(stored.dataSet.GetValueCount(e), 65535) << vr;
        char** const strings = stored.dataSet.GetStrings(e, 0, kAll);
        for (int i = 0; strings != nullptr && i < 65535; ++i) ASSERT_STREQ(strings[i], "");
    }
}

TEST(Values, NumbersFollowTheByteOrderOfTheDataSet)
{
    const std::string_view little = "\x34\x12\x78\x56\0\0\xF0\x3F"sv, big = "\x12\x34\x56\x78\x3F\xF0\0\0"sv;
    for (const bool bigEndian : {false, true}) {
        StoredValues stored(bigEndian);
        DicomDataSet& d = stored.dataSet;
        const std::string_view bytes = bigEndian ? big : little;
        const uint16_t* const words = d.GetWords(stored.Add("US", bytes), 0, 4);
        EXPECT_EQ(words[0], 0x1234);
        EXPECT_EQ(words[3], 0x3FF0 - (bigEndian ? 0x3FF0 : 0));
        EXPECT_EQ(d.GetWords(stored.Add("OW", bytes), 0, 4)[1], 0x5678);
        EXPECT_EQ(d.GetWords(stored.Add("SS", bytes), 0, 4)[1], 0x5678);
        const int32_t wanted = bigEndian ? 0x12345678 : 0x56781234;
        EXPECT_EQ(d.GetLongs(stored.Add("UL", bytes), 0, 2)[0], wanted);
        EXPECT_EQ(d.GetLongs(stored.Add("SL", bytes), 0, 2)[0], wanted);
        const DicomTag* const tags = reinterpret_cast<DicomTag*>(d.GetLongs(stored.Add("AT", bytes), 0, 2));
        EXPECT_EQ(tags[0].group, 0x1234);
        EXPECT_EQ(tags[0].element, 0x5678);
        EXPECT_EQ(d.GetBytes(stored.Add("OB", bytes), 0, 8)[0], static_cast<uint8_t>(bytes[0]));
        EXPECT_EQ(d.GetBytes(stored.Add("UN", bytes), 0, 8)[0], static_cast<uint8_t>(bytes[0]));
        EXPECT_EQ(d.GetLongs(stored.Add("IS", "12"), 0, 1)[0], 12);
        // the meta group is little endian in every file
        EXPECT_EQ(d.GetWords(stored.Add(0x00020102, "US", little), 0, 1)[0], 0x1234);
    }
    StoredValues stored(true);
    EXPECT_EQ(stored.dataSet.GetDoubles(stored.Add("FD", "\x3F\xF8\0\0\0\0\0\0"sv), 0, 1)[0], 1.5);
    EXPECT_EQ(stored.dataSet.GetFloats(stored.Add("FL", "\x3F\xC0\0\0"sv), 0, 1)[0], 1.5f);
    EXPECT_EQ(stored.dataSet.GetFloats(stored.Add("OF", "\x3F\xC0\0\0\xBF\x80\0\0"sv), 1, 1)[0], -1.f);
}

TEST(Values, ARemainderBelowOneUnitIsIgnored)
{
    const struct
    {
        const char* vr;
        int32_t unit;
    } cases[] = {{"US", 2}, {"OW", 2}, {"UL", 4}, {"AT", 4}, {"FL", 4}, {"FD", 8}, {"OB", 1}};
    for (const auto& c : cases)
        for (int32_t length = 0; length <= 17; ++length) {
            StoredValues stored(length % 2 != 0);
            DicomElement* const e = stored.Add(c.vr, std::string(static_cast<size_t>(length), 'x'));
            EXPECT_EQ(stored.dataSet.GetValueCount(e), length / c.unit) << c.vr << length;
        }
}

TEST(Values, AValueBeyondTheStreamStaysUnloadedAndCostsNoMemory)
{
    for (const char* vr : {"OB", "OW", "LO", "LT", "DS", "UN"})
        for (const uint32_t claimed : {5u, 0xFFFFu, 0x7FFFFFFEu, 0x80000000u, 0xFFFFFFFEu}) {
            StoredValues stored;
            DicomElement* const e = stored.Add(vr, "1234"sv);
            e->length = e->valueLength = claimed;
            const CountingAllocator allocator;
            EXPECT_EQ(stored.dataSet.GetValueCount(e), 0) << vr << claimed;
            EXPECT_EQ(stored.dataSet.FormatValueText(e, nullptr), 0u);
            EXPECT_EQ(e->valueCount, -1);
            EXPECT_EQ(CountingAllocator::calls, 0);
            e->valueLength = 4;
            e->valuePosition = 1;
            EXPECT_EQ(stored.dataSet.GetValueCount(e), 0);
            e->valuePosition = uint64_t{1} << 63;
            EXPECT_EQ(stored.dataSet.GetValueCount(e), 0);
            EXPECT_EQ(CountingAllocator::calls, 0);
        }
}

/// Claims its bytes but reads short until told otherwise.
class FailingStream : public DicomStream
{
  public:
    size_t ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        return fail ? DicomStream::ReadAt(position, buffer, count / 2)
                    : DicomStream::ReadAt(position, buffer, count);
    }
    bool fail = true;
};

TEST(Values, AFailedReadChangesNothingAndTheNextOneMaySucceed)
{
    const std::string bytes(2000, '1');
    for (const char* vr : {"OB", "US", "LO", "LT", "IS"}) {
        const CountingAllocator allocator;
        {
            StoredValues stored;
            FailingStream stream;
            ASSERT_TRUE(stream.OpenMemory(bytes.data(), bytes.size()));
            DicomElement* const e = stored.Add(vr, "");
            e->length = e->valueLength = 2000;
            e->valueStream = &stream;
            const int before = CountingAllocator::live;
            EXPECT_EQ(stored.dataSet.GetValueCount(e), 0) << vr;
            EXPECT_EQ(e->values, nullptr);
            EXPECT_EQ(CountingAllocator::live, before);
            stream.fail = false;
            EXPECT_GT(stored.dataSet.GetValueCount(e), 0) << vr;
        }
        EXPECT_EQ(CountingAllocator::live, 0);
    }
}

TEST(Values, AllocationFailuresLoseNothing)
{
    const std::string many(3000, '1');
    for (const char* vr : {"OB", "US", "LO", "LT", "IS", "DS", "TM", "DA", "DT", "AS"})
        for (int failAt = 1;; ++failAt) {
            StoredValues stored;
            DicomElement* const e = stored.Add(vr, many);
            bool loaded = false;
            {
                const CountingAllocator allocator(failAt);
                loaded = stored.dataSet.GetValueCount(e) > 0;
                const bool failed = CountingAllocator::calls >= failAt;
                EXPECT_EQ(loaded, !failed) << vr << failAt;
                EXPECT_EQ(CountingAllocator::live, loaded ? 1 : 0) << vr << failAt;
                EXPECT_EQ(e->valueCount < 0, !loaded);
                CountingAllocator::failing = 0;
                EXPECT_GT(stored.dataSet.GetValueCount(e), 0) << "the next call works";
                stored.dataSet.ReleaseValues(e);
                EXPECT_EQ(CountingAllocator::live, 0);
            }
            ASSERT_LT(failAt, 10);
            if (loaded) break;
        }
}

TEST(Values, NumbersOfEveryClassSaturateAndAbsentOnesSaySo)
{
    const double none = std::numeric_limits<double>::quiet_NaN();  // stands for "no such value" below
    const struct
    {
        const char* vr;
        std::string_view bytes;
        uint32_t index;
        double real;
        int32_t integer;
    } cases[] = {
        {"US", "\xFF\xFF"sv, 0, 65535, 65535},
        {"SS", "\xFF\xFF"sv, 0, -1, -1},
        {"UL", "\xFF\xFF\xFF\xFF"sv, 0, 4294967295., kMost},
        {"SL", "\xFF\xFF\xFF\xFF"sv, 0, -1, -1},
        {"IS", "12\\-7 "sv, 1, -7, -7},
        {"IS", "2147483648"sv, 0, 2147483648., kMost},
        {"IS", "-99999999999999999999"sv, 0, -9223372036854775808., kLeast},
        {"IS", "1e3 "sv, 0, 1, 1},
        {"DS", "3.99"sv, 0, 3.99, 3},
        {"DS", "-3.99 "sv, 0, -3.99, -3},
        {"DS", "1,5 "sv, 0, 1, 1},
        {"DS", "1e400 "sv, 0, kInfinity, kMost},
        {"DS", "-1e400"sv, 0, -kInfinity, kLeast},
        {"DS", "1\\2 "sv, 1, 2, 2},
        {"FL", "\0\0\xC0\x3F"sv, 0, 1.5, 1},
        {"FD", "\0\0\0\0\0\0\xF8\xBF"sv, 0, -1.5, -1},
        {"FD", "\0\0\0\0\0\0\xF0\x7F"sv, 0, kInfinity, kMost},
        {"FD", "\0\0\0\0\0\0\xF8\x7F"sv, 0, none, 0},
        {"FL", "\0\0\xC0\x7F"sv, 0, none, 0},
        {"DS", "nan "sv, 0, none, 0},
        {"DS", ""sv, 0, none, 0},
        {"DS", "    "sv, 0, none, 0},
        {"IS", "  "sv, 0, none, 0},
        {"IS", "12"sv, 1, none, 0},
        {"IS", "12"sv, kAll, none, 0},
        {"OW", "\1\0"sv, 0, none, 0},
        {"OF", "\0\0\xC0\x3F"sv, 0, none, 0},
        {"AT", "\1\0\1\0"sv, 0, none, 0},
        {"LO", "12"sv, 0, none, 0},
        {"UN", "\1\0"sv, 0, none, 0},
    };
    for (const auto& c : cases) {
        StoredValues stored;
        DicomElement* const e = stored.Add(c.vr, c.bytes);
        double real = 77;
        int32_t integer = 77;
        const bool present = !std::isnan(c.real);
        EXPECT_EQ(stored.dataSet.GetReal(e, c.index, &real), present) << c.vr << c.bytes;
        EXPECT_EQ(stored.dataSet.GetInteger(e, c.index, &integer), present) << c.vr << c.bytes;
        EXPECT_EQ(real, present ? c.real : 77) << c.vr << c.bytes;
        EXPECT_EQ(integer, present ? c.integer : 77) << c.vr << c.bytes;
    }
}

TEST(Values, IntegerStringsHaveA64BitForm)
{
    StoredValues stored;
    DicomElement* const e = stored.Add("IS", "1\\2147483648\\-3000000000\\"sv);
    const int64_t wanted[] = {1, 2147483648, -3000000000, 0};
    const int32_t narrow[] = {1, kMost, kLeast, 0};
    int64_t value = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(stored.dataSet.GetIntegerString64(e, i, &value));
        EXPECT_EQ(value, wanted[i]);
        EXPECT_EQ(*stored.dataSet.GetLongs(e, i, 1), narrow[i]);
    }
    EXPECT_FALSE(stored.dataSet.GetIntegerString64(e, 4, &value));
    EXPECT_FALSE(stored.dataSet.GetIntegerString64(stored.Add("SL", "abcd"sv), 0, &value));
}

TEST(Values, TagValuesAreCopiedCutAndCleared)
{
    StoredValues stored;
    DicomDataSet& d = stored.dataSet;
    stored.Add(0x00020010, "UI", "1.2.840.10008.1.2\0"sv);
    stored.Add(0x00080008, "CS", "ORIGINAL\\PRIMARY"sv);
    stored.Add(0x00280009, "AT", "\x18\0\x63\x10"sv);
    stored.Add(0x00280010, "UL", "\x70\x11\x01\x00\xFF\xFF\xFF\xFF"sv);
    stored.Add(0x00280106, "SS", "\xFE\xFF\x05\0"sv);
    stored.Add(0x00281101, "US", "\0\1\0\0"sv);
    stored.Add(0x00281050, "DS", "40.5\\-1e9\\nan"sv);
    stored.Add(0x00281201, "OW", "\1\2\3\4"sv);
    stored.Add(0x00284000, "LT", ""sv);

    char text[256];
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00020010, text, 0, sizeof text, 0));
    EXPECT_STREQ(text, "1.2.840.10008.1.2");
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00080008, text, 1, sizeof text, 0));
    EXPECT_STREQ(text, "PRIMARY");
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00080008, text, 1, 5, 0));
    EXPECT_STREQ(text, "PRIM");
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00080008, text, 0, 1, 0));
    EXPECT_STREQ(text, "");
    EXPECT_FALSE(d.GetTagValue(nullptr, 0x00080008, text, 0, 0, 0));
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00281101, text, 0, sizeof text, 0));
    EXPECT_STREQ(text, "256");
    for (const uint32_t absent : {0x00080016u, 0x00284000u}) {
        text[0] = 'x';
        EXPECT_FALSE(d.GetTagValue(nullptr, absent, text, 0, sizeof text, 0));
        EXPECT_STREQ(text, "");
    }
    EXPECT_FALSE(d.GetTagValue(nullptr, 0x00080008, text, 2, sizeof text, 0));

    const auto words = [&](uint32_t tag, uint32_t first, bool found) {
        std::vector<uint16_t> out(4, 0xAAAA);
        EXPECT_EQ(d.GetTagValue(nullptr, tag, out.data(), first, 3, 1), found) << std::hex << tag;
        EXPECT_EQ(out[3], 0xAAAA);
        out.pop_back();
        return out;
    };
    using Words = std::vector<uint16_t>;
    EXPECT_EQ(words(0x00281101, 0, true), (Words{256, 0, 0}));
    EXPECT_EQ(words(0x00281101, 1, true), (Words{0, 0, 0}));
    EXPECT_EQ(words(0x00281101, 2, false), (Words{0, 0, 0}));
    EXPECT_EQ(words(0x00281101, kAll, false), (Words{0, 0, 0}));
    EXPECT_EQ(words(0x00280106, 0, true), (Words{0xFFFE, 5, 0}));
    EXPECT_EQ(words(0x00280010, 0, true), (Words{0xFFFF, 0xFFFF, 0})) << "a number too large is clamped";
    EXPECT_EQ(words(0x00281050, 0, true), (Words{40, 0x8000, 0}));
    EXPECT_EQ(words(0x00281201, 0, true), (Words{0x0201, 0x0403, 0}));
    EXPECT_EQ(words(0x00080008, 0, false), (Words{0, 0, 0}));
    EXPECT_EQ(words(0x00189999, 0, false), (Words{0, 0, 0}));

    uint32_t longs[3] = {9, 9, 9};
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00280010, longs, 0, 3, 2));
    EXPECT_EQ(longs[0], 70000u);
    EXPECT_EQ(longs[1], 0xFFFFFFFFu);
    EXPECT_EQ(longs[2], 0u);
    EXPECT_TRUE(d.GetTagValue(nullptr, 0x00280009, longs, 0, 1, 2));
    EXPECT_EQ(longs[0], 0x10630018u) << "group first, as the bytes lie";
    EXPECT_FALSE(d.GetTagValue(nullptr, 0x00280010, longs, 0, 3, 7));
    EXPECT_FALSE(d.GetTagValue(nullptr, 0x00280010, nullptr, 0, 3, 2));
}

TEST(Values, TheIodOfADataSetComesFromItsSopClass)
{
    const struct
    {
        const char *media, *sopClass;
        const char* iod;
    } cases[] = {
        {"1.2.840.10008.5.1.4.1.1.2", "1.2.840.10008.5.1.4.1.1.4", "CT Image Storage"},
        {nullptr, "1.2.840.10008.5.1.4.1.1.4", "MR Image Storage"},
        {"", "1.2.840.10008.5.1.4.1.1.4", "MR Image Storage"},
        {"1.2.3", "1.2.840.10008.5.1.4.1.1.4", nullptr},
        {nullptr, "1.2.840.10008.5.1.4.1.1.", nullptr},
        {nullptr, nullptr, nullptr},
    };
    for (const auto& c : cases) {
        StoredValues stored;
        if (c.media != nullptr) stored.Add(0x00020002, "UI", c.media);
        if (c.sopClass != nullptr) stored.Add(0x00080016, "UI", c.sopClass);
        const uint16_t code = FindIodForDataSet(&stored.dataSet);
        const IodNode* const iod = GetIod(code);
        EXPECT_STREQ(iod != nullptr ? iod->name : nullptr, c.iod);
    }
    EXPECT_EQ(FindIodForDataSet(nullptr), kNoIod);
    FreeDictionaries();
}
}  // namespace
}  // namespace talv
