#include "filter/settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/settings_store.h"
#include "tests/support/temporary_file.h"

namespace talv {
namespace {
void ExpectSettings(const ReaderSettings& settings, int32_t time, int32_t control, int32_t dropping)
{
    EXPECT_EQ(settings.userFrameTime, time);
    EXPECT_EQ(settings.frameControl, control);
    EXPECT_EQ(settings.frameDropping, dropping);
}

TEST(SettingsBlock, ThreeLittleEndianIntegersThereAndBack)
{
    uint8_t block[kSettingsBlockSize];
    SettingsToBlock({1000, 1, 0}, block);
    const uint8_t expected[kSettingsBlockSize] = {0xE8, 0x03, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(block, expected, sizeof block), 0);
    ExpectSettings(SettingsFromBlock(block), 1000, 1, 0);
    std::memset(block, 0xFF, sizeof block);  // -1 everywhere
    ExpectSettings(SettingsFromBlock(block), 20, 1, 1);
}

/// The key as it was, for the time of a test.
class RegistrySettings : public testing::Test
{
  protected:
    void SetUp() override { saved_ = ReadSettings(); }
    void TearDown() override { WriteSettings(saved_); }

    static void Put(const char* name, const void* bytes, size_t count)
    {
        SettingsKey key;
        ASSERT_EQ(key.Create(kSettingsKeyPath), 0);
        ASSERT_TRUE(key.WriteBytes(name, bytes, count));
    }

  private:
    ReaderSettings saved_;
};

TEST_F(RegistrySettings, ValuesAreFourRawBytes)
{
    ASSERT_EQ(WriteSettings({500, 1, 0}), 0);
    ExpectSettings(ReadSettings(), 500, 1, 0);
    SettingsKey key;
    ASSERT_TRUE(key.OpenForReading(kSettingsKeyPath));
    uint8_t bytes[4];
    ASSERT_TRUE(key.ReadBytes("Frame Time", bytes, sizeof bytes));
    EXPECT_EQ(std::string(bytes, bytes + 4), std::string("\xF4\x01\0\0", 4));
    ASSERT_TRUE(key.ReadBytes("Frame Control", bytes, sizeof bytes));
    EXPECT_EQ(std::string(bytes, bytes + 4), std::string("\x01\0\0\0", 4));
    ASSERT_TRUE(key.ReadBytes("Frame Dropping", bytes, sizeof bytes));
    EXPECT_EQ(std::string(bytes, bytes + 4), std::string(4, '\0'));
}

TEST_F(RegistrySettings, FrameTimeIsClampedAndForeignValuesAreDefaults)
{
    const std::pair<int32_t, int32_t> times[] = {{5, 20}, {20, 20}, {1000, 1000}, {5000, 1000}, {-1, 20}};
    for (const auto& [stored, read] : times) {
        ASSERT_EQ(WriteSettings({stored, 7, 0}), 0);
        ExpectSettings(ReadSettings(), read, 1, 0);
    }
    for (const size_t length : {0, 3, 5, 1000}) {
        const std::string text(length, '1');
        Put("Frame Time", text.data(), length);
        Put("Frame Control", text.data(), length);
        ExpectSettings(ReadSettings(), 40, 0, 0);
    }
}

TEST(IniSettings, ExportedTextImportsBack)
{
    const TemporaryFile file({}, ".ini");
    ASSERT_TRUE(ExportSettings({40, 0, 1}, file.Path()));
    char text[16];
    ReadIniText(file.Path(), kSettingsSection, "UserRepeatTime", "", text, sizeof text);
    EXPECT_STREQ(text, "40");
    ReadIniText(file.Path(), kSettingsSection, "EnableFrameControl", "", text, sizeof text);
    EXPECT_STREQ(text, "0");
    ReadIniText(file.Path(), kSettingsSection, "EnableFrameDropping", "", text, sizeof text);
    EXPECT_STREQ(text, "1");
    ExpectSettings(ImportSettings(file.Path()), 40, 0, 1);
}

TEST(IniSettings, MissingAndForeignTextCountsAsZero)
{
    const TemporaryFile file({}, ".ini");
    ExpectSettings(ImportSettings(file.Path()), 20, 0, 0);
    WriteIniText(file.Path(), kSettingsSection, "UserRepeatTime", "99 ms");
    WriteIniText(file.Path(), kSettingsSection, "EnableFrameControl", "yes");
    WriteIniText(file.Path(), kSettingsSection, "EnableFrameDropping", std::string(200, '1').c_str());
    ExpectSettings(ImportSettings(file.Path()), 99, 0, 1);
    EXPECT_FALSE(ExportSettings({}, "no/such/directory/settings.ini"));
}

TEST(IniSettings, DecimalPrefixEndsAtTheFirstForeignCharacter)
{
    const std::pair<const char*, int32_t> cases[] = {
        {"", 0},
        {"Error", 0},
        {"  \t42x", 42},
        {"-7", -7},
        {"+8", 8},
        {"- 7", 0},
        {"0x10", 0},
        {"2147483647", INT32_MAX},
        {"2147483648", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"-99999999999999999999", INT32_MIN},
        {"1.9", 1},
    };
    for (const auto& [text, number] : cases) EXPECT_EQ(DecimalPrefix(text), number) << text;
}
}  // namespace
}  // namespace talv
