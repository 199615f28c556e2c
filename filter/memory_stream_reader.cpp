#include <algorithm>
#include <cstring>

#include "filter/frame_source.h"

namespace talv {
void MemoryStreamReader::Attach(const uint8_t* bytes, int64_t length)
{
    bytes_ = bytes;
    length_ = bytes != nullptr ? std::max<int64_t>(length, 0) : 0;
    position = 0;
}

int64_t MemoryStreamReader::ReadAt(int64_t from, void* buffer, int64_t count) const
{
    if (from < 0 || count < 0) return -1;
    if (from >= length_) return 0;
    const int64_t copied = std::min(count, length_ - from);
    std::memcpy(buffer, bytes_ + from, static_cast<size_t>(copied));
    return copied;
}
}  // namespace talv
