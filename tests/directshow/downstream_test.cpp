// The video pin against a downstream pin that misbehaves in every way that one may.
#include <memory>
#include <thread>

#include "tests/directshow/fake_downstream.h"

namespace talv {
namespace {
class Downstream : public ComponentTest
{
  protected:
    void SetUp() override
    {
        ComponentTest::SetUp();
        allocator_ = std::make_unique<FakeAllocator>();
        filter_ = MakeFilter();
        ASSERT_EQ(LoadPath(filter_.Get(), file_.Path()), S_OK);
        output_ = OnlyPin(filter_.Get());
    }
    void TearDown() override
    {
        filter_->Stop();
        output_->Disconnect();
        output_.Reset();
        filter_.Reset();
        EXPECT_EQ(input_.References(), 1u);
        EXPECT_EQ(allocator_->References(), 1u);
        allocator_.reset();
        ComponentTest::TearDown();
    }
    HRESULT Connect(bool withAllocator)
    {
        if (withAllocator) input_.allocator = allocator_.get();
        return output_->Connect(&input_, nullptr);
    }
    // Plays to the end and checks that every frame was taken once.
    void ExpectWholeClip()
    {
        ASSERT_EQ(filter_->Run(0), S_OK);
        ASSERT_TRUE(input_.WaitForEnd());
        const std::vector<RecordedSample> samples = input_.Samples();
        ASSERT_EQ(samples.size(), 5u);
        for (int n = 0; n < 5; ++n) {
            EXPECT_EQ(samples[static_cast<size_t>(n)].mediaStart, n);
            EXPECT_EQ(samples[static_cast<size_t>(n)].bytes, GreyClipSample(n));
        }
        EXPECT_EQ(input_.ends, 1);
    }

    const TemporaryFile file_ = GreyClip(5).Save();
    ComPointer<IBaseFilter> filter_;
    ComPointer<IPin> output_;
    FakePin input_;
    std::unique_ptr<FakeAllocator> allocator_;
};

TEST_F(Downstream, ASampleRefusedBeforeDownstreamIsReadyIsDeliveredLater)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.notReady = 3;
    ExpectWholeClip();
}

TEST_F(Downstream, StoppingWhileDownstreamIsNeverReadyEnds)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.notReady = 1 << 30;
    ASSERT_EQ(filter_->Run(0), S_OK);
    Sleep(20);
    EXPECT_EQ(filter_->Stop(), S_OK);
    EXPECT_TRUE(input_.Samples().empty());
    EXPECT_EQ(input_.ends, 0);
}

TEST_F(Downstream, ARefusedSampleEndsTheDelivery)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.answer = S_FALSE;
    ASSERT_EQ(filter_->Run(0), S_OK);
    Sleep(50);
    EXPECT_EQ(filter_->Stop(), S_OK);
    EXPECT_EQ(input_.Samples().size(), 1u);
}

TEST_F(Downstream, ItsAllocatorIsUsedWhenItsBuffersHoldAFrame)
{
    ASSERT_EQ(Connect(true), S_OK);
    EXPECT_EQ(input_.chosen, allocator_.get());
    ExpectWholeClip();
}

TEST_F(Downstream, AnAllocatorWithSmallerBuffersIsPassedOver)
{
    allocator_->largest = 7;
    ASSERT_EQ(Connect(true), S_OK);
    EXPECT_NE(input_.chosen, allocator_.get());
    ExpectWholeClip();
}

// The announced length never exceeds the buffer, whatever the allocator promised.
TEST_F(Downstream, ABufferSmallerThanPromisedIsFilledAsFarAsItGoes)
{
    allocator_->largest = 6;
    allocator_->honest = false;
    ASSERT_EQ(Connect(true), S_OK);
    ASSERT_EQ(input_.chosen, allocator_.get());
    ASSERT_EQ(filter_->Run(0), S_OK);
    ASSERT_TRUE(input_.WaitForEnd());
    ASSERT_EQ(input_.Samples().size(), 5u);
    for (const RecordedSample& sample : input_.Samples()) EXPECT_EQ(sample.bytes, ByteVector(6, 0));
}

TEST_F(Downstream, ASampleWithoutMemoryEndsTheStream)
{
    allocator_->nullPointers = true;
    ASSERT_EQ(Connect(true), S_OK);
    ASSERT_EQ(filter_->Run(0), S_OK);
    ASSERT_TRUE(input_.WaitForEnd());
    EXPECT_TRUE(input_.Samples().empty());
}

// A sample may carry another type of the same picture; from then on it is the connection's.
TEST_F(Downstream, ATypeOnASampleBecomesTheConnectionsOrEndsTheStream)
{
    AM_MEDIA_TYPE type = {};
    for (const LONG height : {2, -2}) {
        ASSERT_EQ(Connect(true), S_OK);
        ASSERT_EQ(output_->ConnectionMediaType(&type), S_OK);
        allocator_->changedType.CopyFrom(type);
        FreeMediaType(&type);
        auto* changed = reinterpret_cast<VIDEOINFO*>(allocator_->changedType.Get().pbFormat);
        changed->AvgTimePerFrame = 123456;
        changed->bmiHeader.biHeight = height;
        const size_t before = input_.Samples().size();
        allocator_->changeAt = height > 0 ? 2 : 7;
        ASSERT_EQ(filter_->Run(0), S_OK);
        ASSERT_TRUE(input_.WaitForEnd());
        EXPECT_EQ(filter_->Stop(), S_OK);
        EXPECT_EQ(input_.Samples().size() - before, height > 0 ? 5u : 1u);
        ASSERT_EQ(output_->ConnectionMediaType(&type), S_OK);
        EXPECT_EQ(reinterpret_cast<VIDEOINFO*>(type.pbFormat)->AvgTimePerFrame, height > 0 ? 123456 : 400000);
        FreeMediaType(&type);
        EXPECT_EQ(output_->Disconnect(), S_OK);
        input_.ends = 0;
    }
}

// A seek flushes: the sample that downstream holds is let go, and the new position follows once the flush is
// over, however long that takes.
TEST_F(Downstream, ASeekFreesAWorkerThatDownstreamHolds)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.msPerSample = 60'000;
    input_.msPerFlush = 50;
    ASSERT_EQ(filter_->Run(0), S_OK);
    while (input_.Samples().empty()) Sleep(1);
    const auto seeking = Query<IMediaSeeking>(output_.Get(), IID_IMediaSeeking);
    LONGLONG position = 3 * 400000;
    EXPECT_EQ(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0), S_OK);
    while (input_.Samples().size() < 2) Sleep(1);
    EXPECT_EQ(input_.Samples().back().mediaStart, 3);
    // Held again, with frame 4 as the next one.
    position = 2 * 400000;
    EXPECT_EQ(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0), S_OK);
    input_.msPerSample = 0;
    ASSERT_TRUE(input_.WaitForEnd());
    EXPECT_EQ(input_.flushes, 2);
    const std::vector<RecordedSample> samples = input_.Samples();
    ASSERT_GE(samples.size(), 3u);
    const RecordedSample& after = samples[samples.size() - 3];
    EXPECT_EQ(after.mediaStart, 2);
    EXPECT_EQ(after.start, 0);
    EXPECT_TRUE(after.discontinuity);
}

// Without the flush the worker goes on: what downstream holds stays, and the new position follows it.
TEST_F(Downstream, ASeekWithoutAFlushChangesWhatComesNext)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.msPerSample = 50;
    ASSERT_EQ(filter_->Run(0), S_OK);
    while (input_.Samples().empty()) Sleep(1);
    const auto seeking = Query<IMediaSeeking>(output_.Get(), IID_IMediaSeeking);
    LONGLONG position = 3;
    EXPECT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(
        seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning | AM_SEEKING_NoFlush, nullptr, 0),
        S_OK);
    ASSERT_TRUE(input_.WaitForEnd());
    const std::vector<RecordedSample> samples = input_.Samples();
    ASSERT_GE(samples.size(), 3u);
    const RecordedSample& next = samples[samples.size() - 2];
    EXPECT_EQ(next.mediaStart, 3);
    EXPECT_EQ(next.start, 0);
    EXPECT_TRUE(next.discontinuity);
    EXPECT_EQ(input_.flushes, 0);
}

// A host may stop the filter from where it takes the samples.
TEST_F(Downstream, ItMayStopTheFilterOnTheWorkersThread)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.onSample = [&] { EXPECT_EQ(filter_->Stop(), S_OK); };
    for (size_t round = 1; round <= 3; ++round) {
        ASSERT_EQ(filter_->Run(0), S_OK);
        while (input_.Samples().size() < round) Sleep(1);
        Sleep(20);
        EXPECT_EQ(input_.Samples().size(), round);
        EXPECT_EQ(filter_->Stop(), S_OK);
    }
    input_.onSample = nullptr;
    const size_t before = input_.Samples().size();
    ASSERT_EQ(filter_->Run(0), S_OK);
    ASSERT_TRUE(input_.WaitForEnd());
    EXPECT_EQ(input_.Samples().size() - before, 5u);
}

TEST_F(Downstream, SeekRateAndStopStormsWhileItStreamsNeverBlock)
{
    ASSERT_EQ(Connect(false), S_OK);
    input_.msPerSample = 1;
    const auto seeking = Query<IMediaSeeking>(output_.Get(), IID_IMediaSeeking);
    std::atomic<bool> over{false};
    std::atomic<int> seeks{0};
    std::thread storm([&] {
        for (int i = 0; !over; ++i, ++seeks) {
            LONGLONG position = (i * 3 % 5) * 400000, stop = 4 * 400000;
            seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, &stop,
                                  AM_SEEKING_AbsolutePositioning);
            seeking->SetRate(1.0 + i % 3);
            seeking->GetPositions(&position, &stop);
            Sleep(1);
        }
    });
    // Until both have happened, however busy the machine is.
    for (int i = 0; i < 100 || (i < 20'000 && (seeks <= 20 || input_.Samples().empty())); ++i) {
        EXPECT_EQ(filter_->Run(0), S_OK);
        if (i % 3 == 0) Sleep(3);
        if (i % 2 == 0) {
            EXPECT_EQ(filter_->Pause(), S_OK);
        }
        EXPECT_EQ(filter_->Stop(), S_OK);
    }
    over = true;
    storm.join();
    EXPECT_GT(seeks, 20);
    EXPECT_FALSE(input_.Samples().empty());
    LONGLONG begin = 0, end = 4 * 400000;
    seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, &end, AM_SEEKING_AbsolutePositioning);
    const size_t before = input_.Samples().size();
    input_.ends = 0;
    ASSERT_EQ(filter_->Run(0), S_OK);
    ASSERT_TRUE(input_.WaitForEnd());
    EXPECT_EQ(input_.Samples().size() - before, 5u);
}
}  // namespace
}  // namespace talv
