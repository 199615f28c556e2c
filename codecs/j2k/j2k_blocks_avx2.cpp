#include "codecs/j2k/j2k_block_passes.h"

namespace talv {
void DecodeJ2kPassesAvx2(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount,
                         const J2kBlockMemory& memory)
{
    DecodePasses(job, segments, segmentCount, memory);
}
}  // namespace talv
