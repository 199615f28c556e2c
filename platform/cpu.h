#pragma once

namespace talv {
/// Instruction sets that hot loops have variants for, in ascending order: each level includes those before
/// it.
enum class SimdLevel
{
    plain,
    sse2,
    avx2,
    avx512,  ///< with the byte permutations (VBMI) and 256-bit forms (VL)
};

/// The processor's level, detected once per process. The environment variable FLT_SIMD (plain, sse2, avx2,
/// avx512) lowers it.
SimdLevel DetectedSimdLevel();

/// Processors this process may run on, at least 1.
unsigned ProcessorCount();
}  // namespace talv
