#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu.h"

namespace talv {
/// Loops that pixels of every frame pass. Source and target do not overlap but where it says so; no pointer
/// needs any alignment. 16-bit samples are little-endian words.
struct RowKernels
{
    /// Two packed 12-bit samples in three bytes -> two words; b0, b1, b2 -> b0 + 256 * (b1 & 15), (b1 >> 4) +
    /// 16 * b2.
    void (*widen12)(const uint8_t* source, uint8_t* words, size_t pairs);
    /// Every level three times.
    void (*grey8To24)(const uint8_t* source, uint8_t* target, size_t pixels);
    /// Every level three times, then `fourth`.
    void (*grey8To32)(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth);
    /// Three bytes as they are, then `fourth`.
    void (*color24To32)(const uint8_t* source, uint8_t* target, size_t pixels, uint8_t fourth);
    /// The fourth byte of every pixel is dropped.
    void (*color32To24)(const uint8_t* source, uint8_t* target, size_t pixels);
    /// 256 entries of four bytes: the first three bytes of the entry of every index.
    void (*lookUp24)(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels);
    /// 256 entries of four bytes: the entry of every index.
    void (*lookUp32)(const uint8_t* indices, const uint8_t (*entries)[4], uint8_t* target, size_t pixels);
    /// Luma() of 24-bit pixels, which begin with red or with blue.
    void (*luma24)(const uint8_t* source, uint8_t* levels, size_t pixels, bool redFirst);
    /// First and third byte of every 24-bit pixel change places. `target` may be `source` here.
    void (*swapColor24)(const uint8_t* source, uint8_t* target, size_t pixels);
    /// (word >> shift) & 255, shift 0..15.
    void (*narrow16)(const uint8_t* words, uint8_t* target, size_t pixels, int32_t shift);
    /// The two bytes of every word change places.
    void (*swapBytes16)(const uint8_t* words, uint8_t* target, size_t count);
    /// Smallest and largest (word >> shift) & mask, joined with what *smallest and *largest hold already.
    void (*range16)(const uint8_t* words, size_t count, int32_t shift, uint16_t mask, uint16_t* smallest,
                    uint16_t* largest);
};

/// Red, green and blue weighed for the eye; exact for grey. Takes 8-bit and 16-bit channels.
inline uint32_t Luma(uint32_t red, uint32_t green, uint32_t blue)
{
    return (19595 * red + 38470 * green + 7471 * blue + 32768) >> 16;
}

/// The best kernels of the processor this runs on; chosen once per process.
const RowKernels& BestRowKernels();
/// The kernels of one level: every entry is set; those that the level does not improve are the plain ones.
RowKernels SelectRowKernels(SimdLevel level);

/// Overwrite the entries they improve; each lives in the file of its level.
void SelectSse2RowKernels(RowKernels* kernels);
void SelectAvx2RowKernels(RowKernels* kernels);
void SelectAvx512RowKernels(RowKernels* kernels);

/// The reference kernels, which the others also call for their last few pixels.
extern const RowKernels kPlainRowKernels;
}  // namespace talv
