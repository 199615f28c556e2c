#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/talvdicom/frame_map.h"

namespace talv {
/// What the headers inside a coded frame say, whatever the data set around it does.
struct Codestream
{
    enum class Coding
    {
        unknown,
        rle,
        jpeg,
        jpegLs,
        jpeg2000,
    };
    Coding coding = Coding::unknown;
    std::string process;  ///< "baseline", "lossless", "reversible", ...
    bool lossless = false;
    int32_t width = 0, height = 0;  ///< 0 where the headers do not tell
    int32_t precision = 0, components = 0;
    int32_t rleSegments = 0;
    std::string sampling;       ///< of JPEG colour: "2x1 1x1 1x1"
    bool isRgb = false;         ///< three components: red, green and blue come out without a transform
    std::string reason;         ///< why that is so, or is not
    bool endsWithMark = false;  ///< JPEG and JPEG 2000: the end marker is there
};

/// Reads the headers of frame `frame` (from 0); coding is unknown when there are none.
Codestream ReadCodestream(DicomDataSet* dataSet, const FrameMap& map, int64_t frame);
/// "JPEG baseline, 8 bits, 3 components (2x1 1x1 1x1), YCbCr (no marker tells otherwise)".
std::string CodestreamWords(const Codestream& stream);
}  // namespace talv
