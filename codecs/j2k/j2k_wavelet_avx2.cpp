#include "codecs/j2k/j2k_wavelet_rows.h"

namespace talv {
const J2kWaveletKernels& Avx2J2kWaveletKernels()
{
    return kKernels;
}
}  // namespace talv
