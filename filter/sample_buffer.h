#pragma once

#include <cstdint>

namespace talv {
/// A media sample as the portable core sees it.
class SampleBuffer
{
  public:
    virtual ~SampleBuffer() = default;
    /// Address of the sample's memory; a negative result code on failure.
    virtual int32_t GetPointer(uint8_t** buffer) = 0;
    /// Bytes the memory holds.
    virtual int64_t GetSize() = 0;
    virtual int32_t SetActualDataLength(int64_t length) = 0;
};
}  // namespace talv
