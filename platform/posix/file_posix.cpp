// Files by descriptor. The sharing rules of the header are kept among this library's own opens through
// advisory locks: readers hold a shared one, writers and exclusive openers an exclusive one.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "platform/file.h"

namespace talv {
namespace {
// The system transfers at most 2 GB less a page per call; smaller pieces cost nothing.
constexpr size_t kLargestTransfer = size_t{1} << 30;

int OpenDescriptor(const char* name, unsigned access)
{
    const bool writes = (access & (kFileWrite | kFileCreate)) != 0;
    // Without O_NONBLOCK the open of a pipe would wait for its other end; regular files ignore the flag.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    flags |= !writes ? O_RDONLY : (access & kFileRead) != 0 ? O_RDWR : O_WRONLY;
    if ((access & kFileCreate) != 0) flags |= O_CREAT;
    int descriptor;
    do {
        descriptor = open(name, flags, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Network file systems without locks are no reason to refuse a file; a lock held by somebody is.
bool LockAsAccessSays(int descriptor, unsigned access)
{
    const bool alone = (access & (kFileWrite | kFileCreate | kFileExclusive)) != 0;
    int result;
    do {
        result = flock(descriptor, (alone ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

bool IsRegularFile(int descriptor)
{
    struct stat status;
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool Truncate(int descriptor, uint64_t size)
{
    if (size > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return false;
    int result;
    do {
        result = ftruncate(descriptor, static_cast<off_t>(size));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// True when `position` and the byte after the last one both are positions the system can name.
bool IsReachable(uint64_t position, size_t count)
{
    constexpr uint64_t kLast = static_cast<uint64_t>(std::numeric_limits<off_t>::max());
    return position <= kLast && count <= kLast - position;
}
}  // namespace

File& File::operator=(File&& other) noexcept
{
    if (this != &other) {
        Close();
        handle_ = std::exchange(other.handle_, kNoHandle);
    }
    return *this;
}

File File::Open(const char* name, unsigned access)
{
    File file;
    if (name == nullptr || *name == '\0') return file;
    file.handle_ = OpenDescriptor(name, access);
    if (!file.IsOpen()) return file;
    const int descriptor = static_cast<int>(file.handle_);
    // The lock comes before the truncation, so a file that somebody reads keeps its bytes.
    if (!IsRegularFile(descriptor) || !LockAsAccessSays(descriptor, access) ||
        ((access & kFileCreate) != 0 && !Truncate(descriptor, 0))) {
        file.Close();
        return file;
    }
    if ((access & kFileSequential) != 0) (void)posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    if ((access & kFileDeleteOnClose) != 0) (void)unlink(name);
    return file;
}

File File::CreateTemporary(const char* directory, const char* prefix)
{
    File file;
    if (prefix == nullptr || std::strchr(prefix, '/') != nullptr) return file;
    if (directory == nullptr || *directory == '\0') directory = secure_getenv("TMPDIR");
    if (directory == nullptr || *directory == '\0') directory = "/tmp";
    std::string name = std::string(directory) + '/' + prefix + "XXXXXX";
    file.handle_ = mkostemp(name.data(), O_CLOEXEC);
    if (file.IsOpen()) (void)unlink(name.c_str());
    return file;
}

void File::Close()
{
    if (IsOpen()) (void)close(static_cast<int>(std::exchange(handle_, kNoHandle)));
}

int64_t File::Size() const
{
    struct stat status;
    if (!IsOpen() || fstat(static_cast<int>(handle_), &status) != 0) return -1;
    return status.st_size;
}

int64_t File::ReadAt(uint64_t position, void* buffer, size_t count) const
{
    if (!IsOpen() || !IsReachable(position, count)) return -1;
    size_t done = 0;
    while (done < count) {
        const size_t wanted = count - done < kLargestTransfer ? count - done : kLargestTransfer;
        const ssize_t got = pread(static_cast<int>(handle_), static_cast<uint8_t*>(buffer) + done, wanted,
                                  static_cast<off_t>(position + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<size_t>(got);
    }
    return static_cast<int64_t>(done);
}

int64_t File::WriteAt(uint64_t position, const void* bytes, size_t count)
{
    if (!IsOpen() || !IsReachable(position, count)) return -1;
    size_t done = 0;
    while (done < count) {
        const size_t wanted = count - done < kLargestTransfer ? count - done : kLargestTransfer;
        const ssize_t put = pwrite(static_cast<int>(handle_), static_cast<const uint8_t*>(bytes) + done,
                                   wanted, static_cast<off_t>(position + done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return -1;
        done += static_cast<size_t>(put);
    }
    return static_cast<int64_t>(done);
}

bool File::Resize(uint64_t size)
{
    return IsOpen() && Truncate(static_cast<int>(handle_), size);
}
}  // namespace talv
