#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "dicom/stream.h"

namespace talv {
/// The part of a stream that element headers are being decoded from. While headers lie close together, short
/// values and fragments between them, it reads ahead in pieces that grow to 64 KiB. Behind a long value it
/// begins with as much as the stretch of headers before that value took: a list of long fragments costs one
/// small read each.
class HeaderWindow
{
  public:
    explicit HeaderWindow(DicomStream* stream) : stream_(stream) {}

    /// Up to `count` (at most kSmallest) bytes at `position`; `*available` says how many there are. Throws
    /// std::bad_alloc.
    const uint8_t* Peek(uint64_t position, size_t count, size_t* available)
    {
        if (position < start_ || position + count > start_ + count_) Fill(position);
        last_ = position;
        const uint64_t offset = position - start_;
        *available = offset < count_ ? static_cast<size_t>(count_ - offset) : 0;
        return bytes_.get() + offset;
    }

  private:
    static constexpr size_t kSmallest = 64;
    static constexpr size_t kFirst = 512;
    static constexpr size_t kLargest = 64 * 1024;
    static constexpr uint64_t kNear = 8192;  // reading over a gap of this size is cheaper than a read more

    void Fill(uint64_t position)
    {
        const bool isNear = position >= start_ && position <= start_ + count_ + kNear;
        if (isNear) {
            wanted_ = std::min(2 * wanted_, kLargest);
        } else {
            const uint64_t stretch = std::min<uint64_t>(last_ - stretchStart_, kLargest / 2);
            wanted_ = std::bit_ceil(static_cast<size_t>(stretch) + kSmallest);
            stretchStart_ = position;
        }
        if (wanted_ > capacity_) {
            bytes_ = std::make_unique_for_overwrite<uint8_t[]>(wanted_);
            capacity_ = wanted_;
        }
        start_ = position;
        count_ = stream_->ReadAt(position, bytes_.get(), wanted_);
    }

    DicomStream* stream_;
    std::unique_ptr<uint8_t[]> bytes_;
    size_t capacity_ = 0;
    size_t wanted_ = kFirst;
    uint64_t start_ = 0;  // of the window
    size_t count_ = 0;
    uint64_t last_ = 0;          // where was peeked last
    uint64_t stretchStart_ = 0;  // where the headers that lie close together begin
};
}  // namespace talv
