#pragma once

#include <cstdint>
#include <memory>

#include "platform/file.h"

namespace talv {
/// A temporary file of fixed size, zero-filled, private to the process and gone with this object. All of them
/// together stay within rasterSettings.maxTemporaryBytes.
class TemporaryStore
{
  public:
    /// kRasterOk and the store; kRasterNoMemory when the file cannot be created, kRasterWriteFailed when the
    /// disk or the limit on temporary files has no room for `size` bytes.
    static int32_t Create(uint64_t size, std::unique_ptr<TemporaryStore>* store);
    ~TemporaryStore();
    TemporaryStore(const TemporaryStore&) = delete;
    TemporaryStore& operator=(const TemporaryStore&) = delete;

    /// The bytes copied, or kRasterReadFailed.
    int32_t Read(uint64_t position, void* buffer, uint32_t byteCount) const;
    /// The bytes copied, or kRasterWriteFailed.
    int32_t Write(uint64_t position, const void* bytes, uint32_t byteCount);

    /// Bytes that all stores of the process hold now.
    static uint64_t BytesInUse();

  private:
    explicit TemporaryStore(uint64_t size) : size_(size) {}

    uint64_t size_;
    File file_;
};
}  // namespace talv
