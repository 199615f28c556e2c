#include "platform/file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace talv {
namespace {
// A folder of this test's own, gone with it.
class FileOnDisk : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::random_device seed;
        folder_ = std::filesystem::temp_directory_path() / ("talv-file-test-" + std::to_string(seed()));
        std::filesystem::create_directory(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string Name(const char* leaf) const { return (folder_ / leaf).string(); }
    void Write(const char* leaf, const std::string& bytes) const
    {
        std::ofstream(folder_ / leaf, std::ios::binary) << bytes;
    }
    size_t FileCount() const
    {
        size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_)) ++count;
        return count;
    }

    std::filesystem::path folder_;
};

TEST_F(FileOnDisk, ReadsStopAtTheEndAndPositionsAreIndependent)
{
    Write("ten", "0123456789");
    const File file = File::Open(Name("ten").c_str(), kFileRead | kFileSequential);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Size(), 10);
    char bytes[16] = {};
    EXPECT_EQ(file.ReadAt(8, bytes, sizeof(bytes)), 2);
    EXPECT_STREQ(bytes, "89");
    EXPECT_EQ(file.ReadAt(0, bytes, 3), 3);
    EXPECT_EQ(std::string(bytes, 3), "012");
    EXPECT_EQ(file.ReadAt(10, bytes, 1), 0);
    EXPECT_EQ(file.ReadAt(1u << 31, bytes, 1), 0);
    EXPECT_EQ(file.ReadAt(UINT64_MAX, bytes, 1), -1);
    EXPECT_EQ(file.ReadAt(INT64_MAX, bytes, 2), -1);
}

TEST_F(FileOnDisk, WritesGrowTheFileAndCreateReplacesIt)
{
    const std::string name = Name("grown");
    {
        File file = File::Open(name.c_str(), kFileRead | kFileWrite | kFileCreate);
        ASSERT_TRUE(file.IsOpen());
        EXPECT_EQ(file.WriteAt(5, "abc", 3), 3);
        EXPECT_EQ(file.Size(), 8);
        char bytes[8];
        ASSERT_EQ(file.ReadAt(0, bytes, 8), 8);
        EXPECT_EQ(std::string(bytes, 8), std::string("\0\0\0\0\0abc", 8));
        EXPECT_TRUE(file.Resize(6));
        EXPECT_EQ(file.Size(), 6);
    }
    EXPECT_EQ(File::Open(name.c_str(), kFileRead).Size(), 6);
    EXPECT_EQ(File::Open(name.c_str(), kFileWrite | kFileCreate).Size(), 0);
}

TEST_F(FileOnDisk, PositionsAboveFourGigabytesReachTheirOwnBytes)
{
    File file = File::Open(Name("sparse").c_str(), kFileRead | kFileWrite | kFileCreate);
    ASSERT_TRUE(file.IsOpen());
    constexpr uint64_t kFar = (uint64_t{1} << 32) + 7;
    ASSERT_EQ(file.WriteAt(7, "near", 4), 4);
    ASSERT_EQ(file.WriteAt(kFar, "far!", 4), 4);
    EXPECT_EQ(file.Size(), static_cast<int64_t>(kFar + 4));
    char bytes[4];
    ASSERT_EQ(file.ReadAt(kFar, bytes, 4), 4);
    EXPECT_EQ(std::string(bytes, 4), "far!");
    ASSERT_EQ(file.ReadAt(7, bytes, 4), 4);
    EXPECT_EQ(std::string(bytes, 4), "near");
    EXPECT_TRUE(file.Resize(uint64_t{5} << 30));
    EXPECT_EQ(file.Size(), int64_t{5} << 30);
}

TEST_F(FileOnDisk, ReadersShareAndWritersAreAlone)
{
    Write("shared", "x");
    const std::string name = Name("shared");
    {
        const File first = File::Open(name.c_str(), kFileRead);
        EXPECT_TRUE(File::Open(name.c_str(), kFileRead).IsOpen());
        EXPECT_FALSE(File::Open(name.c_str(), kFileRead | kFileWrite).IsOpen());
        EXPECT_FALSE(File::Open(name.c_str(), kFileRead | kFileExclusive).IsOpen());
        EXPECT_FALSE(File::Open(name.c_str(), kFileWrite | kFileCreate).IsOpen());
        EXPECT_EQ(first.Size(), 1) << "a refused creation must not empty the file";
    }
    for (const unsigned alone : {kFileRead | kFileExclusive, kFileRead | kFileWrite}) {
        const File first = File::Open(name.c_str(), alone);
        ASSERT_TRUE(first.IsOpen());
        EXPECT_FALSE(File::Open(name.c_str(), kFileRead).IsOpen());
    }
    EXPECT_TRUE(File::Open(name.c_str(), kFileRead).IsOpen()) << "closing gives the file free";
}

TEST_F(FileOnDisk, OnlyRegularFilesOpen)
{
    Write("real", "x");
    for (const std::string& name : {folder_.string(), Name("absent"), Name("real") + "/", std::string()})
        EXPECT_FALSE(File::Open(name.c_str(), kFileRead).IsOpen()) << name;
    EXPECT_FALSE(File::Open(nullptr, kFileRead).IsOpen());
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/tty"})
        EXPECT_FALSE(File::Open(device, kFileRead).IsOpen()) << device;
    EXPECT_FALSE(File::Open("/dev/null", kFileWrite | kFileCreate).IsOpen());
}

TEST_F(FileOnDisk, DeleteOnCloseLeavesNothing)
{
    {
        File file =
            File::Open(Name("gone").c_str(), kFileRead | kFileWrite | kFileCreate | kFileDeleteOnClose);
        ASSERT_TRUE(file.IsOpen());
        EXPECT_EQ(file.WriteAt(0, "abc", 3), 3);
        EXPECT_EQ(file.Size(), 3);
    }
    EXPECT_EQ(FileCount(), 0u);
}

TEST_F(FileOnDisk, TemporaryFilesAreDistinctPrivateAndGoWithTheirHandle)
{
    const std::string folder = folder_.string();
    {
        File first = File::CreateTemporary(folder.c_str(), "DIC");
        File second = File::CreateTemporary(folder.c_str(), "DIC");
        ASSERT_TRUE(first.IsOpen() && second.IsOpen());
        ASSERT_EQ(first.WriteAt(0, "one", 3), 3);
        ASSERT_EQ(second.WriteAt(0, "two", 3), 3);
        char bytes[3];
        ASSERT_EQ(first.ReadAt(0, bytes, 3), 3);
        EXPECT_EQ(std::string(bytes, 3), "one");
        for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
            EXPECT_TRUE(entry.path().filename().string().starts_with("DIC"));
            EXPECT_FALSE(File::Open(entry.path().string().c_str(), kFileRead).IsOpen());
        }
        first = std::move(second);
        ASSERT_EQ(first.ReadAt(0, bytes, 3), 3);
        EXPECT_EQ(std::string(bytes, 3), "two");
        EXPECT_FALSE(second.IsOpen());
    }
    EXPECT_EQ(FileCount(), 0u);
    EXPECT_TRUE(File::CreateTemporary(nullptr, "DIC").IsOpen());
    EXPECT_FALSE(File::CreateTemporary(Name("absent").c_str(), "DIC").IsOpen());
    EXPECT_FALSE(File::CreateTemporary(folder.c_str(), "../DIC").IsOpen());
}

TEST_F(FileOnDisk, ThreadsReadOneFileWithoutDisturbingEachOther)
{
    std::string content(1 << 16, '\0');
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 >> 3);
    Write("many", content);
    const File file = File::Open(Name("many").c_str(), kFileRead);
    ASSERT_TRUE(file.IsOpen());
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (size_t t = 0; t < wrong.size(); ++t)
        threads.emplace_back([&, t] {
            char bytes[97];
            for (size_t at = t; at + sizeof(bytes) <= content.size(); at += 101)
                wrong[t] += file.ReadAt(at, bytes, sizeof(bytes)) != sizeof(bytes) ||
                            std::memcmp(bytes, content.data() + at, sizeof(bytes)) != 0;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST(ClosedFile, RefusesEverything)
{
    File file;
    char byte = 0;
    EXPECT_EQ(file.Size(), -1);
    EXPECT_EQ(file.ReadAt(0, &byte, 1), -1);
    EXPECT_EQ(file.WriteAt(0, &byte, 1), -1);
    EXPECT_FALSE(file.Resize(0));
}
}  // namespace
}  // namespace talv
