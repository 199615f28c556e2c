#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace talv {
/// How a file is opened; values are combined.
enum FileAccess : unsigned
{
    kFileRead = 0x01,           ///< shared with other readers
    kFileWrite = 0x02,          ///< shared with nobody
    kFileCreate = 0x04,         ///< a new, empty file; an existing one is replaced
    kFileDeleteOnClose = 0x08,  ///< the name goes with the last handle, or at once where the system can
    kFileSequential = 0x10,     ///< hint: will be read from front to back
    kFileExclusive = 0x20,      ///< open-existing without sharing, not even for reading
};

/// An open file with 64-bit positions, closed on destruction. Reads and writes name their position, so there
/// is no hidden cursor. Only regular files open: directories, devices, pipes and names with a stream suffix
/// are refused. Names are in the system's narrow encoding: the ANSI code page on Windows, UTF-8 elsewhere.
class File
{
  public:
    File() = default;
    File(File&& other) noexcept : handle_(std::exchange(other.handle_, kNoHandle)) {}
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { Close(); }

    /// Opens `name`; a closed File when that fails.
    static File Open(const char* name, unsigned access);
    /// A new file with an unpredictable unique name that begins with `prefix`, made exclusively in
    /// `directory` (null or empty: the system's temporary directory), readable and writable by this user
    /// only, gone when closed.
    static File CreateTemporary(const char* directory, const char* prefix);

    bool IsOpen() const { return handle_ != kNoHandle; }
    void Close();
    /// Bytes in the file now, or -1.
    int64_t Size() const;
    /// Reads up to `count` bytes at `position`; fewer only at the end of the file. Returns the bytes read, -1
    /// on error.
    int64_t ReadAt(uint64_t position, void* buffer, size_t count) const;
    /// Writes `count` bytes at `position`, growing the file where needed. Returns the bytes written, -1 on
    /// error.
    int64_t WriteAt(uint64_t position, const void* bytes, size_t count);
    /// Sets the file's size; false when the system refuses.
    bool Resize(uint64_t size);

  private:
    static constexpr intptr_t kNoHandle = -1;
    intptr_t handle_ = kNoHandle;
};
}  // namespace talv
