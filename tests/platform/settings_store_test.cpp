#include "platform/settings_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace talv {
namespace {
constexpr const char* kKeyPath = "SOFTWARE\\Talv Systems, Inc.\\Tests\\SettingsStore";

// Bytes of 128 and above, zeros in every place: what a text conversion on the way would change.
TEST(SettingsKey, RawIntegersComeBackByteForByte)
{
    SettingsKey writer;
    ASSERT_EQ(writer.Create(kKeyPath), 0);
    SettingsKey reader;
    ASSERT_TRUE(reader.OpenForReading(kKeyPath));
    for (const uint32_t value :
         {0u, 1u, 40u, 63u, 128u, 233u, 1000u, 0x80000000u, 0xFFFFFFFFu, 0x00FF00FEu}) {
        ASSERT_TRUE(writer.WriteBytes("Frame Time", &value, sizeof(value)));
        uint32_t read = 0x5A5A5A5A;
        EXPECT_TRUE(reader.ReadBytes("frame time", &read, sizeof(read)));
        EXPECT_EQ(read, value);
    }
}

TEST(SettingsKey, AValueOfAnotherLengthLeavesTheBufferAlone)
{
    SettingsKey key;
    ASSERT_EQ(key.Create(kKeyPath), 0);
    const char text[1000] = "40 milliseconds";
    uint32_t read = 0x5A5A5A5A;
    for (const size_t length : {size_t{0}, size_t{3}, size_t{5}, sizeof(text)}) {
        ASSERT_TRUE(key.WriteBytes("Odd", text, length));
        EXPECT_FALSE(key.ReadBytes("Odd", &read, sizeof(read))) << length;
    }
    EXPECT_FALSE(key.ReadBytes("Absent", &read, sizeof(read)));
    EXPECT_EQ(read, 0x5A5A5A5Au);
}

TEST(SettingsKey, MissingAndReadOnlyKeysRefuse)
{
    SettingsKey key;
    EXPECT_FALSE(key.OpenForReading("SOFTWARE\\Talv Systems, Inc.\\Tests\\No such key"));
    uint32_t value = 7;
    EXPECT_FALSE(key.ReadBytes("Frame Time", &value, sizeof(value)));
    EXPECT_FALSE(key.WriteBytes("Frame Time", &value, sizeof(value)));
    SettingsKey writer;
    ASSERT_EQ(writer.Create(kKeyPath), 0);
    ASSERT_TRUE(writer.WriteBytes("Kept", &value, sizeof(value)));
    writer.Close();
    ASSERT_TRUE(key.OpenForReading(kKeyPath));
    const uint32_t other = 8;
    EXPECT_FALSE(key.WriteBytes("Kept", &other, sizeof(other)));
    EXPECT_TRUE(key.ReadBytes("Kept", &value, sizeof(value)));
    EXPECT_EQ(value, 7u);
}

class IniFile : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::random_device seed;
        path_ = std::filesystem::temp_directory_path() / ("talv-" + std::to_string(seed()) + ".ini");
    }
    void TearDown() override { std::filesystem::remove(path_); }

    void Write(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }
    std::string Read(const char* section, const char* key, size_t bufferSize = 80) const
    {
        char buffer[100];
        std::memset(buffer, '#', sizeof(buffer));
        ReadIniText(path_.string().c_str(), section, key, "Error", buffer, bufferSize);
        EXPECT_EQ(buffer[bufferSize], '#');
        return buffer;
    }

    std::filesystem::path path_;
};

TEST_F(IniFile, WrittenEntriesReadBackAndReplaceTheirFormerSelves)
{
    const std::string name = path_.string();
    ASSERT_TRUE(WriteIniText(name.c_str(), "Reader", "UserRepeatTime", "40"));
    ASSERT_TRUE(WriteIniText(name.c_str(), "Reader", "EnableFrameControl", "0"));
    ASSERT_TRUE(WriteIniText(name.c_str(), "Other", "UserRepeatTime", "7"));
    ASSERT_TRUE(WriteIniText(name.c_str(), "Reader", "EnableFrameDropping", "1"));
    ASSERT_TRUE(WriteIniText(name.c_str(), "READER", "userrepeattime", "1000"));
    EXPECT_EQ(Read("Reader", "UserRepeatTime"), "1000");
    EXPECT_EQ(Read("reader", "EnableFrameControl"), "0");
    EXPECT_EQ(Read("Reader", "EnableFrameDropping"), "1");
    EXPECT_EQ(Read("Other", "UserRepeatTime"), "7");
    EXPECT_EQ(Read("Other", "EnableFrameControl"), "Error");
    EXPECT_EQ(Read("Missing", "UserRepeatTime"), "Error");
}

TEST_F(IniFile, ForeignTextIsReadLeniently)
{
    Write(
        "stray=1\n; note\n[ First ]\r\n;Time=1\r\n  Time =  55  \r\nTime=56\nQuoted=\" a b "
        "\"\nEmpty=\n[Last]\nTime=9");
    EXPECT_EQ(Read("First", "Time"), "55");
    EXPECT_EQ(Read("First", "Quoted"), " a b ");
    EXPECT_EQ(Read("First", "Empty"), "");
    EXPECT_EQ(Read("First", "stray"), "Error");
    EXPECT_EQ(Read("Last", "Time"), "9");
    ASSERT_TRUE(WriteIniText(path_.string().c_str(), "Last", "More", "10"));
    EXPECT_EQ(Read("Last", "Time"), "9");
    EXPECT_EQ(Read("Last", "More"), "10");
}

TEST_F(IniFile, LongLinesAreCutToTheBuffer)
{
    Write("[S]\nLong=" + std::string(1 << 20, 'x') + "\nAfter=1\n");
    EXPECT_EQ(Read("S", "Long", 80).substr(0, 70), std::string(70, 'x'));
    EXPECT_EQ(Read("S", "After"), "1");
    EXPECT_EQ(Read("S", "After", 1), "");
}

TEST_F(IniFile, AFileThatCannotBeWrittenIsReported)
{
    const std::string name = (path_ / "no" / "folder.ini").string();
    EXPECT_FALSE(WriteIniText(name.c_str(), "S", "K", "1"));
}
}  // namespace
}  // namespace talv
