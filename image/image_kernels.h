#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu.h"

namespace talv {
/// Smallest and largest value seen so far.
struct ValueRange
{
    uint32_t smallest = UINT32_MAX;
    uint32_t largest = 0;
};

/// How the value of a stored 16-bit word is taken: ((word + offset) >> shift) & mask.
struct WordValue
{
    uint16_t offset, mask;
    uint8_t shift;
};

/// Loops that every sample of a frame passes. No pointer needs any alignment; 16-bit samples are
/// little-endian words. Where a target is given it may be the source itself or lie anywhere before it.
struct ImageKernels
{
    /// First and third byte of every 24-bit pixel change places.
    void (*swapRgb)(const uint8_t* source, uint8_t* target, size_t pixels);
    /// word ^ flip.
    void (*flipWords)(const uint8_t* source, uint8_t* target, size_t words, uint16_t flip);
    /// The two bytes of every word change places, in place.
    void (*swapWords)(uint8_t* words, size_t count);
    /// 0 up to `smallest`, 255 from `largest` on, (byte - smallest) * 255 / (largest - smallest) between;
    /// above `smallest` 255 when `largest` is not above it.
    void (*scaleBytes)(const uint8_t* source, uint8_t* target, size_t count, uint8_t smallest,
                       uint8_t largest);
    /// Extends `range` by the bytes.
    void (*rangeOfBytes)(const uint8_t* bytes, size_t count, ValueRange* range);
    /// Extends `range` by the values of the words.
    void (*rangeOfWords)(const uint8_t* words, size_t count, WordValue value, ValueRange* range);
    /// first[0], second[0], first[1], second[1], ... The planes do not overlap the target.
    void (*interleave2)(const uint8_t* first, const uint8_t* second, uint8_t* target, size_t count);
    void (*interleave3)(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* target,
                        size_t count);
    /// Three planes of `count` samples, Y, Cb, Cr, become R, G, B in place.
    void (*ybrToRgb)(uint8_t* first, uint8_t* second, uint8_t* third, size_t count);
    /// `pixels` interleaved Y, Cb, Cr samples become B, G, R in place.
    void (*ybrPixelsToBgr)(uint8_t* samples, size_t pixels);
    /// Copies for a reader that comes later, if at all: past the caches where the level can. Source and
    /// target do not overlap. Other threads see the bytes after the next full memory fence.
    void (*copyPastCaches)(const uint8_t* source, uint8_t* target, size_t count);
};

/// The best kernels of the processor this runs on; chosen once per process.
const ImageKernels& BestImageKernels();
/// The kernels of one level: every entry is set; those that the level does not improve are the plain ones.
ImageKernels SelectImageKernels(SimdLevel level);

/// Overwrite the entries they improve; each lives in the file of its level.
void SelectSse2ImageKernels(ImageKernels* kernels);
void SelectAvx2ImageKernels(ImageKernels* kernels);
void SelectAvx512ImageKernels(ImageKernels* kernels);

/// The reference kernels, which the others also call for their last few samples.
extern const ImageKernels kPlainImageKernels;
}  // namespace talv
