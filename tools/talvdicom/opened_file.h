#pragma once

#include <string>

#include "filter/frame_source.h"
#include "filter/frame_timeline.h"

namespace talv {
/// A file loaded as the component loads it, with user settings at their defaults.
class OpenedFile
{
  public:
    OpenedFile() : source(&timeline) {}

    /// False when the file is refused; `refusal` then says why, in one line.
    bool Open(const std::string& name);
    /// As Open, and there are frames to decode: an MPEG-2 stream is refused too.
    bool OpenForFrames(const std::string& name);
    /// Frames to go through: those announced, but no more than the pixel data hold.
    int64_t FramesToDecode();

    FrameTimeline timeline;
    FrameSource source;
    std::string refusal;

  private:
    std::string ExplainRefusal(const std::string& notice);
};

/// Text of the first value of top-level element `tag`, without padding; empty when there is none.
std::string TagText(DicomDataSet* dataSet, uint32_t tag);
/// First value of top-level element `tag` as a number; false when there is none.
bool TagReal(DicomDataSet* dataSet, uint32_t tag, double* value);
/// Name of the transfer syntax `uid`, or what stands for it when it is absent or unknown.
std::string TransferSyntaxName(const std::string& uid);
}  // namespace talv
