#pragma once

#include <cstdint>
#include <cstring>

#include "raster/convert.h"
#include "raster/row_kernels.h"

// What the input families share: a conversion with its arguments checked, the walk over its pixels in chunks,
// and a writer that puts chunks of any kind of pixel into the output form.

namespace talv {
/// What kind of pixels a depth and an order make.
enum class PixelKind
{
    index,
    level,
    color555,
    color8,   ///< 24 and 32 bits
    color16,  ///< 48 and 64 bits
};

/// One side of a conversion.
struct PixelFormat
{
    int32_t bits;
    uint32_t order;
    PixelKind kind;
    const PaletteEntry* palette;  ///< of an index, never null
    uint32_t colors;              ///< entries of `palette`
    BitWindow window;             ///< significant bits of a level
};

struct Conversion
{
    uint8_t* buffer;
    size_t pixelCount;
    PixelFormat in;
    PixelFormat out;
    bool keepsValues;  ///< level to level above 8 bits without an output window
    uint16_t fourth;   ///< fourth channel of the output
};

/// 16-bit channels in the order of PaletteEntry.
struct DeepColor
{
    uint16_t blue, green, red;
};

/// A multiple of 8, so that a chunk of any depth starts on a byte.
inline constexpr size_t kChunkPixels = 512;

constexpr size_t PixelBytes(size_t pixels, int32_t bits)
{
    return (pixels / 8) * static_cast<size_t>(bits) + ((pixels % 8) * static_cast<size_t>(bits) + 7) / 8;
}

/// Calls convert(source, target, pixels) for every chunk, from the last to the first when pixels grow, so
/// that no pixel is overwritten before it is read. `source` is a copy where the two would overlap.
template <class Convert>
void ForEachChunk(const Conversion& conversion, Convert convert)
{
    alignas(32) uint8_t copy[kChunkPixels * 8];
    const size_t chunks = (conversion.pixelCount + kChunkPixels - 1) / kChunkPixels;
    const bool backwards = conversion.out.bits > conversion.in.bits;
    for (size_t step = 0; step < chunks; ++step) {
        const size_t chunk = backwards ? chunks - 1 - step : step;
        const size_t first = chunk * kChunkPixels;
        const size_t left = conversion.pixelCount - first;
        const size_t pixels = left < kChunkPixels ? left : kChunkPixels;
        const uint8_t* source = conversion.buffer + PixelBytes(first, conversion.in.bits);
        uint8_t* target = conversion.buffer + PixelBytes(first, conversion.out.bits);
        const size_t sourceBytes = PixelBytes(pixels, conversion.in.bits);
        const size_t targetBytes = PixelBytes(pixels, conversion.out.bits);
        if (source < target + targetBytes && target < source + sourceBytes) {
            std::memcpy(copy, source, sourceBytes);
            source = copy;
        }
        convert(source, target, pixels);
    }
}

/// Writes at most kChunkPixels pixels at a time in the output form of a conversion.
class PixelWriter
{
  public:
    explicit PixelWriter(const Conversion& conversion);

    void WriteColors(const PaletteEntry* colors, size_t pixels, uint8_t* target);
    void WriteDeepColors(const DeepColor* colors, size_t pixels, uint8_t* target);
    /// `bits` of every level are significant.
    void WriteLevels(const uint16_t* levels, int32_t bits, size_t pixels, uint8_t* target);
    void WriteIndices(const uint8_t* indices, size_t pixels, uint8_t* target) const;

  private:
    uint8_t NearestIndex(const PaletteEntry& color);

    struct KnownColor
    {
        uint32_t color;  ///< 0x01rrggbb; 0 while the slot is free
        uint8_t index;
    };

    const Conversion& conversion_;
    KnownColor known_[256] = {};  ///< colours looked up before, by a hash
};

/// `bits` wide values, packed most significant bit first, to and from bytes.
void UnpackBitFields(const uint8_t* packed, int32_t bits, size_t count, uint8_t* values);
void PackBitFields(const uint8_t* values, int32_t bits, size_t count, uint8_t* packed);

/// v from `bitsIn` to `bitsOut` significant bits.
inline uint32_t ScaleLevel(uint32_t v, int32_t bitsIn, int32_t bitsOut)
{
    if (bitsOut <= bitsIn) return v >> (bitsIn - bitsOut);
    return v * ((1u << bitsOut) - 1) / ((1u << bitsIn) - 1);
}

inline uint16_t LoadWord(const uint8_t* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

inline void StoreWord(uint8_t* bytes, uint32_t value)
{
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

/// The input families.
void ConvertFromIndices(const Conversion& conversion);
void ConvertFromLevels(const Conversion& conversion);
void ConvertFromColors(const Conversion& conversion);
}  // namespace talv
