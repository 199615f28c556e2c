#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu.h"

namespace talv {
/// A straight ramp over stored values, in the arithmetic of the kernels: with index = (word >> shift) & mask
/// and place = index - base, but 0 for smaller indices, the level is place * scale + offset in single
/// precision, cut to a whole number and kept between 0 and 255. (Half a level in `offset` rounds.) No place
/// may have a level beyond what 32 bits hold.
struct GreyRamp
{
    uint32_t shift = 0, mask = 0xFFFF;
    uint16_t base = 0;
    float scale = 0, offset = 0;
};

/// From little-endian words, or from 12-bit samples packed two in three bytes (raster/row_kernels.h), to
/// pixels of 4 bytes: blue, green, red, 0. No pointer needs any alignment; source and target do not overlap;
/// nothing but the samples is read.
struct GreyKernels
{
    void (*ramp)(const uint8_t* words, uint8_t* pixels, size_t count, const GreyRamp& ramp);
    void (*ramp12)(const uint8_t* packed, uint8_t* pixels, size_t count, const GreyRamp& ramp);
    /// `entries`: 65,536 pixels, one for every word.
    void (*lookUp)(const uint8_t* words, uint8_t* pixels, size_t count, const uint32_t* entries);
    void (*lookUp12)(const uint8_t* packed, uint8_t* pixels, size_t count, const uint32_t* entries);
};

/// Samples that Unpack12 takes at a time.
inline constexpr size_t kUnpackedSamples = 1024;
/// The words of `count` packed samples, at most kUnpackedSamples, the first one at the start of a pair.
void Unpack12(const uint8_t* packed, uint8_t* words, size_t count);

/// The best kernels of the processor this runs on; chosen once per process.
const GreyKernels& BestGreyKernels();
/// The kernels of one level: every entry is set.
GreyKernels SelectGreyKernels(SimdLevel level);

/// Overwrite the entries they improve; each lives in the file of its level.
void SelectSse2GreyKernels(GreyKernels* kernels);
void SelectAvx2GreyKernels(GreyKernels* kernels);
void SelectAvx512GreyKernels(GreyKernels* kernels);

/// The reference kernels, which the others also call for their last few pixels.
extern const GreyKernels kPlainGreyKernels;
}  // namespace talv
