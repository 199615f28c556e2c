#include "dicom/stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace talv {
namespace {
constexpr size_t kWindow = 4096;           // short reads close together are served from a window of this size
constexpr size_t kMemoryLimit = 1u << 20;  // a temporary stream above this gets its file
constexpr char kTemporaryPrefix[] = "DIC";

unsigned FileAccessOf(uint16_t flags)
{
    unsigned access = kFileSequential;
    if ((flags & kStreamRead) != 0) access |= kFileRead;
    if ((flags & kStreamWrite) != 0) access |= kFileWrite;
    if ((flags & kStreamCreate) != 0) access |= kFileCreate;
    if ((flags & kStreamDeleteOnClose) != 0) access |= kFileDeleteOnClose;
    return access;
}
}  // namespace

DicomStream::~DicomStream()
{
    Close(true);
}

bool DicomStream::Open(const char* name, uint16_t flags)
{
    Close(true);
    try {
        name_ = name != nullptr && std::strlen(name) < kMaxFileName ? name : "";
    } catch (const std::bad_alloc&) {
        return false;
    }
    flags_ = flags;
    isOpen_ = (flags & (kStreamMemory | kStreamTemporary)) != 0 || OpenFile();
    return isOpen_;
}

bool DicomStream::OpenFile()
{
    file_ = File::Open(name_.c_str(), FileAccessOf(flags_));
    const int64_t size = file_.Size();
    if (size < 0) file_.Close();
    size_ = static_cast<uint64_t>(std::max<int64_t>(size, 0));
    return file_.IsOpen();
}

bool DicomStream::OpenMemory(const void* bytes, size_t count)
{
    Close(true);
    static constexpr uint8_t kNothing = 0;
    borrowed_ = bytes != nullptr ? static_cast<const uint8_t*>(bytes) : &kNothing;
    size_ = bytes != nullptr ? count : 0;
    flags_ = kStreamRead | kStreamMemory;
    isOpen_ = true;
    return true;
}

void DicomStream::Close(bool force)
{
    if (!force && (flags_ & kStreamOwnsHandle) == 0) return;
    file_.Close();
    block_ = {};
    buffer_ = {};
    borrowed_ = nullptr;
    name_.clear();
    flags_ = 0;
    position_ = size_ = bufferPosition_ = lastEnd_ = 0;
    bufferCount_ = 0;
    isOpen_ = false;
}

bool DicomStream::IsOpen() const
{
    return isOpen_;
}

bool DicomStream::Read(void* buffer, size_t count)
{
    const size_t read = ReadAt(position_, buffer, count);
    position_ += read;
    return read == count;
}

size_t DicomStream::ReadAt(uint64_t position, void* buffer, size_t count)
{
    if (!isOpen_ || count == 0) return 0;
    if (IsInMemory()) {
        if (position >= size_) return 0;
        const size_t available = static_cast<size_t>(std::min<uint64_t>(count, size_ - position));
        std::memcpy(buffer, (borrowed_ != nullptr ? borrowed_ : block_.data()) + position, available);
        return available;
    }
    const bool followsOn = position >= lastEnd_ && position - lastEnd_ < kWindow;
    lastEnd_ = position + count;
    if (count >= kWindow) return ReadStored(position, buffer, count);

    const bool inWindow = position >= bufferPosition_ && position - bufferPosition_ <= bufferCount_ &&
                          count <= bufferCount_ - (position - bufferPosition_);
    if (!inWindow) {
        if (!followsOn) return ReadStored(position, buffer, count);
        try {
            buffer_.resize(kWindow);
        } catch (const std::bad_alloc&) {
            return ReadStored(position, buffer, count);
        }
        bufferPosition_ = position;
        bufferCount_ = ReadStored(position, buffer_.data(), kWindow);
    }
    const size_t offset = static_cast<size_t>(position - bufferPosition_);
    const size_t available = std::min(count, bufferCount_ - offset);
    std::memcpy(buffer, buffer_.data() + offset, available);
    return available;
}

size_t DicomStream::ReadStored(uint64_t position, void* buffer, size_t count)
{
    const int64_t read = file_.ReadAt(position, buffer, count);
    return read > 0 ? static_cast<size_t>(read) : 0;
}

bool DicomStream::Write(const void* bytes, size_t count)
{
    if (!isOpen_ || borrowed_ != nullptr || (flags_ & (kStreamWrite | kStreamMemory)) == 0) return false;
    if (count == 0) return true;
    if (count > std::numeric_limits<uint64_t>::max() - position_) return false;
    const uint64_t end = position_ + count;
    const bool outgrowsMemory = (flags_ & kStreamMemory) == 0 && end > kMemoryLimit && !file_.IsOpen();
    if (outgrowsMemory && !SpillToFile()) return false;

    if (IsInMemory()) {
        try {
            if (end > block_.max_size()) return false;
            if (end > block_.size()) {
                if (end > block_.capacity())
                    block_.reserve(static_cast<size_t>(
                        std::clamp<uint64_t>(uint64_t{block_.capacity()} * 2, end, block_.max_size())));
                block_.resize(static_cast<size_t>(end));
            }
        } catch (const std::bad_alloc&) {
            return false;
        }
        std::memcpy(block_.data() + position_, bytes, count);
    } else {
        bufferCount_ = 0;
        const int64_t written = file_.WriteAt(position_, bytes, count);
        if (written != static_cast<int64_t>(count)) return false;
    }
    position_ = end;
    size_ = std::max(size_, end);
    return true;
}

bool DicomStream::SpillToFile()
{
    File file = File::CreateTemporary(name_.c_str(), kTemporaryPrefix);
    if (!file.IsOpen()) return false;
    if (!block_.empty() &&
        file.WriteAt(0, block_.data(), block_.size()) != static_cast<int64_t>(block_.size()))
        return false;
    file_ = std::move(file);
    block_ = {};
    return true;
}

bool DicomStream::Seek(int64_t offset, int origin)
{
    if (!isOpen_ || origin < 0 || origin > 2) return false;
    const uint64_t base = origin == 0 ? 0 : origin == 1 ? position_ : size_;
    if (offset < 0 && base < uint64_t{0} - static_cast<uint64_t>(offset)) return false;
    const uint64_t target = base + static_cast<uint64_t>(offset);
    if (target > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
    position_ = target;
    return true;
}

void DicomStream::Truncate()
{
    if ((flags_ & kStreamTemporary) != 0)
        file_.Close();
    else if (file_.IsOpen() && !file_.Resize(0))
        return;
    if (borrowed_ != nullptr) return;
    block_.clear();
    bufferCount_ = 0;
    position_ = size_ = 0;
}
}  // namespace talv
