#include <cmath>
#include <thread>

#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
class SampleStream : public ComponentTest
{};

TEST_F(SampleStream, EveryFrameArrivesOnceUprightAndStamped)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(12).Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    TestGraph graph(filter.Get());
    ASSERT_EQ(graph.connected, S_OK);
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(SUCCEEDED(graph.Run()));
        ASSERT_TRUE(graph.WaitForEnd());
        ASSERT_EQ(graph.Stop(), S_OK);
        const std::vector<RecordedSample> samples = graph.Samples();
        ASSERT_EQ(samples.size(), 12u * (static_cast<size_t>(round) + 1));
        for (int n = 0; n < 12; ++n) {
            const RecordedSample& sample = samples[static_cast<size_t>(12 * round + n)];
            EXPECT_EQ(sample.start, 400000 * n);
            EXPECT_EQ(sample.stop, 400000 * (n + 1));
            EXPECT_EQ(sample.mediaStart, n);
            EXPECT_EQ(sample.mediaStop, n + 1);
            EXPECT_EQ(sample.discontinuity, n == 0);
            EXPECT_TRUE(sample.sync);
            EXPECT_FALSE(sample.preroll);
            EXPECT_EQ(sample.bytes, GreyClipSample(n));
        }
    }
}

TEST_F(SampleStream, OneFrameFileGivesOneSample)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(1).Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    TestGraph graph(filter.Get());
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    ASSERT_TRUE(graph.WaitForEnd());
    const std::vector<RecordedSample> samples = graph.Samples();
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].stop, 400000);
    EXPECT_EQ(samples[0].mediaStop, 1);
}

TEST_F(SampleStream, RunAfterPauseGoesOnWhereItStood)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(15, "20").Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    TestGraph graph(filter.Get());
    graph.UseClock();
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    graph.WaitForSamples(4);
    ASSERT_TRUE(SUCCEEDED(graph.Pause()));
    Sleep(50);
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    ASSERT_TRUE(graph.WaitForEnd());
    const std::vector<RecordedSample> samples = graph.Samples();
    ASSERT_EQ(samples.size(), 15u);
    for (size_t n = 0; n < samples.size(); ++n) EXPECT_EQ(samples[n].mediaStart, static_cast<LONGLONG>(n));
}

TEST_F(SampleStream, SeekWhileRunningRestartsTheStreamAtTheFrame)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(15, "50").Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    TestGraph graph(filter.Get());
    graph.UseClock();
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    graph.WaitForSamples(3);
    LONGLONG position = 12 * 500000;
    const auto seeking = Query<IMediaSeeking>(graph.graph.Get(), IID_IMediaSeeking);
    ASSERT_TRUE(SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
    ASSERT_TRUE(graph.WaitForEnd());
    const std::vector<RecordedSample> samples = graph.Samples();
    ASSERT_GE(samples.size(), 3u + 3u);
    EXPECT_EQ(samples.back().mediaStart, 14);
    EXPECT_EQ(samples.back().bytes, GreyClipSample(14));
    const RecordedSample& first = samples[samples.size() - 3];
    EXPECT_EQ(first.mediaStart, 12);
    EXPECT_EQ(first.start, 0);
    EXPECT_TRUE(first.discontinuity);
}

TEST_F(SampleStream, RateTwoHalvesTheStampsAndImpossibleRatesAreRefused)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(3).Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    const auto seeking = Query<IMediaSeeking>(OnlyPin(filter.Get()).Get(), IID_IMediaSeeking);
    for (const double rate : {0.0, -1.0, 1e-300, 1e300, static_cast<double>(NAN)})
        EXPECT_EQ(seeking->SetRate(rate), E_INVALIDARG);
    EXPECT_EQ(seeking->SetRate(2.0), S_OK);
    TestGraph graph(filter.Get());
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    ASSERT_TRUE(graph.WaitForEnd());
    ASSERT_EQ(graph.Samples().size(), 3u);
    EXPECT_EQ(graph.Samples()[2].start, 400000);
}

// Positions are asked for, changed and played from several threads at once; the graph must come to its end.
TEST_F(SampleStream, SeeksRatesAndStateChangesFromSeveralThreadsDoNotBlock)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const TemporaryFile file = GreyClip(15, "20").Save();
    ASSERT_EQ(LoadPath(filter.Get(), file.Path()), S_OK);
    TestGraph graph(filter.Get());
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    const auto seeking = Query<IMediaSeeking>(OnlyPin(filter.Get()).Get(), IID_IMediaSeeking);
    const auto storm = [](void* context) -> void {
        auto* pin = static_cast<IMediaSeeking*>(context);
        for (int i = 0; i < 40; ++i) {
            LONGLONG position = (i * 7 % 15) * 200000, stop = 0;
            pin->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0);
            pin->GetPositions(&position, &stop);
            if (i % 5 == 0) pin->SetRate(1.0 + i % 2);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) threads.emplace_back(storm, seeking.Get());
    for (int i = 0; i < 5; ++i) {
        graph.Pause();
        graph.Stop();
        graph.Run();
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(graph.Stop(), S_OK);
    LONGLONG begin = 0;
    EXPECT_EQ(seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, nullptr, 0), S_OK);
    const size_t before = graph.Samples().size();
    ASSERT_TRUE(SUCCEEDED(graph.Run()));
    graph.WaitForSamples(before + 1);
    EXPECT_GT(graph.Samples().size(), before);
}

TEST_F(SampleStream, WhatCannotBePlayedIsRefusedAndSaysWhy)
{
    const ComPointer<IBaseFilter> filter = MakeFilter();
    const NoticeCapture notices;
    const TemporaryFile text(ByteVector{'t', 'e', 'x', 't'});
    EXPECT_EQ(LoadPath(filter.Get(), text.Path()), S_FALSE);
    EXPECT_EQ(notices.Text(), "Talv DICOM Reader (2.0) Error: Error loading DICOM file\n");
    const TemporaryFile empty = PreambleFile().ExplicitLittle().Us(0x00280010, 2).Save();
    EXPECT_EQ(LoadPath(filter.Get(), empty.Path()), S_FALSE);
    EXPECT_NE(notices.Text().find("No pixel data available in this Dicom file\n"), std::string::npos);
    EXPECT_EQ(LoadPath(filter.Get(), std::string(259, 'x').insert(0, "C:").c_str()), S_FALSE);
    EXPECT_NE(notices.Text().find("File name exceeds 260 character\n"), std::string::npos);
}
}  // namespace
}  // namespace talv
