// Runs a fuzz target over files instead of invented inputs: REPLAY (FILE | DIRECTORY)...
// Ends with status 0 when every input was survived; the target aborts when what it states does not hold. The
// last name printed is the input at fault.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
std::vector<std::filesystem::path> FilesBelow(const std::filesystem::path& place)
{
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_regular_file(place)) files.push_back(place);
    if (!std::filesystem::is_directory(place)) return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(place))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}
}  // namespace

int main(int count, char** arguments)
{
    size_t replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::filesystem::path& file : FilesBelow(arguments[i])) {
            std::printf("%s\n", file.string().c_str());
            std::fflush(stdout);
            std::ifstream stream(file, std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
            // A copy of the exact size, so that a sanitizer sees the first byte read beyond it.
            const std::vector<uint8_t> input(bytes.begin(), bytes.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++replayed;
        }
    }
    std::printf("%zu inputs replayed\n", replayed);
    return replayed != 0 ? 0 : 1;
}
