#pragma once

#include <string>
#include <vector>

#include "tools/talvdicom/opened_file.h"

namespace talv {
/// An element that says something about the speed of a clip.
struct TimingTag
{
    uint32_t tag = 0;
    std::string name, value;
    bool chosen = false;   ///< the frame time comes from it
    bool pointed = false;  ///< Frame Increment Pointer names it
    /// Milliseconds a frame that it asks for; 0 when it does not tell or when its value makes no sense.
    double milliseconds = 0;
};

/// Every such element of the data set, wherever it stands, in the order the component asks for them; those it
/// never asks for come last.
std::vector<TimingTag> ListTimingTags(DicomDataSet* dataSet);
/// How the chosen element, or the lack of any, became the time of a frame, in words.
std::string TimingReason(DicomDataSet* dataSet, const FrameTimeline& timeline,
                         const std::vector<TimingTag>& tags);
}  // namespace talv
