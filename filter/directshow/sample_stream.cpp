// The streaming half of the video pin: its worker thread and the fill step.
#include <mutex>
#include <utility>

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

bool DicomOutputPin::LeaveEndToWorker()
{
    if (!worker_.IsCurrent()) return false;
    endsFilter_ = true;
    Deactivate();
    return true;
}

bool DicomOutputPin::IsActive()
{
    const std::lock_guard guard(workerLock_);
    return worker_.Exists();
}

// Call it with the seeking lock held, in one step with the change that the stream is to restart from: no
// sample of the new position is planned before the flush is over, which would lose it. True when the caller
// is to call RestartStream once the lock is free. While one restart runs, others only move the timeline, so
// the last request wins.
bool DicomOutputPin::MarkRestart()
{
    talv::RestartStream(&filter_.timeline);
    if (worker_.IsCurrent()) return false;  // asked from downstream's Receive: the next sample is the new one
    return !std::exchange(restarting_, true);
}

// Throws away what is under way and goes on from the timeline's new position.
void DicomOutputPin::RestartStream()
{
    const bool active = IsActive();
    const ComPointer<IPin> peer = active ? Peer() : ComPointer<IPin>();
    if (peer) peer->BeginFlush();
    if (active) {
        const std::lock_guard guard(workerLock_);
        worker_.Send(WorkerCommand::stop);
    }
    if (peer) peer->EndFlush();
    // Another restart may begin as soon as the mark is gone; its stop comes after this pause.
    const std::lock_guard guard(workerLock_);
    filter_.ChangeTimeline([&](FrameTimeline*) { restarting_ = false; });
    if (active) worker_.Send(WorkerCommand::pause);
}

void DicomOutputPin::RunWorker(void* context)
{
    auto* pin = static_cast<DicomOutputPin*>(context);
    Guarded([&] {
        pin->ObeyCommands();
        return S_OK;
    });
    if (pin->endsFilter_) pin->filter_.EndByWorker();
}

void DicomOutputPin::ObeyCommands()
{
    for (;;) {
        switch (worker_.Wait()) {
            case WorkerCommand::exit:
                return;
            case WorkerCommand::pause: {
                const HRESULT hr = Guarded([&] { return ProduceSamples(); });
                if (FAILED(hr) && !endsFilter_) filter_.NotifyGraph(EC_ERRORABORT, hr, 0);
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
    // Its own references: downstream may stop the filter from here, and another thread disconnect it then.
    const ComPointer<IMemInputPin> input(input_);
    const ComPointer<IMemAllocator> allocator(allocator_);
    while (!worker_.Pending()) {
        ComPointer<IMediaSample> sample;
        if (FAILED(allocator->GetBuffer(sample.Out(), nullptr, nullptr, 0)) || !sample) {
            worker_.Pending(1);  // flushing or decommitted: a command is on its way
            continue;
        }
        HRESULT hr = Guarded([&] {
            const HRESULT changed = TakeFormatChange(sample.Get());
            return SUCCEEDED(changed) ? FillSample(sample.Get()) : changed;
        });
        if (hr == E_ABORT) {  // a command came while the frame was decoded, or is about to
            worker_.Pending(1);
            continue;
        }
        if (hr != S_OK) {
            sample.Reset();
            if (const ComPointer<IPin> peer = Peer()) peer->EndOfStream();
            return hr;
        }
        // A graph may start this filter before the ones downstream (Wine's does). The sample then waits until
        // they are ready; a worker that ended here would leave the graph without a picture and without an
        // end.
        hr = input->Receive(sample.Get());
        while (hr == VFW_E_WRONG_STATE && !worker_.Pending(2)) hr = input->Receive(sample.Get());
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

// S_FALSE at the end of the stream; E_ABORT when a command or a restart makes the sample worthless.
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
            if (restarting_) return E_ABORT;
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
