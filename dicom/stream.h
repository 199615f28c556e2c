#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/file.h"

namespace talv {
/// Open flags of DicomStream.
enum StreamFlags : uint16_t
{
    kStreamCreate = 0x0001,
    kStreamRead = 0x0002,   ///< shared for reading
    kStreamWrite = 0x0004,  ///< not shared
    kStreamTemporary =
        0x0008,  ///< a unique name, prefix "DIC", in the given or the system's temporary directory
    kStreamMemory = 0x0010,  ///< the data lives in a memory block that grows on write
    kStreamRuntimeDescriptor = 0x0020,
    kStreamOwnsHandle = 0x0040,  ///< Close closes the file; otherwise only Close(true) does
    kStreamDeleteOnClose = 0x0080,
};
inline constexpr uint16_t kStreamFileFlags = 0x0062;  ///< what LoadFile opens with
inline constexpr uint16_t kStreamOwnFlags = 0x00CF;   ///< the data set's own temporary stream

inline constexpr size_t kMaxFileName = 260;  ///< including the terminator

/// The byte stream under a data set: a file, a temporary file or a memory block. Reads go through a buffer,
/// so that walking element headers costs no system call an element. Positions are 64-bit. A temporary stream
/// keeps its bytes in memory until they exceed 1 MiB and only then makes its file. Used by one thread at a
/// time.
class DicomStream
{
  public:
    DicomStream() = default;
    DicomStream(const DicomStream&) = delete;
    DicomStream& operator=(const DicomStream&) = delete;
    virtual ~DicomStream();

    /// False when the file cannot be opened or created. A name of 260 characters or more is not stored: the
    /// stream opens with an empty name.
    bool Open(const char* name, uint16_t flags);
    /// Uses `bytes` (not owned, must outlive the stream) as a read-only memory stream.
    bool OpenMemory(const void* bytes, size_t count);
    void Close(bool force = false);
    bool IsOpen() const;

    /// True only when all `count` bytes were read; the position then moves on by `count`, else by what was
    /// there.
    virtual bool Read(void* buffer, size_t count);
    virtual bool Write(const void* bytes, size_t count);
    /// Origins: 0 the start, 1 the tracked position, 2 the size recorded at opening. The result is not
    /// checked against the size: a seek past the end succeeds; one before the start fails, as does every one
    /// of a closed stream.
    virtual bool Seek(int64_t offset, int origin);
    uint64_t Tell() const { return position_; }
    /// Size recorded at opening, grown by writes.
    uint64_t Size() const { return size_; }
    uint16_t Flags() const { return flags_; }
    const char* Name() const { return name_.c_str(); }

    /// Reads up to `count` bytes at `position`, leaving the tracked position alone. Returns the bytes read.
    virtual size_t ReadAt(uint64_t position, void* buffer, size_t count);
    /// Discards the content and rewinds; for temporary and memory streams.
    void Truncate();

  protected:
    std::string name_;
    uint16_t flags_ = 0;
    uint64_t position_ = 0;
    uint64_t size_ = 0;

  private:
    bool OpenFile();
    bool SpillToFile();
    size_t ReadStored(uint64_t position, void* buffer, size_t count);
    bool IsInMemory() const { return borrowed_ != nullptr || !file_.IsOpen(); }

    bool isOpen_ = false;
    File file_;
    std::vector<uint8_t> block_;         // content of memory streams and of small temporary ones
    const uint8_t* borrowed_ = nullptr;  // OpenMemory
    std::vector<uint8_t> buffer_;        // read-ahead window
    uint64_t bufferPosition_ = 0;
    size_t bufferCount_ = 0;
    uint64_t lastEnd_ = 0;  // where the last read ended
};
}  // namespace talv
