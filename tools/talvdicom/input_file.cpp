#include "tools/talvdicom/input_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

#include "dicom/stream.h"
#include "platform/text.h"
#include "tools/talvdicom/console.h"

namespace talv {
namespace {
constexpr size_t kCopyBytes = 1 << 20;

struct CloseFile
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

/// The narrow form of `path` when the core can open a file by it. A name that is not UTF-8, which POSIX
/// allows, has no wide form.
bool CoreTakes(const std::filesystem::path& path, std::string* narrow)
try {
    const std::u16string wide = path.u16string();
    return wide.size() + 1 <= kMaxFileName && NarrowFromWide(wide, narrow);
} catch (const std::filesystem::filesystem_error&) {
    return false;
}

std::string SystemText(int code)
{
    return std::generic_category().message(code);
}
}  // namespace

bool InputFile::Prepare(const std::string& name, std::string* refusal)
{
    RemoveCopy();
    if (name == "-") return CopyFrom(nullptr, refusal);
    const std::filesystem::path path = PathFromArgument(name);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (error && status.type() != std::filesystem::file_type::not_found) {
        *refusal = "the file cannot be opened: " + SystemText(error.value());
        return false;
    }
    if (status.type() == std::filesystem::file_type::not_found) {
        *refusal = "there is no such file";
        return false;
    }
    if (status.type() == std::filesystem::file_type::directory) {
        *refusal = "this is a folder, not a file";
        return false;
    }
    if (status.type() == std::filesystem::file_type::fifo) return CopyFrom(&path, refusal);
    if (status.type() != std::filesystem::file_type::regular) {
        *refusal = "this is no regular file; pipe it in and name it -";
        return false;
    }
    if (!CoreTakes(path, &name_)) return CopyFrom(&path, refusal);
    const OpenFile readable(OpenForReading(path));
    if (readable == nullptr) *refusal = "the file cannot be opened: " + SystemText(errno);
    return readable != nullptr;
}

bool InputFile::CopyFrom(const std::filesystem::path* source, std::string* refusal)
{
    OpenFile opened(source != nullptr ? OpenForReading(*source) : nullptr);
    if (source != nullptr && opened == nullptr) {
        *refusal = "the file cannot be opened: " + SystemText(errno);
        return false;
    }
    std::FILE* const from = source != nullptr ? opened.get() : stdin;
    copy_ = MakeTemporaryFile();
    OpenFile to(copy_.empty() ? nullptr : OpenForWriting(copy_));
    if (to == nullptr || !CoreTakes(copy_, &name_)) {
        *refusal = "no temporary file can be made for it; TMPDIR or TEMP names the folder";
        return false;
    }
    std::vector<char> buffer(kCopyBytes);
    bool written = true;
    size_t count = 0;
    while (written && !Interrupted() && (count = std::fread(buffer.data(), 1, buffer.size(), from)) > 0)
        written = std::fwrite(buffer.data(), 1, count, to.get()) == count;
    if (std::ferror(from) != 0) {
        *refusal = Interrupted() ? "interrupted" : "reading failed: " + SystemText(errno);
        return false;
    }
    if (!written || std::fflush(to.get()) != 0) {
        *refusal = "the temporary copy of it cannot be written: " + SystemText(errno);
        return false;
    }
    return true;
}

void InputFile::RemoveCopy()
{
    std::error_code error;
    if (!copy_.empty() && std::filesystem::remove(copy_, error)) copy_.clear();
}
}  // namespace talv
