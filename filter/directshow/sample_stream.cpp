// The streaming half of the video pin: its worker thread and the fill step.
#include <mutex>

#include "filter/directshow/dicom_output_pin.h"
#include "filter/directshow/reader_filter.h"
#include "filter/directshow/video_type.h"

namespace talv {
namespace {
// A media sample as the frame source fills it.
class MediaSampleBuffer final : public SampleBuffer
{
  public:
    explicit MediaSampleBuffer(IMediaSample* sample) : sample_(sample) {}
    int32_t GetPointer(uint8_t** buffer) override
    {
        *buffer = nullptr;
        const HRESULT hr = sample_->GetPointer(buffer);
        return SUCCEEDED(hr) && *buffer == nullptr ? E_POINTER : hr;
    }
    int64_t GetSize() override { return sample_->GetSize(); }
    int32_t SetActualDataLength(int64_t length) override
    {
        return sample_->SetActualDataLength(static_cast<long>(length));
    }

  private:
    IMediaSample* sample_;
};
}  // namespace

HRESULT DicomOutputPin::Activate()
{
    if (!IsConnected()) return S_OK;
    const HRESULT committed = allocator_->Commit();
    if (FAILED(committed)) return committed;
    const std::lock_guard guard(workerLock_);
    if (worker_.Exists()) return S_OK;
    filter_.ChangeTimeline([&](FrameTimeline* timeline) {
        StartWorker(timeline);
        filter_.source.RecomputeFrameTime();
    });
    if (!worker_.Start(&DicomOutputPin::RunWorker, this)) {
        allocator_->Decommit();
        return E_OUTOFMEMORY;
    }
    worker_.Send(WorkerCommand::pause);
    return S_OK;
}

void DicomOutputPin::Deactivate()
{
    if (!allocator_) return;
    allocator_->Decommit();  // a worker that waits for a sample gets none
    const std::lock_guard guard(workerLock_);
    if (!worker_.Exists()) return;
    worker_.Join();
    filter_.source.ForgetLastFrame();
    const std::lock_guard seeking(filter_.seekingLock);
    EndWorker(&filter_.timeline);
}

bool DicomOutputPin::IsActive()
{
    const std::lock_guard guard(workerLock_);
    return worker_.Exists();
}

// Throws away what is under way and goes on from the timeline's new position. While one restart runs, others
// only mark the timeline: its worker plans each sample anew, so the last request wins.
void DicomOutputPin::RestartStream()
{
    {
        const std::lock_guard seeking(filter_.seekingLock);
        talv::RestartStream(&filter_.timeline);
    }
    if (worker_.IsCurrent()) return;  // asked from downstream's Receive: the next sample is the new one
    if (filter_.State() == State_Stopped || !IsActive()) return;
    if (restarting_.exchange(true)) return;
    const ComPointer<IPin> peer = Peer();
    if (peer) peer->BeginFlush();
    {
        const std::lock_guard guard(workerLock_);
        worker_.Send(WorkerCommand::stop);
    }
    if (peer) peer->EndFlush();
    {
        const std::lock_guard guard(workerLock_);
        worker_.Send(WorkerCommand::pause);
    }
    restarting_.store(false);
}

void DicomOutputPin::RunWorker(void* pin)
{
    Guarded([&] {
        static_cast<DicomOutputPin*>(pin)->ObeyCommands();
        return S_OK;
    });
}

void DicomOutputPin::ObeyCommands()
{
    for (;;) {
        switch (worker_.Wait()) {
            case WorkerCommand::exit:
                return;
            case WorkerCommand::pause: {
                const HRESULT hr = Guarded([&] { return ProduceSamples(); });
                if (FAILED(hr)) filter_.NotifyGraph(EC_ERRORABORT, hr, 0);
                break;
            }
            default:
                break;  // idle until told otherwise
        }
    }
}

// Until a command comes, the stream ends or downstream wants no more. An error ends the stream too.
HRESULT DicomOutputPin::ProduceSamples()
{
    while (!worker_.Pending()) {
        ComPointer<IMediaSample> sample;
        if (FAILED(allocator_->GetBuffer(sample.Out(), nullptr, nullptr, 0)) || !sample) {
            worker_.Pending(1);  // flushing or decommitted: a command is on its way
            continue;
        }
        HRESULT hr = Guarded([&] {
            const HRESULT changed = TakeFormatChange(sample.Get());
            return SUCCEEDED(changed) ? FillSample(sample.Get()) : changed;
        });
        if (hr == E_ABORT) continue;  // a command came while the frame was decoded
        if (hr != S_OK) {
            sample.Reset();
            if (const ComPointer<IPin> peer = Peer()) peer->EndOfStream();
            return hr;
        }
        // A graph may start this filter before the ones downstream (Wine's does). The sample then waits until
        // they are ready; a worker that ended here would leave the graph without a picture and without an
        // end.
        hr = input_->Receive(sample.Get());
        while (hr == VFW_E_WRONG_STATE && !worker_.Pending(2)) hr = input_->Receive(sample.Get());
        if (hr != S_OK) return S_OK;
    }
    return S_OK;
}

// Downstream may hand over a sample with another type of the same picture.
HRESULT DicomOutputPin::TakeFormatChange(IMediaSample* sample)
{
    AM_MEDIA_TYPE* changed = nullptr;
    if (sample->GetMediaType(&changed) != S_OK || changed == nullptr) return S_OK;
    HRESULT hr = CheckMediaType(changed);
    if (SUCCEEDED(hr)) hr = SetMediaType(*changed);
    DeleteMediaType(changed);
    return hr;
}

// S_FALSE at the end of the stream; E_ABORT when a command makes the sample worthless.
HRESULT DicomOutputPin::FillSample(IMediaSample* sample)
{
    if (filter_.source.isMpeg2Stream) return S_OK;
    const DefaultArithmetic arithmetic;  // downstream may have left this thread changed
    SamplePlan plan;
    bool committed = false;
    do {
        if (worker_.Pending()) return E_ABORT;
        {
            const std::lock_guard guard(filter_.seekingLock);
            if (!PlanSample(&filter_.timeline, &plan)) return S_FALSE;
        }
        MediaSampleBuffer buffer(sample);
        const int32_t filled = filter_.source.ReadFrameIntoSample(&buffer, plan.frame);
        if (filled < 0) return filled;
        const std::lock_guard guard(filter_.seekingLock);
        committed = CommitSample(&filter_.timeline, plan, filter_.State() == State_Running);
    } while (!committed);

    LONGLONG mediaStart = plan.frame, mediaStop = plan.frame + 1;
    sample->SetTime(&plan.start, &plan.stop);
    sample->SetMediaTime(&mediaStart, &mediaStop);
    sample->SetDiscontinuity(plan.discontinuity);
    sample->SetPreroll(FALSE);
    sample->SetSyncPoint(TRUE);
    return S_OK;
}
}  // namespace talv
