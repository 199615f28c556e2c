#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace talv {
/// Writes `bytes` as file `path`. They go into a file of another name beside it first, so that whatever has
/// the final name is whole; one that is there is replaced only when `overwrite` is set. An error message,
/// with nothing left behind, when the file cannot be written; else empty.
std::string WriteWholeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes,
                           bool overwrite);
}  // namespace talv
