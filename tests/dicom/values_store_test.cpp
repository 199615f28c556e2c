#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dicom/data_set.h"
#include "tests/dicom/value_fixture.h"

namespace talv {
namespace {
using namespace std::string_view_literals;

constexpr uint32_t kAll = 0xFFFFFFFF;

/// The stored bytes of an element.
std::string Stored(const DicomElement* element)
{
    std::string bytes(element->valueLength, '\0');
    if (!bytes.empty())
        bytes.resize(element->valueStream->ReadAt(element->valuePosition, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes.size(), element->length);
    return bytes;
}

/// Stores `values` in an element of the VR and returns the bytes.
template <class Value>
std::string Store(const char* vr, const std::vector<Value>& values, bool bigEndian = false,
                  uint32_t tag = 0x00110101)
{
    StoredValues stored(bigEndian);
    DicomElement* const e = stored.Add(tag, vr, "");
    EXPECT_TRUE(stored.dataSet.SetValues(e, values.data(), static_cast<uint32_t>(values.size()), 0));
    EXPECT_EQ(e->valueCount, -1) << "the next access converts again";
    EXPECT_EQ(stored.dataSet.GetValueCount(e), static_cast<int32_t>(values.size()));
    return Stored(e);
}

TEST(ValueStore, EveryVrHasItsForm)
{
    EXPECT_EQ(Store<uint16_t>("US", {1, 0xFFFE}), "\1\0\xFE\xFF"sv);
    EXPECT_EQ(Store<int32_t>("SL", {-2}), "\xFE\xFF\xFF\xFF"sv);
    EXPECT_EQ(Store<double>("FD", {1.5}), "\0\0\0\0\0\0\xF8\x3F"sv);
    EXPECT_EQ(Store<DicomTag>("AT", {{0x0028, 0x0010}}), "\x28\0\x10\0"sv);
    EXPECT_EQ(Store<DicomDate>("DA", {{2004, 3, 15, 0, 0, 0, 0}}), "20040315");
    EXPECT_EQ(Store<DicomDate>("DA", {{2004, 3, 15, 1, 0, 0, 0}, {1, 2, 3, 2, 0, 0, 0}}),
              "20040315-\\-00010203 ");
    EXPECT_EQ(Store<DicomDate>("DA", {{2004, 3, 15, 3, 2005, 4, 16}}), "20040315-20050416 ");
    EXPECT_EQ(Store<DicomTime>("TM", {{1, 2, 3, 45, 0, 0, 0, 0, 0}}), "010203.45 ");
    EXPECT_EQ(Store<DicomTime>("TM", {{1, 2, 3, 0, 3, 4, 5, 6, 7}}), "010203.0-040506.7 ");
    EXPECT_EQ(Store<DicomDateTime>("DT", {{2004, 3, 15, 12, 34, 56, 789, -500}}), "20040315123456.789-500");
    EXPECT_EQ(Store<DicomDateTime>("DT", {{2004, 3, 15, 12, 34, 56, 0, 130}}), "20040315123456.0+130");
    EXPECT_EQ(Store<DicomAge>("AS", {{45, 'Y'}, {7, 'D'}}), "045Y\\007D ");
    EXPECT_EQ(Store<int32_t>("IS", {-5, 7, 2147483647}), "-5\\7\\2147483647 ");
    EXPECT_EQ(Store<double>("DS", {0.5, -3, 1e20}), "0.5\\-3\\1e+20");
    EXPECT_EQ(Store<const char*>("CS", {"ORIGINAL", "PRIMARY"}), "ORIGINAL\\PRIMARY");
    EXPECT_EQ(Store<const char*>("UI", {"1.2.3"}), "1.2.3\0"sv);
    EXPECT_EQ(Store<const char*>("LT", {"a\\b"}), "a\\b ");
}

TEST(ValueStore, NativeValuesFollowTheByteOrderOfTheDataSet)
{
    EXPECT_EQ(Store<uint16_t>("US", {0x1234}, true), "\x12\x34"sv);
    EXPECT_EQ(Store<uint32_t>("UL", {0x12345678}, true), "\x12\x34\x56\x78"sv);
    EXPECT_EQ(Store<DicomTag>("AT", {{0x0028, 0x0010}}, true), "\0\x28\0\x10"sv);
    EXPECT_EQ(Store<uint16_t>("US", {0x1234}, true, 0x00020102), "\x34\x12"sv);
    EXPECT_EQ(Store<uint8_t>("OB", {1, 2}, true), "\1\2"sv);
    StoredValues stored(true);
    DicomElement* const e = stored.Add("US", "");
    const uint16_t words[] = {0x1234, 0x5678};
    ASSERT_TRUE(stored.dataSet.SetValues(e, words, 2, 0));
    EXPECT_EQ(*stored.dataSet.GetWords(e, 1, 1), 0x5678);
    const std::string raw = Stored(e);
    ASSERT_TRUE(stored.dataSet.SetRawValue(e, raw.data(), static_cast<uint32_t>(raw.size())));
    EXPECT_EQ(*stored.dataSet.GetWords(e, 1, 1), 0x5678) << "raw bytes are those of the stream";
}

TEST(ValueStore, OddRawValuesArePaddedAsTheVrAsks)
{
    for (const char* vr : {"LO", "DS", "LT", "PN", "DA"}) {
        StoredValues stored;
        DicomElement* const e = stored.Add(vr, "");
        EXPECT_TRUE(stored.dataSet.SetRawValue(e, "abc", 3));
        EXPECT_EQ(Stored(e), "abc ") << vr;
    }
    for (const char* vr : {"UI", "OB", "UN", "OW", "??"}) {
        StoredValues stored;
        DicomElement* const e = stored.Add(vr, "");
        EXPECT_TRUE(stored.dataSet.SetValues(e, "abc", 0, 3));
        EXPECT_EQ(Stored(e), "abc\0"sv) << vr;
    }
}

TEST(ValueStore, AValueThatFitsReplacesTheOldOneInPlace)
{
    StoredValues stored;
    DicomDataSet& d = stored.dataSet;
    DicomElement* const a = stored.Add("LO", "from the file");
    DicomElement* const b = stored.Add("LO", "");
    ASSERT_TRUE(d.SetRawValue(a, "12345678", 8));
    ASSERT_TRUE(d.SetRawValue(b, "abcd", 4));
    EXPECT_EQ(d.ownStream.Size(), 12u);
    ASSERT_TRUE(d.SetRawValue(a, "xyz", 3));
    EXPECT_EQ(d.ownStream.Size(), 12u);
    EXPECT_EQ(Stored(a), "xyz ");
    EXPECT_EQ(Stored(b), "abcd");
    ASSERT_TRUE(d.SetRawValue(a, "123456", 6));
    EXPECT_EQ(d.ownStream.Size(), 18u) << "too long for the old place";
    EXPECT_EQ(Stored(a), "123456");
    EXPECT_EQ(Stored(b), "abcd");
    ASSERT_TRUE(d.SetRawValue(a, nullptr, 0));
    EXPECT_EQ(d.GetValueCount(a), 0);
    EXPECT_EQ(Stored(a), "");
}

TEST(ValueStore, AnElementsOwnValuesMayBeStoredAgain)
{
    StoredValues stored;
    DicomDataSet& d = stored.dataSet;
    DicomElement* const e = stored.Add("IS", "5\\6 "sv);
    int32_t* const values = d.GetLongs(e, 0, kAll);
    values[1] = -42;
    ASSERT_TRUE(d.SetValues(e, values, 2, 0));
    EXPECT_EQ(Stored(e), "5\\-42 ");
    DicomElement* const bytes = stored.Add("OB", "abcdef"sv);
    ASSERT_TRUE(d.SetRawValue(bytes, d.GetBytes(bytes, 2, 3), 3));
    EXPECT_EQ(Stored(bytes), "cde\0"sv);
}

TEST(ValueStore, RefusalsChangeNothing)
{
    StoredValues stored;
    DicomDataSet& d = stored.dataSet;
    DicomElement* const e = stored.Add("US", "\1\0"sv);
    ASSERT_EQ(d.GetValueCount(e), 1);
    const uint16_t word = 2;
    EXPECT_FALSE(d.SetValues(e, nullptr, 1, 0));
    EXPECT_FALSE(d.SetValues(e, nullptr, 0, 2));
    EXPECT_FALSE(d.SetValues(e, &word, 0x80000000, 0)) << "4 GiB";
    EXPECT_FALSE(d.SetRawValue(e, &word, 0xFFFFFFFF)) << "the undefined length";
    EXPECT_FALSE(d.SetValues(stored.Add("??", "ab"), &word, 1, 0));
    {
        const CountingAllocator allocator(1);
        EXPECT_FALSE(d.SetValues(e, &word, 1, 0));
        EXPECT_EQ(CountingAllocator::live, 0);
    }
    EXPECT_EQ(e->valueCount, 1);
    EXPECT_EQ(*d.GetWords(e, 0, 1), 1);
    EXPECT_EQ(Stored(e), "\1\0"sv);
}

struct Remembered : DataSetAttachment
{
    explicit Remembered(bool* gone) : gone_(gone) {}
    ~Remembered() override { *gone_ = true; }
    bool* gone_;
};

TEST(ValueStore, AChangeDropsWhatHigherRoomsRemember)
{
    StoredValues stored;
    DicomElement* const e = stored.Add("US", "\1\0"sv);
    bool gone = false;
    stored.dataSet.attachment = std::make_unique<Remembered>(&gone);
    EXPECT_EQ(stored.dataSet.GetValueCount(e), 1);
    EXPECT_FALSE(gone);
    EXPECT_TRUE(stored.dataSet.SetRawValue(e, "\2\0", 2));
    EXPECT_TRUE(gone);
}

TEST(ValueStore, DecimalStringsFitTheirLengthAndKeepTheirValue)
{
    std::mt19937_64 random(99);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t bits = random();
        double number;
        std::memcpy(&number, &bits, sizeof number);
        if (!std::isfinite(number)) continue;
        if (i % 2 != 0) number = static_cast<double>(static_cast<int64_t>(bits) >> 24) / 1000;
        StoredValues stored;
        DicomElement* const e = stored.Add("DS", "");
        ASSERT_TRUE(stored.dataSet.SetValues(e, &number, 1, 0));
        EXPECT_LE(e->length, 16u);
        const double back = *stored.dataSet.GetDoubles(e, 0, 1);
        char shortest[40];
        const bool exact = std::to_chars(shortest, shortest + sizeof shortest, number).ptr - shortest <= 16;
        EXPECT_LE(std::abs(back - number), exact ? 0 : std::abs(number) * 1e-8) << number;
    }
}
}  // namespace
}  // namespace talv
