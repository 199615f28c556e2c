#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codecs/codec_workers.h"
#include "codecs/j2k/j2k_tile.h"

namespace talv {
/// Row operations of the inverse wavelets (T.800 F.3.8). `first` is 0 when a row's first sample has an even
/// coordinate, 1 when it is odd; `spare` holds at least the row's length and 16 elements more.
struct J2kWaveletKernels
{
    /// Rebuilds a row of `low` low-pass samples followed by `high` high-pass samples in place.
    void (*row53)(int32_t* row, int32_t* spare, size_t low, size_t high, int first);
    void (*row97)(float* row, float* spare, size_t low, size_t high, int first);
    /// Vertical lifting steps on `count` columns: target -= (a + b + 2) >> 2, target += (a + b) >> 1,
    /// target -= factor * (a + b).
    void (*update53)(int32_t* target, const int32_t* a, const int32_t* b, size_t count);
    void (*predict53)(int32_t* target, const int32_t* a, const int32_t* b, size_t count);
    void (*lift97)(float* target, const float* a, const float* b, float factor, size_t count);
};

/// The best variant for the processor; variants agree bit for bit.
const J2kWaveletKernels& BestJ2kWaveletKernels();
const J2kWaveletKernels& PlainJ2kWaveletKernels();
const J2kWaveletKernels& Avx2J2kWaveletKernels();

/// Lifting factors of the 9/7 reconstruction (T.800 table F.4), in the order they are undone.
constexpr float kLift97[4] = {0.443506852f, 0.882911076f, -0.052980118f, -1.586134342f};

/// Turns the band coefficients of tile-components into their samples, in place; components without samples
/// are passed over. Throws std::bad_alloc.
void ReconstructJ2kComponents(const std::vector<J2kTileComponent>& components, CodecWorkers& workers);
}  // namespace talv
