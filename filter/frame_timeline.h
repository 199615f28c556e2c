#pragma once

#include <cstdint>

#include "filter/settings.h"

namespace talv
{
enum class TimeFormat
{
    mediaTime,  ///< 100 ns
    frame,
};

inline constexpr double kMinFrameTime = 16.666666666666668;  // ms
inline constexpr double kMaxFrameTime = 2000.0;

/// Positioning bits and modifiers of SetPositions, as the media framework numbers them.
enum SeekFlags : uint32_t
{
    kSeekKeep = 0,
    kSeekAbsolute = 1,
    kSeekRelative = 2,
    kSeekIncremental = 3,
    kSeekPositioningBits = 3,
    kSeekReturnTime = 8,
    kSeekNoFlush = 0x20,
};

/// Where playback stands and how frames map to stream time. Times are in units of 100 ns unless a name says ms.
/// Plain state and arithmetic: the pin's seeking lock guards it, nothing here blocks or takes a lock.
struct FrameTimeline
{
    double rate = 1.0;
    int64_t frameCount = 0;
    bool positionsSet = false;  ///< positions came from a seek and survive a worker restart
    int64_t currentFrame = 0;   ///< next frame to deliver
    int64_t stopFrame = 0;
    TimeFormat timeFormat = TimeFormat::mediaTime;
    int64_t frameTimeUnits = 400000;  ///< per frame

    ReaderSettings settings;
    double fileFrameTime = 0.0;  ///< ms
    bool fileFrameTimeFound = false;
    double effectiveFrameTime = 40.0;  ///< ms

    int64_t baseTime = 0;   ///< media time of the first delivered frame
    int64_t lateness = 0;   ///< running sum of lateness reports, in units of 10 ms
    int64_t nextStart = 0;  ///< stream start time of the next sample
    bool discontinuityPending = false;
    bool rebase = false;    ///< the next sample re-bases its stream times (after a run or a settings change)
    int64_t deliveredSamples = 0;  ///< since the worker started; end of stream at deliveryLimit with frame dropping on
    int64_t deliveryLimit = INT64_MAX;
};

/// Sets fileFrameTime clamped, effectiveFrameTime by the frame-control switch and frameTimeUnits. `found` false keeps
/// the previous fileFrameTime.
void ApplyFrameTime(FrameTimeline* timeline, bool found, double milliseconds);
/// effectiveFrameTime and frameTimeUnits from what is stored (after a settings change).
void RefreshFrameTime(FrameTimeline* timeline);
/// The state a worker starts with; call ApplyFrameTime after it.
void StartWorker(FrameTimeline* timeline);
void EndWorker(FrameTimeline* timeline);

/// Frame time at the current rate, at least 1.
int64_t SampleDuration(const FrameTimeline& timeline);
int64_t FramesFromMediaTime(const FrameTimeline& timeline, int64_t mediaTime);         ///< truncating
int64_t NearestFrameFromMediaTime(const FrameTimeline& timeline, int64_t mediaTime);  ///< rounding
int64_t MediaTimeFromFrames(const FrameTimeline& timeline, int64_t frames);            ///< saturating

/// What one sample is to carry.
struct SamplePlan
{
    int64_t frame = 0;
    int64_t start = 0, stop = 0;  ///< stream time
    bool discontinuity = false;
};
/// Decides the next sample; false at the end of the stream. Changes nothing but what frame dropping and rebasing skip;
/// CommitSample moves on.
bool PlanSample(FrameTimeline* timeline, SamplePlan* plan);
/// Books `plan` as delivered. `running` false (the filter is paused) keeps the position across a stop.
void CommitSample(FrameTimeline* timeline, const SamplePlan& plan, bool running);

enum class SeekResult
{
    unchanged,
    changed,       ///< the stream is to be restarted unless kSeekNoFlush was given
    badPositioning,
};
/// Applies a seek; `current` and `stop` are in the timeline's time format and are written back in media time where the
/// ReturnTime flag asks for it. A null pointer is allowed with flags 0 only (checked by the caller).
SeekResult SetPositions(FrameTimeline* timeline, int64_t* current, uint32_t currentFlags, int64_t* stop,
                        uint32_t stopFlags);
/// False for rates that are not a number, not positive, or out of the usable range.
bool SetRate(FrameTimeline* timeline, double rate);
/// A quality message from downstream: `proportion` per mille, `late` in 100 ns.
void NoteQuality(FrameTimeline* timeline, int32_t proportion, int64_t late);
}  // namespace talv
