#include "filter/frame_timeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace talv {
namespace {
constexpr int64_t kMin = INT64_MIN;
constexpr int64_t kMax = INT64_MAX;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A clip of `frames` frames of 40 ms, as a worker finds it.
FrameTimeline Clip(int64_t frames)
{
    FrameTimeline timeline;
    timeline.frameCount = frames;
    ApplyFrameTime(&timeline, true, 40.0);
    StartWorker(&timeline);
    return timeline;
}

SeekResult Seek(FrameTimeline* timeline, int64_t current, uint32_t currentFlags, int64_t stop,
                uint32_t stopFlags)
{
    return SetPositions(timeline, &current, currentFlags, &stop, stopFlags);
}

/// Plans and commits one sample; false at the end of the stream.
bool Deliver(FrameTimeline* timeline, SamplePlan* plan)
{
    return PlanSample(timeline, plan) && CommitSample(timeline, *plan, true);
}

TEST(FrameTime, FileTimeIsClampedAndTruncatedToUnits)
{
    const std::pair<double, int64_t> cases[] = {{10.0, 166666}, {5000.0, 20000000}, {33.333, 333330},
                                                {-5.0, 166666}, {kNaN, 166666},     {kInfinity, 20000000}};
    for (const auto& [milliseconds, units] : cases) {
        FrameTimeline timeline;
        ApplyFrameTime(&timeline, true, milliseconds);
        EXPECT_EQ(timeline.frameTimeUnits, units) << milliseconds;
        ApplyFrameTime(&timeline, false, 500.0);  // nothing found keeps the previous time
        EXPECT_EQ(timeline.frameTimeUnits, units) << milliseconds;
    }
    FrameTimeline timeline;
    ApplyFrameTime(&timeline, false, 99.0);
    EXPECT_EQ(timeline.fileFrameTime, kMinFrameTime);  // 0 before the first file, clamped
}

TEST(FrameTime, FrameControlPutsTheUserTimeInPlaceOfTheFiles)
{
    FrameTimeline timeline;
    ApplyFrameTime(&timeline, true, 10.0);
    PutFrameControl(&timeline, true);
    EXPECT_EQ(timeline.frameTimeUnits, 400000);
    timeline.rebase = false;
    PutFrameTime(&timeline, 5000);
    EXPECT_EQ(timeline.settings.userFrameTime, 1000);
    EXPECT_EQ(timeline.frameTimeUnits, 10000000);
    EXPECT_TRUE(timeline.rebase);
    PutFrameTime(&timeline, -1);
    EXPECT_EQ(timeline.frameTimeUnits, 200000);
    PutSettings(&timeline, ReaderSettings{});
    EXPECT_EQ(timeline.frameTimeUnits, 166666);
}

TEST(FrameTime, RateDividesTheDurationAndStaysUsable)
{
    FrameTimeline timeline = Clip(10);
    for (const double rate : {0.0, -1.0, kNaN, kInfinity, 1e-300, 1e300})
        EXPECT_FALSE(SetRate(&timeline, rate)) << rate;
    EXPECT_EQ(timeline.rate, 1.0);
    for (const auto& [rate, duration] :
         {std::pair(2.0, 200000.0), {0.5, 8e5}, {3.0, 133333}, {1e5, 4}, {1e-5, 4e10}}) {
        EXPECT_TRUE(SetRate(&timeline, rate));
        EXPECT_EQ(SampleDuration(timeline), duration) << rate;
    }
    for (timeline.rate = 1e-300; timeline.rate != kInfinity; timeline.rate *= 1e300)  // written past SetRate
        for (const int64_t units : {kMin, int64_t{0}, kMax}) {
            timeline.frameTimeUnits = units;
            EXPECT_GE(SampleDuration(timeline), 1);
        }
}

TEST(FrameTime, QualityStretchesTheFileTimeUntilTheNextSearch)
{
    FrameTimeline timeline = Clip(10);
    NoteQuality(&timeline, 500, 1234567);
    EXPECT_EQ(timeline.fileFrameTime, 80.0);
    EXPECT_EQ(timeline.lateness, 12);
    EXPECT_EQ(timeline.frameTimeUnits, 400000);
    NoteQuality(&timeline, 5000, -400000);
    EXPECT_EQ(timeline.fileFrameTime, kMinFrameTime);
    EXPECT_EQ(timeline.lateness, 8);
    NoteQuality(&timeline, 0, 0);
    EXPECT_EQ(timeline.fileFrameTime, 2000.0);
    timeline.lateness = kMax - 1;
    NoteQuality(&timeline, 1, kMax);
    EXPECT_EQ(timeline.lateness, kMax);
    PutFrameDropping(&timeline, true);
    NoteQuality(&timeline, 1000, kMin);
    EXPECT_EQ(timeline.lateness, kMax);
}

TEST(FrameSeek, MediaTimeIsRoundedToTheNearestFrame)
{
    FrameTimeline timeline = Clip(10);
    const struct
    {
        int64_t mediaTime, nearest, truncated;
    } cases[] = {
        {0, 0, 0},
        {199999, 0, 0},
        {200000, 1, 0},
        {600000, 2, 1},
        {-400000, 0, -1},
        {-800000, -1, -2},
        {kMax, kMax / 400000, kMax / 400000},
        {kMin, kMin / 400000, kMin / 400000},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NearestFrameFromMediaTime(timeline, c.mediaTime), c.nearest) << c.mediaTime;
        EXPECT_EQ(ConvertTime(timeline, c.mediaTime, TimeFormat::frame, TimeFormat::mediaTime), c.truncated);
    }
    EXPECT_EQ(ConvertTime(timeline, 3, TimeFormat::mediaTime, TimeFormat::frame), 1200000);
    EXPECT_EQ(ConvertTime(timeline, kMin, TimeFormat::mediaTime, TimeFormat::frame), kMin);
    EXPECT_EQ(ConvertTime(timeline, kMax, TimeFormat::mediaTime, TimeFormat::frame), kMax);
    EXPECT_EQ(ConvertTime(timeline, 7, TimeFormat::frame, TimeFormat::frame), 7);
}

TEST(FrameSeek, PositionsAreTakenRelativeAndClamped)
{
    enum : uint32_t
    {
        K = kSeekKeep,
        A = kSeekAbsolute,
        R = kSeekRelative,
        I = kSeekIncremental
    };
    const struct
    {
        int64_t current;
        uint32_t currentFlags;
        int64_t stop;
        uint32_t stopFlags;
        int64_t newCurrent, newStop;
    } cases[] = {
        // from 4 to 7 of ten frames
        {0, K, 0, K, 4, 7},       {2, A, 0, K, 2, 7},       {50, A, 0, K, 9, 9},
        {-1, A, 0, K, 0, 7},      {-2, R, 1, R, 2, 8},      {1, R, -5, R, 5, 5},
        {8, A, 3, A, 8, 8},       {2, A, 3, I, 2, 5},       {2, A, 100, I, 2, 9},
        {2, A, -100, I, 2, 2},    {kMax, R, kMax, R, 9, 9}, {kMin, R, kMin, R, 0, 0},
        {kMax, A, kMin, A, 9, 9}, {kMin, A, kMax, A, 0, 9}, {kMax, A, kMax, I, 9, 9},
        {kMin, A, kMin, I, 0, 0},
    };
    for (const auto& c : cases) {
        FrameTimeline timeline = Clip(10);
        timeline.timeFormat = TimeFormat::frame;
        timeline.currentFrame = 4;
        timeline.stopFrame = 7;
        timeline.nextStart = 123;
        timeline.discontinuityPending = false;
        const bool changed = c.newCurrent != 4 || c.newStop != 7;
        EXPECT_EQ(Seek(&timeline, c.current, c.currentFlags, c.stop, c.stopFlags),
                  changed ? SeekResult::changed : SeekResult::unchanged);
        EXPECT_EQ(timeline.currentFrame, c.newCurrent);
        EXPECT_EQ(timeline.stopFrame, c.newStop);
        EXPECT_EQ(timeline.nextStart, 0);
        EXPECT_TRUE(timeline.positionsSet);
        EXPECT_EQ(timeline.discontinuityPending, c.newCurrent != 4);
    }
}

TEST(FrameSeek, ReturnTimeAnswersInMediaTimeWhateverTheFormat)
{
    for (const TimeFormat format : {TimeFormat::frame, TimeFormat::mediaTime}) {
        FrameTimeline timeline = Clip(10);
        timeline.timeFormat = format;
        int64_t current = format == TimeFormat::frame ? 2 : 600000;  // 1.5 frames
        int64_t stop = 0;
        EXPECT_EQ(SetPositions(&timeline, &current, kSeekAbsolute | kSeekReturnTime, &stop, kSeekKeep),
                  SeekResult::changed);
        EXPECT_EQ(current, 800000);
        EXPECT_EQ(stop, 3600000);
        current = stop = 0;
        EXPECT_EQ(SetPositions(&timeline, nullptr, 0, &stop, kSeekKeep | kSeekReturnTime),
                  SeekResult::unchanged);
        EXPECT_EQ(stop, 3600000);
    }
}

TEST(FrameSeek, RangeOfHostileFrameCountsIsTheFirstFrame)
{
    for (const int64_t count : {int64_t{0}, int64_t{-5}, kMin, int64_t{1}}) {
        FrameTimeline timeline = Clip(count);
        EXPECT_EQ(timeline.stopFrame, 0);
        timeline.timeFormat = TimeFormat::frame;
        Seek(&timeline, 3, kSeekAbsolute, 9, kSeekAbsolute);
        EXPECT_EQ(timeline.currentFrame, 0);
        EXPECT_EQ(timeline.stopFrame, 0);
        EXPECT_EQ(GetDuration(timeline), count > 0 ? 1 : 0);
        SamplePlan plan;
        EXPECT_TRUE(Deliver(&timeline, &plan));
        EXPECT_FALSE(Deliver(&timeline, &plan));
    }
    FrameTimeline timeline = Clip(INT32_MAX);
    EXPECT_EQ(GetDuration(timeline), int64_t{INT32_MAX} * 400000);
    int64_t earliest, latest, current;
    GetAvailable(timeline, &earliest, &latest);
    EXPECT_EQ(latest, (int64_t{INT32_MAX} - 1) * 400000);
    GetPositions(timeline, &current, &latest);
    EXPECT_EQ(current, 0);
}

TEST(SamplePlan, StampsAreExactMultiplesHoweverLongTheClip)
{
    FrameTimeline timeline = Clip(100000);
    ApplyFrameTime(&timeline, true, 33.333);
    ASSERT_TRUE(SetRate(&timeline, 0.7));
    const int64_t duration = 476185;  // 333330 / 0.7
    SamplePlan plan;
    for (int64_t n = 0; n < 100000; ++n) {
        ASSERT_TRUE(Deliver(&timeline, &plan));
        ASSERT_EQ(plan.frame, n);
        ASSERT_EQ(plan.start, n * duration);
        ASSERT_EQ(plan.stop, (n + 1) * duration);
        ASSERT_EQ(plan.discontinuity, n == 0);
    }
    EXPECT_FALSE(Deliver(&timeline, &plan));
}

TEST(SamplePlan, PauseKeepsThePositionAndStopRewinds)
{
    FrameTimeline timeline = Clip(10);
    SamplePlan plan;
    PlanSample(&timeline, &plan);
    CommitSample(&timeline, plan, true);
    EndWorker(&timeline);
    StartWorker(&timeline);
    EXPECT_EQ(timeline.currentFrame, 0);
    PlanSample(&timeline, &plan);
    CommitSample(&timeline, plan, false);
    StartWorker(&timeline);  // no end in between: the position survives
    ASSERT_TRUE(PlanSample(&timeline, &plan));
    EXPECT_EQ(plan.frame, 1);
    EXPECT_EQ(plan.start, 0);
    EXPECT_TRUE(plan.discontinuity);
}

TEST(SamplePlan, SeekDuringDecodingMakesThePlanStale)
{
    FrameTimeline timeline = Clip(10);
    SamplePlan stale, plan;
    Deliver(&timeline, &plan);
    ASSERT_TRUE(PlanSample(&timeline, &stale));
    Seek(&timeline, 8 * 400000, kSeekAbsolute, 0, kSeekKeep);
    EXPECT_FALSE(CommitSample(&timeline, stale, true));
    EXPECT_EQ(timeline.currentFrame, 8);
    ASSERT_TRUE(Deliver(&timeline, &plan));
    EXPECT_EQ(plan.frame, 8);
    EXPECT_EQ(plan.start, 0);
    EXPECT_TRUE(plan.discontinuity);
    ASSERT_TRUE(PlanSample(&timeline, &stale));
    RestartStream(&timeline);
    EXPECT_FALSE(CommitSample(&timeline, stale, true));
    ASSERT_TRUE(PlanSample(&timeline, &plan));
    PutFrameTime(&timeline, 100);  // settings wait for the next sample
    EXPECT_TRUE(CommitSample(&timeline, plan, true));
    EXPECT_TRUE(timeline.rebase);
}

TEST(SamplePlan, FrameDroppingSkipsToTheFrameThatIsDue)
{
    // With base times that arise by themselves no frame is ever due early: all ten are delivered.
    FrameTimeline timeline = Clip(10);
    PutFrameDropping(&timeline, true);
    SamplePlan plan;
    int delivered = 0;
    while (Deliver(&timeline, &plan)) ++delivered;
    EXPECT_EQ(delivered, 10);

    timeline = Clip(100);
    PutFrameDropping(&timeline, true);
    timeline.rebase = false;
    timeline.discontinuityPending = false;
    timeline.currentFrame = 5;
    timeline.baseTime = -800000;
    ASSERT_TRUE(Deliver(&timeline, &plan));
    EXPECT_EQ(plan.frame, 7);  // (5 * 400000 + 800000) / 400000
    EXPECT_EQ(plan.start, 7 * 400000);
    EXPECT_TRUE(plan.discontinuity);

    timeline.baseTime = -350000;  // less than a frame: nothing is dropped
    ASSERT_TRUE(Deliver(&timeline, &plan));
    EXPECT_EQ(plan.frame, 8);
    PutFrameDropping(&timeline, false);
    timeline.rebase = false;
    timeline.baseTime = -800000;
    ASSERT_TRUE(Deliver(&timeline, &plan));
    EXPECT_EQ(plan.frame, 9);
}

/// Random calls with values from the edges and from the ordinary range; the invariants hold after each one.
TEST(TimelineStorm, InvariantsHoldAfterEveryCall)
{
    std::mt19937 random(20260);
    const auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    const auto value = [&]() -> int64_t {
        const int64_t values[] = {kMin, kMax, INT32_MAX, 0, 1, -1, int64_t{below(100)} - 50, below(40000000)};
        return values[below(8)];
    };
    const double reals[] = {1, 2, 0.5, 1e-5, 1e5, 40, 1e300, 0, kNaN, kInfinity};
    for (const int64_t frames : {kMin, int64_t{0}, int64_t{1}, int64_t{30}, int64_t{INT32_MAX}}) {
        FrameTimeline timeline = Clip(frames);
        for (int call = 0; call < 20000; ++call) {
            SCOPED_TRACE(testing::Message() << frames << " frames, call " << call);
            const int64_t before = timeline.currentFrame;
            const bool coin = below(2) != 0;
            SamplePlan plan;
            switch (below(8)) {
                case 0:
                    SetRate(&timeline, reals[below(10)]);
                    break;
                case 1:
                    ApplyFrameTime(&timeline, coin, reals[below(10)]);
                    break;
                case 2:
                    NoteQuality(&timeline, static_cast<int32_t>(value()), value());
                    break;
                case 3:
                    timeline.timeFormat = coin ? TimeFormat::frame : TimeFormat::mediaTime;
                    break;
                case 4:
                    PutSettings(&timeline, {static_cast<int32_t>(value()), coin, below(2) != 0});
                    break;
                case 5:
                    coin ? StartWorker(&timeline) : EndWorker(&timeline);
                    break;
                case 6:
                    if (Seek(&timeline, value(), below(16), value(), below(16)) == SeekResult::badPositioning)
                        break;
                    ASSERT_LE(timeline.currentFrame, timeline.stopFrame);
                    ASSERT_LE(timeline.stopFrame, std::max<int64_t>(frames, 1) - 1);
                    break;
                default:
                    if (!PlanSample(&timeline, &plan)) break;
                    ASSERT_GE(plan.frame, before);
                    ASSERT_LE(plan.frame, timeline.stopFrame);
                    ASSERT_TRUE(plan.stop > plan.start || plan.start == kMax);
                    ASSERT_TRUE(CommitSample(&timeline, plan, coin));
                    ASSERT_EQ(timeline.currentFrame, plan.frame + 1);
            }
            ASSERT_GE(SampleDuration(timeline), 1);
            ASSERT_TRUE(timeline.frameTimeUnits >= 166666 && timeline.frameTimeUnits <= 20000000);
            ASSERT_TRUE(timeline.currentFrame >= 0 && timeline.nextStart >= 0);
        }
    }
}
}  // namespace
}  // namespace talv
