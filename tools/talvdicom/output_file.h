#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace talv {
/// Writes `bytes` as file `path`, replacing what is there. They go into `path`.part first, so that whatever
/// has the final name is whole. False, with nothing left behind, when the file cannot be written.
bool WriteWholeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);
}  // namespace talv
