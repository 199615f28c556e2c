#pragma once

#include <string>

#include "filter/frame_source.h"
#include "filter/frame_timeline.h"
#include "image/functional_groups.h"
#include "tools/talvdicom/frame_map.h"
#include "tools/talvdicom/input_file.h"

namespace talv {
/// A file loaded as the component loads it, with user settings at their defaults.
class OpenedFile
{
    InputFile input_;  // goes last: what it may have copied stays open until the source goes

  public:
    OpenedFile() : source(&timeline) {}

    /// False when the file is refused; `refusal` then says why, in one line.
    bool Open(const std::string& name);
    /// As Open, and there are frames to decode: an MPEG-2 stream is refused too.
    bool OpenForFrames(const std::string& name);
    /// True when the file was read as a data set, even where it was refused afterwards.
    bool HasDataSet() const { return source.dataSet != nullptr && source.dataSet->tree.first != nullptr; }
    /// Of an MPEG-2 stream: its frame count and frame time, which loading leaves aside.
    void ReadStreamTiming();
    /// Frames to go through: those announced, but no more than the pixel data hold.
    int64_t FramesToDecode();
    /// Where the frames lie. Only after OpenForFrames, or when there is a Pixel Data element.
    const FrameMap& Frames();
    /// Where an enhanced object keeps what belongs to single frames.
    const FunctionalGroups& Groups();
    /// Why `frame` (from 0) gave `status`: which frame, where it lies, what is wrong and what to try.
    std::string FrameRefusal(int64_t frame, DicomStatus status);

    FrameTimeline timeline;
    FrameSource source;
    std::string refusal;
    bool isCheck = false;  ///< refusals need not name the command that explains them

  private:
    std::string CheckHint() const;
    std::string ExplainRefusal(const std::string& notice);
    std::string ImageHint(DicomStatus status);

    FrameMap frames_;
    FunctionalGroups groups_;
    DicomElement* mapped_ = nullptr;  // the element that frames_ was built for
};

/// Text of the first value of top-level element `tag`, without padding; empty when there is none.
std::string TagText(DicomDataSet* dataSet, uint32_t tag);
/// Why loading `fileName` (narrow) gave `status`; names a transfer syntax that is not among those that play.
std::string LoadRefusal(const char* fileName, DicomStatus status);
/// First value of top-level element `tag` as a number; false when there is none.
bool TagReal(DicomDataSet* dataSet, uint32_t tag, double* value);
/// Name of the transfer syntax `uid`, or what stands for it when it is absent or unknown.
std::string TransferSyntaxName(const std::string& uid);
/// What a status of image extraction says; those of codecs come with their number.
std::string StatusWords(DicomStatus status);
/// "frame 3" for frame 2: words count frames from 1.
std::string FrameWords(int64_t frame);
}  // namespace talv
