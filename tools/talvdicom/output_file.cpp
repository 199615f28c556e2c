#include "tools/talvdicom/output_file.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "tools/talvdicom/console.h"

namespace talv {
std::string WriteWholeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes,
                           bool overwrite)
{
    std::error_code error;
    if (!overwrite && std::filesystem::exists(path, error)) return "it exists; -y writes over it";
    std::filesystem::path partial = path;
    partial += "." + std::to_string(ProcessNumber()) + ".part";
    errno = 0;
    std::FILE* const file = OpenForWriting(partial);
    bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    int code = errno;
    if (file != nullptr && std::fclose(file) != 0 && written) {
        written = false;
        code = errno;
    }
    if (written && !Interrupted()) {
        std::filesystem::rename(partial, path, error);
        if (!error) return {};
        code = error.value();
    }
    std::error_code ignored;
    std::filesystem::remove(partial, ignored);
    if (Interrupted()) return "interrupted";
    return "it cannot be written: " +
           (error ? error.message() : std::generic_category().message(code != 0 ? code : EIO));
}
}  // namespace talv
