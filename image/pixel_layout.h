#pragma once

#include <cstddef>
#include <cstdint>

#include "image/image_description.h"

namespace talv {
/// How the bytes of one frame are laid out and what a stored sample stands for. Derived from the description
/// once a frame; the -27 retry derives it again.
struct PixelLayout
{
    uint32_t columns, rows;
    uint32_t samplesPerPixel;
    uint32_t photometricCode;
    uint32_t bitsAllocated, bitsStored, highBit;
    bool isSigned;
    uint32_t outputBits, colorOrder;
    bool grey;
    bool fromCodec;  ///< rows as a codec delivers them: padded to 4 bytes, colour in blue, green, red order

    uint32_t bytesPerSample;
    size_t pixelStride;  ///< bytes from pixel to pixel
    size_t
        sampleStride;   ///< bytes from one sample of a pixel to the next: a plane when samples lie in planes
    size_t rowStride;   ///< bytes from row to row
    size_t frameBytes;  ///< all of it

    uint32_t sampleMask;   ///< 2^bitsStored - 1
    uint32_t sampleShift;  ///< position of the lowest stored bit
    uint32_t signOffset;   ///< 2^highBit for signed data, else 0

    /// Value of a stored sample: signed data are moved up so that the smallest is 0.
    uint32_t ValueOf(uint32_t raw) const { return (raw + signOffset) >> sampleShift & sampleMask; }
};

/// Depth that a codec is asked for: 8 bits a component, or 16 bits for one component of more than 8 bits.
uint32_t CodecBits(const ImageDescription& description);

/// `description` must have passed the limits on the frame size.
PixelLayout MakePixelLayout(const ImageDescription& description);

/// Bytes that one frame takes while it is converted; far above any limit when the product does not fit.
uint64_t LargestFrameBytes(const ImageDescription& description);

/// The stored sample at `bytes`, little endian, `count` (1 to 4) bytes.
inline uint32_t LoadSample(const uint8_t* bytes, uint32_t count)
{
    uint32_t value = bytes[0];
    for (uint32_t i = 1; i < count; ++i) value |= uint32_t{bytes[i]} << (8 * i);
    return value;
}
}  // namespace talv
