#include <algorithm>

#include "filter/frame_timeline.h"
#include "filter/saturating.h"

// Positions in frames and in media time, and the seek.
namespace talv {
namespace {
/// Divisor of media times. A lent data set sets frameTimeUnits without clamping, so it may be anything.
int64_t UnitsPerFrame(const FrameTimeline& timeline)
{
    return std::max<int64_t>(timeline.frameTimeUnits, 1);
}

int64_t LastFrame(const FrameTimeline& timeline)
{
    return std::max<int64_t>(timeline.frameCount, 1) - 1;
}

int64_t InTimeFormat(const FrameTimeline& timeline, int64_t frames)
{
    return timeline.timeFormat == TimeFormat::frame ? frames : MediaTimeFromFrames(timeline, frames);
}

int64_t SeekFrames(const FrameTimeline& timeline, int64_t value)
{
    return timeline.timeFormat == TimeFormat::frame ? value : NearestFrameFromMediaTime(timeline, value);
}
}  // namespace

int64_t FramesFromMediaTime(const FrameTimeline& timeline, int64_t mediaTime)
{
    return mediaTime / UnitsPerFrame(timeline);
}

int64_t NearestFrameFromMediaTime(const FrameTimeline& timeline, int64_t mediaTime)
{
    // Kept: truncation of the negative quotient makes -1 frame 0 and -2 frames -1, where a round would give
    // -1 and -2. Pinned by FrameSeek.MediaTimeIsRoundedToTheNearestFrame.
    const int64_t units = UnitsPerFrame(timeline);
    return SaturatingAdd(mediaTime, units / 2) / units;
}

int64_t MediaTimeFromFrames(const FrameTimeline& timeline, int64_t frames)
{
    return SaturatingMultiply(frames, UnitsPerFrame(timeline));
}

int64_t ConvertTime(const FrameTimeline& timeline, int64_t value, TimeFormat target, TimeFormat source)
{
    if (target == source) return value;
    return target == TimeFormat::frame ? FramesFromMediaTime(timeline, value)
                                       : MediaTimeFromFrames(timeline, value);
}

int64_t GetDuration(const FrameTimeline& timeline)
{
    return InTimeFormat(timeline, std::max<int64_t>(timeline.frameCount, 0));
}

void GetPositions(const FrameTimeline& timeline, int64_t* current, int64_t* stop)
{
    *current = InTimeFormat(timeline, timeline.currentFrame);
    *stop = InTimeFormat(timeline, timeline.stopFrame);
}

void GetAvailable(const FrameTimeline& timeline, int64_t* earliest, int64_t* latest)
{
    *earliest = 0;
    *latest = InTimeFormat(timeline, timeline.stopFrame);
}

SeekResult SetPositions(FrameTimeline* timeline, int64_t* current, uint32_t currentFlags, int64_t* stop,
                        uint32_t stopFlags)
{
    const uint32_t currentMode =
        current != nullptr ? currentFlags & kSeekPositioningBits : uint32_t{kSeekKeep};
    const uint32_t stopMode = stop != nullptr ? stopFlags & kSeekPositioningBits : uint32_t{kSeekKeep};
    if (currentMode == kSeekIncremental) return SeekResult::badPositioning;

    int64_t newCurrent = timeline->currentFrame;
    if (currentMode == kSeekAbsolute) newCurrent = SeekFrames(*timeline, *current);
    if (currentMode == kSeekRelative) newCurrent = SaturatingAdd(newCurrent, SeekFrames(*timeline, *current));
    newCurrent = std::clamp<int64_t>(newCurrent, 0, LastFrame(*timeline));

    int64_t newStop = timeline->stopFrame;
    if (stopMode == kSeekAbsolute) newStop = SeekFrames(*timeline, *stop);
    if (stopMode == kSeekRelative) newStop = SaturatingAdd(newStop, SeekFrames(*timeline, *stop));
    if (stopMode == kSeekIncremental) newStop = SaturatingAdd(newCurrent, SeekFrames(*timeline, *stop));
    newStop = std::clamp(newStop, newCurrent, LastFrame(*timeline));

    timeline->positionsSet = true;
    RestartStream(timeline);
    const bool moved = newCurrent != timeline->currentFrame;
    const bool changed = moved || newStop != timeline->stopFrame;
    if (changed) {
        timeline->discontinuityPending = moved;
        timeline->currentFrame = newCurrent;
        timeline->stopFrame = newStop;
    }
    if (((currentFlags | stopFlags) & kSeekReturnTime) != 0) {
        if (current != nullptr) *current = MediaTimeFromFrames(*timeline, newCurrent);
        if (stop != nullptr) *stop = MediaTimeFromFrames(*timeline, newStop);
    }
    return changed ? SeekResult::changed : SeekResult::unchanged;
}
}  // namespace talv
