#include "codecs/jpeg/bit_reader.h"

namespace talv::jpeg {
void BitReader::RefillBytes()
{
    while (count < 56) {
        uint64_t byte = 0;
        if (next < clean) {
            byte = *next++;
        } else if (next < end && *next != 0xFF) {
            const void* stop = std::memchr(next, 0xFF, static_cast<size_t>(end - next));
            clean = stop != nullptr ? static_cast<const uint8_t*>(stop) : end;
            continue;
        } else if (end - next >= 2 && next[1] == 0) {
            byte = 0xFF;
            clean = next += 2;
        } else {
            padded += 8;
        }
        bits |= byte << (56 - count);
        count += 8;
    }
}
}  // namespace talv::jpeg
