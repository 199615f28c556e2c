#pragma once

#include <vector>

#include "filter/sample_buffer.h"

namespace talv {
/// A sample in plain memory, for programs that read frames without the media framework.
class MemorySample final : public SampleBuffer
{
  public:
    /// Zeroed; `size` as FrameSource::SampleSize gives it, not negative. Throws std::bad_alloc.
    explicit MemorySample(int64_t size) : bytes(static_cast<size_t>(size)) {}
    int32_t GetPointer(uint8_t** buffer) override
    {
        *buffer = bytes.data();
        return 0;
    }
    int64_t GetSize() override { return static_cast<int64_t>(bytes.size()); }
    int32_t SetActualDataLength(int64_t) override { return 0; }

    std::vector<uint8_t> bytes;
};
}  // namespace talv
