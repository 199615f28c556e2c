#include "codecs/jpeg/bit_reader.h"

namespace talv::jpeg {
void BitReader::RefillBytes()
{
    while (count <= 56) {
        uint64_t byte = 0;
        if (next < end && *next != 0xFF) {
            byte = *next++;
        } else if (end - next >= 2 && next[1] == 0) {
            byte = 0xFF;
            next += 2;
        } else {
            padded += 8;
        }
        bits |= byte << (56 - count);
        count += 8;
    }
}

void BitReader::Abandon()
{
    end = next;
    bits = 0;
    count = 0;
    padded = 1;
}
}  // namespace talv::jpeg
