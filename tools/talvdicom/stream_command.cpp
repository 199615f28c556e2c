#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/picture.h"
#include "tools/talvdicom/player_lines.h"
#include "tools/talvdicom/printable.h"
#include "tools/talvdicom/progress.h"
#include "tools/talvdicom/video_writer.h"

namespace talv {
namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kNap{50};  // a request to end is seen that soon

/// Lets one frame go every frame time.
class Pacer
{
  public:
    explicit Pacer(int64_t frameTimeUnits)
        : interval_(
              std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(frameTimeUnits * 100))),
          due_(Clock::now())
    {}
    void Wait()
    {
        const Clock::time_point now = Clock::now();
        // A reader that made us wait shall not get the frames it missed in a burst.
        if (now > due_ + interval_) due_ = now;
        while (!Interrupted() && Clock::now() < due_)
            std::this_thread::sleep_for(std::min<Clock::duration>(due_ - Clock::now(), kNap));
        due_ += interval_;
    }

  private:
    Clock::duration interval_;
    Clock::time_point due_;
};

/// Forward, and with `sweep` back again without showing either end twice.
std::vector<int64_t> OneRound(std::vector<int64_t> frames, bool sweep)
{
    if (!sweep || frames.size() < 3) return frames;
    frames.insert(frames.end(), frames.rbegin() + 1, frames.rend() - 1);
    return frames;
}

/// Decodes, draws and writes frames one after another.
class ClipStream
{
  public:
    ClipStream(OpenedFile* opened, const StreamOptions& options, GreyView* view)
        : opened_(opened),
          options_(options),
          view_(view),
          paced_(!options.maxSpeed && !OutputIsFile()),
          pacer_(opened->timeline.frameTimeUnits)
    {}

    /// False, with the reason in `error` or without one when nobody reads any more, when there is nothing to
    /// go on with.
    bool WriteFrame(const std::string& file, int64_t frame, std::string* error)
    {
        DecodedFrame decoded(opened_->source, frame);
        UseFrame(opened_, frame, view_);
        const bool drawn =
            decoded.Status() == kDicomOk &&
            DrawBitmap(decoded.Bitmap(), view_, options_.format == VideoFormat::gray16le, &picture_);
        if (!begun_) {
            if (!drawn) {
                *error = decoded.Status() != kDicomOk ? opened_->FrameRefusal(frame, decoded.Status())
                                                      : FrameWords(frame) + ": no picture can be made of it";
                return false;
            }
            begun_ = true;
            if (!Begin(file, error)) return false;
        }
        // A frame that cannot be shown repeats the one before, as in the player.
        if (drawn && writer_.Fits(picture_)) std::swap(shown_, picture_);
        if (paced_) pacer_.Wait();
        return !Interrupted() && writer_.WriteFrame(&shown_);
    }

  private:
    bool Begin(const std::string& file, std::string* error)
    {
        const VideoShape shape = {options_.format, picture_.width, picture_.height, picture_.channels == 3,
                                  opened_->timeline.frameTimeUnits};
        if (!options_.quiet) std::fputs(PrintableLines(PlayerLines(file, options_, shape)).c_str(), stderr);
        if (OutputIsTerminal()) {
            *error = "a terminal shows no video; pipe it on as in the lines above, or into a file";
            return false;
        }
        return writer_.Begin(shape);
    }

    OpenedFile* opened_;
    const StreamOptions& options_;
    GreyView* view_;
    bool paced_;
    Pacer pacer_;
    VideoWriter writer_;
    Picture picture_, shown_;
    bool begun_ = false;
};
}  // namespace

int RunStream(const std::string& file, const StreamOptions& options)
{
    OpenedFile opened;
    if (!opened.OpenForFrames(file)) return Complain(file, opened.refusal);
    const std::vector<int64_t> frames = SelectFrames(options.ranges, opened.FramesToDecode());
    if (frames.empty())
        return Complain(
            file, "the chosen frames are not there: the file has " + std::to_string(opened.FramesToDecode()));
    GreyView view;
    std::string error;
    const bool fine = options.format == VideoFormat::gray16le;
    if (!MakeGreyView(&opened, options.window, fine, frames, &view, &error)) return Complain(file, error);

    const std::vector<int64_t> round = OneRound(frames, options.sweep);
    Progress progress("frame", static_cast<int64_t>(round.size()));
    ClipStream stream(&opened, options, &view);
    for (int64_t loop = 0; options.loops == 0 || loop < options.loops; ++loop)
        for (size_t i = 0; i < round.size(); ++i) {
            if (!stream.WriteFrame(file, round[i], &error)) {
                progress.Clear();
                return error.empty() ? kDone : Complain(file, error);
            }
            progress.Show(static_cast<int64_t>(i) + 1);
        }
    return kDone;
}
}  // namespace talv
