#include "sample_monitor.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace talv {
namespace {
// FNV-1a with 64 bits.
uint64_t HashBytes(const uint8_t* bytes, size_t count)
{
    uint64_t hash = 0xCBF29CE484222325u;
    for (size_t i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 0x100000001B3u;
    return hash;
}

int64_t NanosecondsNow()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
}  // namespace

void SampleMonitor::TakeType(const AM_MEDIA_TYPE& type)
{
    format_.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    type_ = type;
    type_.pUnk = nullptr;
    type_.pbFormat = format_.data();
}

STDMETHODIMP SampleMonitor::QueryInterface(REFIID iid, void** out)
{
    if (out == nullptr) return E_POINTER;
    const bool known = iid == IID_IUnknown || iid == kSampleGrabberCallbackInterface;
    *out = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP SampleMonitor::SampleCB(double, IMediaSample* sample)
{
    BYTE* bytes = nullptr;
    if (FAILED(sample->GetPointer(&bytes))) return S_OK;
    const long length = sample->GetActualDataLength();
    LONGLONG mediaStart = 0, mediaStop = 0;
    const bool counted = sample->GetMediaTime(&mediaStart, &mediaStop) == S_OK;
    {
        const std::lock_guard guard(mutex_);
        if (log_) Log(sample, bytes, length);
        if (counted && mediaStart > expected_) dropped_ += mediaStart - expected_;
        expected_ = mediaStop;
        lastFrame_ = counted ? mediaStart : NumberByTime(sample);
        ++frames_;
        rate_.Add(NanosecondsNow());
        last_.assign(bytes, bytes + length);
    }
    if (window_ != nullptr && !noticed_.exchange(true)) PostMessageW(window_, kFrameArrived, 0, 0);
    return S_OK;
}

void SampleMonitor::Log(IMediaSample* sample, const uint8_t* bytes, long length) const
{
    REFERENCE_TIME start = -1, stop = -1;
    LONGLONG mediaStart = -1, mediaStop = -1;
    sample->GetTime(&start, &stop);
    sample->GetMediaTime(&mediaStart, &mediaStop);
    std::printf("sample %" PRId64 " start %" PRId64 " stop %" PRId64 " media %" PRId64 " %" PRId64
                " length %ld flags %c%c%c fnv %016" PRIx64 "\n",
                frames_, static_cast<int64_t>(start), static_cast<int64_t>(stop),
                static_cast<int64_t>(mediaStart), static_cast<int64_t>(mediaStop), length,
                sample->IsDiscontinuity() == S_OK ? 'd' : '-', sample->IsSyncPoint() == S_OK ? 's' : '-',
                sample->IsPreroll() == S_OK ? 'p' : '-', HashBytes(bytes, static_cast<size_t>(length)));
}

// Decoders of the system do not count frames; their number follows from the time.
int64_t SampleMonitor::NumberByTime(IMediaSample* sample) const
{
    REFERENCE_TIME start = 0, stop = 0;
    const auto& header = *reinterpret_cast<const VIDEOINFOHEADER*>(type_.pbFormat);
    if (header.AvgTimePerFrame <= 0 || FAILED(sample->GetTime(&start, &stop))) return frames_;
    return (start + header.AvgTimePerFrame / 2) / header.AvgTimePerFrame;
}

int64_t SampleMonitor::LastFrame() const
{
    const std::lock_guard guard(mutex_);
    return lastFrame_;
}

double SampleMonitor::Rate() const
{
    const std::lock_guard guard(mutex_);
    return rate_.PerSecond();
}

void SampleMonitor::ResetRate()
{
    const std::lock_guard guard(mutex_);
    rate_.Reset();
}

int64_t SampleMonitor::Frames() const
{
    const std::lock_guard guard(mutex_);
    return frames_;
}

int64_t SampleMonitor::Dropped() const
{
    const std::lock_guard guard(mutex_);
    return dropped_;
}

bool SampleMonitor::LastPicture(FramePicture* picture) const
{
    const std::lock_guard guard(mutex_);
    return frames_ > 0 && MakePicture(type_, last_.data(), last_.size(), picture);
}
}  // namespace talv
