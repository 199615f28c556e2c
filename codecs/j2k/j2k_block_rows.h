#pragma once

#include <cstddef>
#include <cstdint>

namespace talv {
/// A decoded block on its way into the rows of a band.
struct J2kBlockRows
{
    const uint32_t* samples;  ///< as `J2kBlockDecoder::Samples` has them
    int width, height;
    int fraction;    ///< bits below the integer
    float step;      ///< of irreversible coefficients: what magnitude 1 stands for
    size_t rowStep;  ///< elements between two rows of the band
};

/// Undo the sign-and-magnitude form, scale, and write the rows from `first` on; all variants agree bit for
/// bit.
struct J2kBlockRowKernels
{
    void (*storeWhole)(const J2kBlockRows& block, int32_t* first);
    void (*storeReal)(const J2kBlockRows& block, float* first);
};
const J2kBlockRowKernels& BestJ2kBlockRowKernels();
const J2kBlockRowKernels& PlainJ2kBlockRowKernels();
const J2kBlockRowKernels& Sse2J2kBlockRowKernels();
}  // namespace talv
