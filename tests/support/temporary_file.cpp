#include "tests/support/temporary_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace talv {
TemporaryFile::TemporaryFile(const ByteVector& content, std::string_view extension)
{
    static std::mt19937_64 random{std::random_device{}()};
    const std::string name = "talv-test-" + std::to_string(random()) + std::string(extension);
    path_ = (std::filesystem::temp_directory_path() / name).string();
    Rewrite(content);
}

TemporaryFile::~TemporaryFile()
{
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void TemporaryFile::Rewrite(const ByteVector& content) const
{
    std::ofstream file(path_, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

ByteVector ReadWholeFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return ByteVector(std::istreambuf_iterator<char>(file), {});
}
}  // namespace talv
