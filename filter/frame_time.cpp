#include <algorithm>
#include <cmath>

#include "filter/frame_timeline.h"
#include "filter/saturating.h"

// From the milliseconds of a file, of the user or of a quality message to the duration of one sample.
namespace talv {
namespace {
double ClampFileFrameTime(double milliseconds)
{
    if (std::isnan(milliseconds)) return kMinFrameTime;
    return std::clamp(milliseconds, kMinFrameTime, kMaxFrameTime);
}

void SettingChanged(FrameTimeline* timeline)
{
    RefreshFrameTime(timeline);
    timeline->rebase = true;
}
}  // namespace

void ApplyFrameTime(FrameTimeline* timeline, bool found, double milliseconds)
{
    timeline->fileFrameTimeFound = found;
    if (found) timeline->fileFrameTime = milliseconds;
    timeline->fileFrameTime = ClampFileFrameTime(timeline->fileFrameTime);
    RefreshFrameTime(timeline);
}

void RefreshFrameTime(FrameTimeline* timeline)
{
    timeline->effectiveFrameTime =
        timeline->settings.frameControl != 0 ? timeline->settings.userFrameTime : timeline->fileFrameTime;
    timeline->frameTimeUnits = UnitsFromMilliseconds(timeline->effectiveFrameTime);
}

bool SetRate(FrameTimeline* timeline, double rate)
{
    if (!(rate >= kMinRate && rate <= kMaxRate)) return false;  // what is not a number fails every comparison
    timeline->rate = rate;
    return true;
}

void NoteQuality(FrameTimeline* timeline, int32_t proportion, int64_t late)
{
    if (timeline->settings.frameDropping != 0) return;
    timeline->fileFrameTime =
        proportion > 0 ? ClampFileFrameTime(timeline->fileFrameTime * 1000.0 / proportion) : kMaxFrameTime;
    timeline->lateness = SaturatingAdd(timeline->lateness, late / 100000);
}

int64_t UnitsFromMilliseconds(double milliseconds)
{
    return TruncateToInt64(milliseconds * 10000.0);
}

int64_t SampleDuration(const FrameTimeline& timeline)
{
    return std::max<int64_t>(TruncateToInt64(static_cast<double>(timeline.frameTimeUnits) / timeline.rate),
                             1);
}

void PutFrameTime(FrameTimeline* timeline, int32_t milliseconds)
{
    timeline->settings.userFrameTime = ClampUserFrameTime(milliseconds);
    SettingChanged(timeline);
}

void PutFrameControl(FrameTimeline* timeline, bool on)
{
    timeline->settings.frameControl = on ? 1 : 0;
    SettingChanged(timeline);
}

void PutFrameDropping(FrameTimeline* timeline, bool on)
{
    timeline->settings.frameDropping = on ? 1 : 0;
    SettingChanged(timeline);
}

void PutSettings(FrameTimeline* timeline, const ReaderSettings& settings)
{
    PutFrameTime(timeline, settings.userFrameTime);
    PutFrameControl(timeline, settings.frameControl != 0);
    PutFrameDropping(timeline, settings.frameDropping != 0);
}

void AdoptStoredSettings(FrameTimeline* timeline, const ReaderSettings& settings)
{
    timeline->settings = settings;
    timeline->effectiveFrameTime = settings.userFrameTime;
}
}  // namespace talv
