#pragma once

#include <cstdint>

#include "raster/bitmap.h"

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
/// pixels at the larger of the two depths. Null palettes stand for the fixed default ones. kRasterOk or
/// kRasterInvalid.
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
