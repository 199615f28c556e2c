#include "raster/run_length_row.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace talv {
namespace {
constexpr uint32_t kContinued = 65535;

/// First pixel at or after `from` that is not `ones`; `width` when there is none.
uint32_t NextChange(const uint8_t* row, uint32_t from, uint32_t width, bool ones)
{
    const uint8_t flip = ones ? 0xFF : 0;
    auto ahead = static_cast<uint8_t>((0xFF >> (from & 7)) & 0xFF);  // pixels before `from` do not count
    for (uint32_t first = from & ~7u; first < width; first += 8, ahead = 0xFF) {
        const auto changed = static_cast<uint8_t>((row[first / 8] ^ flip) & ahead);
        if (changed != 0) return std::min(first + static_cast<uint32_t>(std::countl_zero(changed)), width);
    }
    return width;
}

void SetBits(uint8_t* row, uint64_t from, uint64_t count)
{
    for (; count > 0 && (from & 7) != 0; ++from, --count) row[from / 8] |= uint8_t(0x80 >> (from & 7));
    std::memset(row + from / 8, 0xFF, count / 8);
    from += count & ~uint64_t{7};
    for (count &= 7; count > 0; ++from, --count) row[from / 8] |= uint8_t(0x80 >> (from & 7));
}
}  // namespace

size_t EncodeRuns(const uint8_t* row, uint32_t width, uint16_t* runs, size_t capacity)
{
    size_t count = 0;
    bool ones = false;
    for (uint32_t position = 0; position < width; ones = !ones) {
        const uint32_t end = NextChange(row, position, width, ones);
        uint32_t length = end - position;
        if (length / kContinued + 1 > capacity - count) return 0;
        for (; length >= kContinued; length -= kContinued) runs[count++] = uint16_t(kContinued);
        runs[count++] = static_cast<uint16_t>(length);
        position = end;
    }
    return count;
}

void DecodeRuns(const uint16_t* runs, size_t count, uint8_t* row, size_t byteCount)
{
    std::memset(row, 0, byteCount);
    const uint64_t bits = uint64_t{byteCount} * 8;
    uint64_t position = 0;
    bool ones = false;
    for (size_t i = 0; i < count && position < bits; ++i) {
        const uint64_t length = std::min<uint64_t>(runs[i], bits - position);
        if (ones) SetBits(row, position, length);
        position += length;
        if (runs[i] != kContinued) ones = !ones;
    }
}
}  // namespace talv
