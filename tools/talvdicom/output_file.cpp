#include "tools/talvdicom/output_file.h"

#include <fstream>
#include <system_error>

namespace talv {
bool WriteWholeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes)
{
    std::filesystem::path partial = path;
    partial += ".part";
    std::ofstream file(partial, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    std::error_code error;
    if (file) std::filesystem::rename(partial, path, error);
    if (file && !error) return true;
    std::filesystem::remove(partial, error);
    return false;
}
}  // namespace talv
