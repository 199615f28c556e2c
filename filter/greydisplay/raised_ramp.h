#pragma once

#include <algorithm>

#include "filter/greydisplay/grey_kernels.h"

namespace talv {
/// A ramp over words whose samples are left where they stand, `high` bits above their place, with foreign
/// bits around them: mask and base are raised as they are, and the scale is that of the larger numbers. A
/// power of two costs single precision nothing, so place * scale + offset comes out the same to the last bit.
struct RaisedRamp
{
    uint16_t mask, base;
    float scale;
};

/// `sampleBits`: the bits of a word that the sample takes, where it stands.
inline RaisedRamp RaiseRamp(const GreyRamp& ramp, uint32_t sampleBits, uint32_t high)
{
    const uint32_t shift = ramp.shift + high;
    const uint64_t mask = uint64_t{ramp.mask} << shift, base = uint64_t{ramp.base} << shift;
    return {static_cast<uint16_t>(mask & sampleBits),
            static_cast<uint16_t>(std::min<uint64_t>(base, 65535)),  // above every sample, if so
            ramp.scale / static_cast<float>(1u << shift)};
}
}  // namespace talv
