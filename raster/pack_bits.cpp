#include "raster/pack_bits.h"

#include <algorithm>
#include <cstring>

namespace talv {
namespace {
constexpr size_t kLongest = 128;  // bytes that one control byte stands for

/// Equal bytes from `position` on, at most kLongest.
size_t RunLength(const uint8_t* bytes, size_t position, size_t count)
{
    const size_t end = std::min(count, position + kLongest);
    size_t next = position + 1;
    while (next < end && bytes[next] == bytes[position]) ++next;
    return next - position;
}
}  // namespace

size_t PackBits(const uint8_t* bytes, size_t count, uint8_t* packed)
{
    uint8_t* out = packed;
    for (size_t position = 0; position < count;) {
        const size_t run = RunLength(bytes, position, count);
        if (run >= 3) {
            *out++ = static_cast<uint8_t>(257 - run);
            *out++ = bytes[position];
            position += run;
            continue;
        }
        // Bytes are copied until a run of three begins; a shorter one would not pay for its control byte.
        const size_t end = std::min(count, position + kLongest);
        size_t next = position + 1;
        while (next < end &&
               !(next + 2 < count && bytes[next] == bytes[next + 1] && bytes[next] == bytes[next + 2]))
            ++next;
        *out++ = static_cast<uint8_t>(next - position - 1);
        std::memcpy(out, bytes + position, next - position);
        out += next - position;
        position = next;
    }
    return static_cast<size_t>(out - packed);
}

bool UnpackBits(const uint8_t* packed, size_t packedSize, uint8_t* bytes, size_t count)
{
    size_t in = 0, out = 0;
    while (in < packedSize) {
        const size_t control = packed[in++];
        if (control == 128) continue;
        const bool copies = control < 128;
        const size_t length = copies ? control + 1 : 257 - control;
        const size_t taken = copies ? length : 1;
        if (taken > packedSize - in || length > count - out) return false;
        if (copies)
            std::memcpy(bytes + out, packed + in, length);
        else
            std::memset(bytes + out, packed[in], length);
        in += taken;
        out += length;
    }
    return out == count;
}
}  // namespace talv
