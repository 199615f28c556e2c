#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
// Run lengths of a row of 1-bit pixels, most significant bit first: 16-bit numbers, alternately of 0 and of 1
// bits, the first of 0 bits. A length of 65535 is continued by the next number, for the same bits: 70000
// zeros and 2 ones -> 65535, 4465, 2.

/// Writes the runs of `width` pixels to `runs`; returns their count, or 0 when more than `capacity` would be
/// needed.
size_t EncodeRuns(const uint8_t* row, uint32_t width, uint16_t* runs, size_t capacity);

/// Writes the pixels back, `byteCount` bytes; bits that no run covers are 0. Surplus runs are ignored.
void DecodeRuns(const uint16_t* runs, size_t count, uint8_t* row, size_t byteCount);
}  // namespace talv
