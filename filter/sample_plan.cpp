#include <algorithm>

#include "filter/frame_timeline.h"
#include "filter/saturating.h"

// The fill step without its frame: which one is next and which stream times it carries. Times are products
// and sums of one integer duration, so they do not drift: sample n of a stream starts at exactly n times the
// duration.
namespace talv {
namespace {
/// True when media time `reached` is not before the end of the current frame, counted from the first
/// delivered one.
bool IsLate(const FrameTimeline& timeline, int64_t reached, int64_t duration)
{
    // Kept: `reached` is the start of this very frame, so with base times as PlanSample sets them the answer
    // is no; one would expect a clock here. An end beyond 64 bits is later than anything. Pinned by
    // SamplePlan.FrameDroppingSkipsToTheFrameThatIsDue.
    int64_t end;
    return !__builtin_mul_overflow(SaturatingAdd(timeline.currentFrame, 1), duration, &end) &&
           !__builtin_add_overflow(end, timeline.baseTime, &end) && reached >= end;
}
}  // namespace

void StartWorker(FrameTimeline* timeline)
{
    if (!timeline->positionsSet) {
        timeline->currentFrame = 0;
        timeline->stopFrame = std::max<int64_t>(timeline->frameCount, 1) - 1;
    }
    RestartStream(timeline);
    timeline->baseTime = 0;
    timeline->discontinuityPending = true;
    timeline->deliveredSamples = 0;
}

void EndWorker(FrameTimeline* timeline)
{
    timeline->positionsSet = false;
}

void RestartStream(FrameTimeline* timeline)
{
    timeline->nextStart = 0;
    ++timeline->generation;
}

bool PlanSample(FrameTimeline* timeline, SamplePlan* plan)
{
    const bool dropping = timeline->settings.frameDropping != 0;
    if (dropping && timeline->deliveredSamples >= timeline->deliveryLimit) return false;

    const int64_t duration = SampleDuration(*timeline);
    const int64_t mediaTime = SaturatingMultiply(timeline->currentFrame, duration);
    if (timeline->baseTime == 0 || timeline->rebase) {
        timeline->baseTime = mediaTime;
        timeline->rebase = false;
    }
    int64_t start = timeline->nextStart;
    if (dropping && IsLate(*timeline, mediaTime, duration)) {
        timeline->currentFrame = SaturatingSubtract(mediaTime, timeline->baseTime) / duration;
        timeline->discontinuityPending = true;
        start = SaturatingMultiply(timeline->currentFrame, duration);
    }
    if (timeline->currentFrame > timeline->stopFrame) return false;

    plan->frame = timeline->currentFrame;
    plan->start = start;
    plan->stop = SaturatingAdd(start, duration);
    plan->discontinuity = timeline->discontinuityPending;
    plan->generation = timeline->generation;
    return true;
}

bool CommitSample(FrameTimeline* timeline, const SamplePlan& plan, bool running)
{
    if (plan.generation != timeline->generation) return false;
    timeline->nextStart = plan.stop;
    timeline->currentFrame = SaturatingAdd(plan.frame, 1);
    timeline->deliveredSamples = SaturatingAdd(timeline->deliveredSamples, 1);
    if (!running) timeline->positionsSet = true;
    if (plan.discontinuity) timeline->discontinuityPending = false;
    return true;
}
}  // namespace talv
