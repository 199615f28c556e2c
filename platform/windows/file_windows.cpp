// Files by Windows handle. Names are widened here once, so that a host that switched the file calls to the
// OEM code page changes nothing, and checked before the system sees them: opening a device or the far end of
// a pipe can have effects of its own.

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>

#include "platform/file.h"
#include "platform/text.h"
#include "platform/windows/file_name.h"
#include "platform/windows/owner_only.h"

namespace talv {
namespace {
constexpr size_t kLargestTransfer = size_t{1} << 30;  // counts of one call are 32 bits wide
constexpr uint64_t kLastPosition = std::numeric_limits<int64_t>::max();

HANDLE HandleOf(intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

OVERLAPPED At(uint64_t position)
{
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    return place;
}

bool IsReachable(uint64_t position, size_t count)
{
    return position <= kLastPosition && count <= kLastPosition - position;
}

intptr_t OpenDiskFile(const std::u16string& name, DWORD desired, DWORD sharing, SECURITY_ATTRIBUTES* security,
                      DWORD disposition, DWORD attributes)
{
    // A name on another machine may lead to somebody's server; it learns who we are but cannot act as us.
    attributes |= SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    const HANDLE handle = CreateFileW(reinterpret_cast<const wchar_t*>(name.c_str()), desired, sharing,
                                      security, disposition, attributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return -1;
    if (GetFileType(handle) == FILE_TYPE_DISK) return reinterpret_cast<intptr_t>(handle);
    CloseHandle(handle);
    return -1;
}

std::u16string TemporaryDirectory()
{
    wchar_t path[MAX_PATH + 1];
    const DWORD length = GetTempPathW(MAX_PATH + 1, path);
    return length == 0 || length > MAX_PATH ? std::u16string()
                                            : std::u16string(reinterpret_cast<char16_t*>(path), length);
}

// Sixteen unpredictable hexadecimal digits.
bool AppendRandomDigits(std::u16string* name)
{
    for (int word = 0; word < 2; ++word) {
        unsigned value = 0;
        if (rand_s(&value) != 0) return false;
        for (int shift = 28; shift >= 0; shift -= 4)
            name->push_back(u"0123456789abcdef"[(value >> shift) & 15]);
    }
    return true;
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
    if (name == nullptr) return file;
    try {
        const std::u16string wide = WideFromNarrow(name);
        if (!NamesDiskFile(wide)) return file;
        const bool writes = (access & (kFileWrite | kFileCreate)) != 0;
        DWORD desired = writes ? GENERIC_WRITE : GENERIC_READ;
        if ((access & kFileRead) != 0) desired |= GENERIC_READ;
        const DWORD sharing = writes || (access & kFileExclusive) != 0 ? 0 : FILE_SHARE_READ;
        DWORD attributes = FILE_ATTRIBUTE_NORMAL;
        if ((access & kFileSequential) != 0) attributes |= FILE_FLAG_SEQUENTIAL_SCAN;
        if ((access & kFileDeleteOnClose) != 0) attributes |= FILE_FLAG_DELETE_ON_CLOSE;
        file.handle_ = OpenDiskFile(wide, desired, sharing, nullptr,
                                    (access & kFileCreate) != 0 ? CREATE_ALWAYS : OPEN_EXISTING, attributes);
    } catch (const std::bad_alloc&) {
        // The file stays closed.
    }
    return file;
}

File File::CreateTemporary(const char* directory, const char* prefix)
{
    File file;
    if (prefix == nullptr) return file;
    try {
        std::u16string start =
            directory != nullptr && *directory != '\0' ? WideFromNarrow(directory) : TemporaryDirectory();
        if (start.empty()) return file;
        if (start.back() != u'\\' && start.back() != u'/') start.push_back(u'\\');
        const std::u16string widePrefix = WideFromNarrow(prefix);
        if (widePrefix.find_first_of(u"\\/:") != std::u16string::npos) return file;
        start += widePrefix;
        OwnerOnly security;
        if (!security.IsValid()) return file;
        for (int attempt = 0; attempt < 8 && !file.IsOpen(); ++attempt) {
            std::u16string name = start;
            if (!AppendRandomDigits(&name)) return file;
            name += u".tmp";
            if (!NamesDiskFile(name)) return file;
            file.handle_ = OpenDiskFile(name, GENERIC_READ | GENERIC_WRITE, 0, security.Attributes(),
                                        CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE);
            if (!file.IsOpen() && GetLastError() != ERROR_FILE_EXISTS) return file;
        }
    } catch (const std::bad_alloc&) {
        // The file stays closed.
    }
    return file;
}

void File::Close()
{
    if (IsOpen()) CloseHandle(HandleOf(std::exchange(handle_, kNoHandle)));
}

int64_t File::Size() const
{
    LARGE_INTEGER size;
    return IsOpen() && GetFileSizeEx(HandleOf(handle_), &size) ? size.QuadPart : -1;
}

int64_t File::ReadAt(uint64_t position, void* buffer, size_t count) const
{
    if (!IsOpen() || !IsReachable(position, count)) return -1;
    size_t done = 0;
    while (done < count) {
        OVERLAPPED place = At(position + done);
        DWORD got = 0;
        if (!ReadFile(HandleOf(handle_), static_cast<uint8_t*>(buffer) + done,
                      static_cast<DWORD>(std::min(count - done, kLargestTransfer)), &got, &place)) {
            if (GetLastError() != ERROR_HANDLE_EOF) return -1;
            break;
        }
        if (got == 0) break;
        done += got;
    }
    return static_cast<int64_t>(done);
}

int64_t File::WriteAt(uint64_t position, const void* bytes, size_t count)
{
    if (!IsOpen() || !IsReachable(position, count)) return -1;
    size_t done = 0;
    while (done < count) {
        OVERLAPPED place = At(position + done);
        DWORD put = 0;
        if (!WriteFile(HandleOf(handle_), static_cast<const uint8_t*>(bytes) + done,
                       static_cast<DWORD>(std::min(count - done, kLargestTransfer)), &put, &place) ||
            put == 0)
            return -1;
        done += put;
    }
    return static_cast<int64_t>(done);
}

bool File::Resize(uint64_t size)
{
    if (!IsOpen() || size > kLastPosition) return false;
    FILE_END_OF_FILE_INFO end;
    end.EndOfFile.QuadPart = static_cast<int64_t>(size);
    return SetFileInformationByHandle(HandleOf(handle_), FileEndOfFileInfo, &end, sizeof(end)) != 0;
}
}  // namespace talv
