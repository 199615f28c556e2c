#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talv {
/// The grey-scale format block, read: grey pixels of 12 or 16 bits and what to make of them.
struct GreyBlock
{
    int32_t width = 0, height = 0;  ///< pixels, both positive
    bool topDown = false;           ///< first row first
    uint32_t bits = 0;              ///< 12: two pixels in three bytes, 16: little-endian words
    int64_t averageTime = 0;        ///< of a frame, 100 ns
    int32_t lowBit = 0, highBit = 0;
    int32_t minValue = 0, maxValue = 0;
    int32_t windowWidth = 0, windowCenter = 0;
    /// The modality rescale as far as the block holds it; a slope of 0 is one that the block's writer lost.
    double intercept = 0, slope = 1;
    std::vector<uint32_t> palette;  ///< blue in the low byte, then green and red; empty or one entry a level

    size_t Stride() const { return ((static_cast<size_t>(width) * bits + 31) >> 3) & ~size_t{3}; }
    size_t FrameBytes() const { return Stride() * static_cast<size_t>(height); }
    /// Pixel values as they are stored: (word >> lowBit) & IndexMask().
    uint32_t IndexMask() const { return (1u << (highBit - lowBit + 1)) - 1; }
};

/// Reads a block of `size` bytes. False for one that is too short, of another compression or depth, without
/// pixels or with more than 256 MiB of them as RGB32, or with more palette entries than the block holds. Bit
/// numbers outside the word are brought into it. Throws std::bad_alloc.
bool ReadGreyBlock(const uint8_t* bytes, size_t size, GreyBlock* block);
}  // namespace talv
