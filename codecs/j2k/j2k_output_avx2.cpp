#include "codecs/j2k/j2k_output_rows.h"

namespace talv {
const J2kOutputKernels& Avx2J2kOutputKernels()
{
    return kOutputKernels;
}
}  // namespace talv
