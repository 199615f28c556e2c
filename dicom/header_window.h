#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "dicom/stream.h"

namespace talv {
/// The part of a stream that element headers are being decoded from. While headers lie close together it
/// reads ahead in pieces that grow to 64 KiB; behind a long value it begins small again, since only a header
/// is wanted there.
class HeaderWindow
{
  public:
    explicit HeaderWindow(DicomStream* stream) : stream_(stream), bytes_(kLargest) {}

    /// Up to `count` (at most kSmallest) bytes at `position`; `*available` says how many there are.
    const uint8_t* Peek(uint64_t position, size_t count, size_t* available)
    {
        if (position < start_ || position + count > start_ + count_) Fill(position);
        const uint64_t offset = position - start_;
        *available = offset < count_ ? static_cast<size_t>(count_ - offset) : 0;
        return bytes_.data() + offset;
    }

  private:
    static constexpr size_t kSmallest = 512;
    static constexpr size_t kLargest = 64 * 1024;

    void Fill(uint64_t position)
    {
        const bool isNear = position >= start_ && position <= start_ + count_ + kSmallest;
        if (!isNear)
            wanted_ = kSmallest;
        else if (wanted_ < kLargest)
            wanted_ *= 2;
        start_ = position;
        count_ = stream_->ReadAt(position, bytes_.data(), wanted_);
    }

    DicomStream* stream_;
    std::vector<uint8_t> bytes_;
    size_t wanted_ = kSmallest;
    uint64_t start_ = 0;
    size_t count_ = 0;
};
}  // namespace talv
