#pragma once

#include "codecs/codec_status.h"

namespace talv {
/// Results of the JPEG 2000 reader beside those every codec has.
enum J2kStatus : int32_t
{
    kJ2kBrokenHeader = -533,  ///< truncated header, a PPM out of place, or a tile that cannot be set up
    kJ2kNoCodestream = -534,  ///< the stream does not begin with SOC
    kJ2kBadSize = -536,       ///< SIZ missing, incomplete or inconsistent, or 65536 tiles or more
    kJ2kNoSize = -539,        ///< the SIZ segment cannot be read
};
}  // namespace talv
