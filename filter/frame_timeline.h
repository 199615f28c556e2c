#pragma once

#include <cstdint>

#include "filter/settings.h"

namespace talv {
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

/// Rates outside these are refused: at the shortest frame time (166,666 units) a sample still lasts a unit or
/// more, at the longest (20,000,000 units) it stays far below the range of stream times.
inline constexpr double kMinRate = 1e-5;
inline constexpr double kMaxRate = 1e5;

/// Where playback stands and how frames map to stream time. Times are in units of 100 ns unless a name says
/// ms. Plain state and arithmetic: the pin's seeking lock guards it, nothing here blocks or takes a lock. Any
/// value of any field is tolerated: sums and products saturate, and a frame time below one unit counts as
/// one.
struct FrameTimeline
{
    double rate = 1.0;
    int64_t frameCount = 0;     ///< as the file says it; zero and negative counts play as one frame
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
    bool rebase = false;  ///< the next sample re-bases its stream times (after a run or a settings change)
    int64_t deliveredSamples =
        0;  ///< since the worker started; end of stream at deliveryLimit with frame dropping on
    int64_t deliveryLimit = INT64_MAX;
    uint32_t generation = 0;  ///< moves on with every seek and restart; see CommitSample
};

// --- frame time and rate
// -------------------------------------------------------------------------------------------

/// Sets fileFrameTime clamped, effectiveFrameTime by the frame-control switch and frameTimeUnits. `found`
/// false keeps the previous fileFrameTime (clamped all the same); a number that is none counts as 0.
void ApplyFrameTime(FrameTimeline* timeline, bool found, double milliseconds);
/// effectiveFrameTime and frameTimeUnits from what is stored (after a settings change).
void RefreshFrameTime(FrameTimeline* timeline);
/// False for rates that are not a number, not positive, or out of the usable range; else the stream is to be
/// restarted.
bool SetRate(FrameTimeline* timeline, double rate);
/// A quality message from downstream: `proportion` per mille, `late` in 100 ns. Ignored while frame dropping
/// is on. The new frame time reaches the stamps only with the next RefreshFrameTime or ApplyFrameTime.
void NoteQuality(FrameTimeline* timeline, int32_t proportion, int64_t late);
/// Milliseconds to units of 100 ns, truncated and saturated; 0 for what is not a number.
int64_t UnitsFromMilliseconds(double milliseconds);
/// frameTimeUnits at the current rate, truncated, at least 1.
int64_t SampleDuration(const FrameTimeline& timeline);

// --- user settings: what the automation interface, INI files and memory blocks change
// -------------------------------

/// Each clamps and stores its value, recomputes the frame time and lets the next sample re-base its stream
/// times.
void PutFrameTime(FrameTimeline* timeline, int32_t milliseconds);
void PutFrameControl(FrameTimeline* timeline, bool on);
void PutFrameDropping(FrameTimeline* timeline, bool on);
/// The three puts in the order frame time, frame control, frame dropping. With ReaderSettings{} back to the
/// defaults.
void PutSettings(FrameTimeline* timeline, const ReaderSettings& settings);
/// Takes over what was read from the settings key: effectiveFrameTime becomes the user frame time whatever
/// the switch says, and frameTimeUnits waits for the next ApplyFrameTime or RefreshFrameTime.
void AdoptStoredSettings(FrameTimeline* timeline, const ReaderSettings& settings);

// --- positions
// ------------------------------------------------------------------------------------------------------

int64_t FramesFromMediaTime(const FrameTimeline& timeline, int64_t mediaTime);  ///< truncating
int64_t NearestFrameFromMediaTime(const FrameTimeline& timeline,
                                  int64_t mediaTime);                        ///< rounding; of seeks only
int64_t MediaTimeFromFrames(const FrameTimeline& timeline, int64_t frames);  ///< saturating
/// `value` in `source` format, in `target` format. Truncates on the way to frames, unlike a seek.
int64_t ConvertTime(const FrameTimeline& timeline, int64_t value, TimeFormat target, TimeFormat source);

/// These three answer in the timeline's time format. A negative frame count lasts as long as none.
int64_t GetDuration(const FrameTimeline& timeline);
void GetPositions(const FrameTimeline& timeline, int64_t* current, int64_t* stop);
void GetAvailable(const FrameTimeline& timeline, int64_t* earliest, int64_t* latest);

enum class SeekResult
{
    unchanged,
    changed,         ///< the stream is to be restarted unless SeekFlags::kSeekNoFlush was given
    badPositioning,  ///< nothing was changed
};
/// Applies a seek; `current` and `stop` are in the timeline's time format and are written back in media time
/// where the ReturnTime flag asks for it (in either word, for both, whether anything changed or not). A null
/// pointer keeps its value; with flags other than 0 it is to be refused by the caller.
SeekResult SetPositions(FrameTimeline* timeline, int64_t* current, uint32_t currentFlags, int64_t* stop,
                        uint32_t stopFlags);

// --- worker and fill step
// -------------------------------------------------------------------------------------------

/// The state a worker starts with; call ApplyFrameTime after it, under the same lock.
void StartWorker(FrameTimeline* timeline);
void EndWorker(FrameTimeline* timeline);
/// Stream times begin at 0 again: first step of a restart of the stream (seek, rate change).
void RestartStream(FrameTimeline* timeline);

/// What one sample is to carry. Its media time is (frame, frame + 1).
struct SamplePlan
{
    int64_t frame = 0;
    int64_t start = 0, stop = 0;  ///< stream time
    bool discontinuity = false;
    uint32_t generation = 0;  ///< of the timeline it was made for
};

/// The fill step comes in two halves, so that the frame between them is decoded with the seeking lock free:
///
///     do
///     {
///         { lock; if (!PlanSample(&timeline, &plan)) return end of stream; }
///         ReadFrameIntoSample(sample, plan.frame);
///         { lock; committed = CommitSample(&timeline, plan, running); }
///     } while (!committed);
///
/// A seek or restart in between makes the plan stale. CommitSample then books nothing and answers false: the
/// sample is not delivered but planned and filled again, as though the seek had come just before the fill
/// step. The pin may look at its command slot first, since a seek that flushes is about to stop the worker
/// anyway.
///
/// PlanSample decides the next sample; false at the end of the stream. It sets baseTime, takes the rebase
/// mark and, with frame dropping on, moves currentFrame over what is dropped: all of it holds too when no
/// commit follows.
bool PlanSample(FrameTimeline* timeline, SamplePlan* plan);
/// Books `plan` as delivered. `running` false (the filter is paused) keeps the position across a stop.
bool CommitSample(FrameTimeline* timeline, const SamplePlan& plan, bool running);
}  // namespace talv
