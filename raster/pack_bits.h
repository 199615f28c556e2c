#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
/// Most bytes that PackBits makes of `count`.
constexpr size_t MaxPackedSize(size_t count)
{
    return count + (count + 127) / 128;
}

/// Compresses with the PackBits scheme (TIFF 6.0 section 9): a control byte n of 0..127 copies the n + 1
/// bytes that follow, 129..255 repeats the next byte 257 - n times. `packed` holds MaxPackedSize(count);
/// returns the bytes used.
size_t PackBits(const uint8_t* bytes, size_t count, uint8_t* packed);

/// The reverse, into exactly `count` bytes; false when the packed bytes do not make that many.
bool UnpackBits(const uint8_t* packed, size_t packedSize, uint8_t* bytes, size_t count);
}  // namespace talv
