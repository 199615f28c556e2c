#pragma once

#include <cstdint>

#include "raster/bitmap.h"

// One set of rules for all pairs of depths. A pixel is one of
//
//   index   1 to 8 bits, any order but 2: an entry of the input palette, packed most significant bit first
//   level   1 to 8, 12 or 16 bits, order 2: a grey value, whatever the palettes. 12 bits: two samples in
//           three bytes, b0 + 256 * (b1 & 15) and (b1 >> 4) + 16 * b2; 16 bits: a little-endian word
//   colour  16 bits, order 0 or 1: 5 bits a channel, the top bit 0, the first channel in the low bits;
//           24 and 32 bits: 8 bits a channel; 48 and 64 bits: 16 bits a channel in little-endian words
//
// and becomes another by these rules:
//
//   channels          8 -> 16 bits times 257, 16 -> 8 bits the high byte, 8 -> 5 bits shifted right by 3,
//                     5 -> 8 bits times 255 / 31; no dithering
//   fourth channel    dropped on the way in; on the way out 0, or under kConvertFourthByte the low bits of
//                     maxValue
//   colour -> level   luma (0.299 red + 0.587 green + 0.114 blue, rounded, so that grey stays grey) in the
//                     precision of the channels, then as level -> level
//   level -> colour   the level at the width of the channels, in all of them
//   any -> index      FindNearestColor in the output palette; index -> index MapPalette. Without a palette,
//                     indices become black (0) and white (1) when the output has fewer bits
//   level -> level    from m to n significant bits: v * (2^n - 1) / (2^m - 1), truncated, when n > m;
//                     v >> (m - n) when n < m. Samples above 8 bits are measurements: between two such
//                     depths, without an output window, they keep their values when n > m
//   order 5           reached from colours only, as red, green, blue; input in this order converts to this
//                     order only
//
// Bits of the last byte that no output pixel needs are zero, unless input and output are the same thing: then
// nothing is touched at all.

namespace talv {
/// Flags of ConvertBuffer.
enum ConvertFlags : uint32_t
{
    kConvertGreyIn = 0x1,       ///< set by the dispatcher from the input order
    kConvertGreyOut = 0x2,      ///< set by the dispatcher from the output order
    kConvertWindowIn = 0x4,     ///< only the input bits from lowBit to highBit are significant
    kConvertWindowOut = 0x8,    ///< only the output bits from lowBit to highBit are significant
    kConvertFourthByte = 0x10,  ///< 32-bit output: the fourth byte is the low byte of maxValue
};

/// Converts `pixelCount` pixels in place from one depth and colour order to another. `buffer` holds that many
/// pixels at the larger of the two depths. Null palettes stand for the fixed default ones of their depths,
/// but for indices that lose bits (above); a palette has 2^depth entries. A depth of 0 stands for a call
/// without pixels: only the arguments are checked. kRasterOk, or kRasterInvalid for a null buffer, no pixels,
/// an unsupported depth or order, a window that the depth does not have or that belongs to a side without
/// grey levels; the buffer is then unchanged.
int32_t ConvertBuffer(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut, uint32_t orderIn,
                      uint32_t orderOut, const PaletteEntry* paletteIn, const PaletteEntry* paletteOut,
                      uint32_t convertFlags, int32_t lowBit, int32_t highBit, uint32_t maxValue);
/// ConvertBuffer over the whole bit range with maxValue 65535.
int32_t ConvertBufferSimple(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut,
                            uint32_t orderIn, uint32_t orderOut, const PaletteEntry* paletteIn,
                            const PaletteEntry* paletteOut);
/// ConvertBuffer with maxValue 65535.
int32_t ConvertBufferExt(void* buffer, uint32_t pixelCount, int32_t bitsIn, int32_t bitsOut, uint32_t orderIn,
                         uint32_t orderOut, const PaletteEntry* paletteIn, const PaletteEntry* paletteOut,
                         uint32_t convertFlags, int32_t lowBit, int32_t highBit);

struct BitWindow
{
    int32_t count;
    uint32_t mask;  ///< 2^count - 1
    int32_t shift;  ///< position of the lowest significant bit
};
/// The significant bits of a `bits`-wide value; `highBit` negative means bits - 1.
BitWindow GetBitWindow(int32_t bits, int32_t width, int32_t lowBit, int32_t highBit);
}  // namespace talv
