#include "tests/directshow/fake_downstream.h"

#include <algorithm>

namespace talv {
namespace {
// A sample without memory; everything else is the real one's.
class PointerlessSample final : public IMediaSample
{
  public:
    explicit PointerlessSample(IMediaSample* real) { *real_.Out() = real; }
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        const bool known = iid == IID_IUnknown || iid == IID_IMediaSample;
        *out = known ? this : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++count_; }
    STDMETHODIMP_(ULONG) Release() override
    {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }
    STDMETHODIMP GetPointer(BYTE** out) override
    {
        *out = nullptr;
        return S_OK;
    }
    STDMETHODIMP_(LONG) GetSize() override { return real_->GetSize(); }
    STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override
    {
        return real_->GetTime(start, stop);
    }
    STDMETHODIMP SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override
    {
        return real_->SetTime(start, stop);
    }
    STDMETHODIMP IsSyncPoint() override { return real_->IsSyncPoint(); }
    STDMETHODIMP SetSyncPoint(BOOL on) override { return real_->SetSyncPoint(on); }
    STDMETHODIMP IsPreroll() override { return real_->IsPreroll(); }
    STDMETHODIMP SetPreroll(BOOL on) override { return real_->SetPreroll(on); }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return real_->GetActualDataLength(); }
    STDMETHODIMP SetActualDataLength(LONG length) override { return real_->SetActualDataLength(length); }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** out) override { return real_->GetMediaType(out); }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* type) override { return real_->SetMediaType(type); }
    STDMETHODIMP IsDiscontinuity() override { return real_->IsDiscontinuity(); }
    STDMETHODIMP SetDiscontinuity(BOOL on) override { return real_->SetDiscontinuity(on); }
    STDMETHODIMP GetMediaTime(LONGLONG* start, LONGLONG* stop) override
    {
        return real_->GetMediaTime(start, stop);
    }
    STDMETHODIMP SetMediaTime(LONGLONG* start, LONGLONG* stop) override
    {
        return real_->SetMediaTime(start, stop);
    }

  private:
    ~PointerlessSample() = default;

    ComPointer<IMediaSample> real_;
    std::atomic<ULONG> count_{1};
};

template <class Condition>
bool Await(Condition condition, int milliseconds)
{
    for (int i = 0; i < milliseconds / 2 && !condition(); ++i) Sleep(2);
    return condition();
}
}  // namespace

FakeAllocator::FakeAllocator()
{
    CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                     real_.OutVoid());
}

STDMETHODIMP FakeAllocator::QueryInterface(REFIID iid, void** out)
{
    const bool known = iid == IID_IUnknown || iid == IID_IMemAllocator;
    *out = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP FakeAllocator::SetProperties(ALLOCATOR_PROPERTIES* wanted, ALLOCATOR_PROPERTIES* actual)
{
    ALLOCATOR_PROPERTIES given = *wanted;
    given.cbBuffer = std::min(given.cbBuffer, largest);
    const HRESULT hr = real_->SetProperties(&given, actual);
    if (!honest) actual->cbBuffer = wanted->cbBuffer;
    return hr;
}

STDMETHODIMP FakeAllocator::GetBuffer(IMediaSample** out, REFERENCE_TIME*, REFERENCE_TIME*, DWORD flags)
{
    const HRESULT hr = real_->GetBuffer(out, nullptr, nullptr, flags);
    if (FAILED(hr)) return hr;
    if (handedOut_++ == changeAt && changedType.Get().cbFormat != 0) (*out)->SetMediaType(&changedType.Get());
    if (nullPointers) *out = new PointerlessSample(*out);
    return hr;
}

STDMETHODIMP FakePin::QueryInterface(REFIID iid, void** out)
{
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IPin) *out = static_cast<IPin*>(this);
    if (iid == IID_IMemInputPin) *out = static_cast<IMemInputPin*>(this);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP FakePin::QueryDirection(PIN_DIRECTION* out)
{
    *out = PINDIR_INPUT;
    return S_OK;
}

STDMETHODIMP FakePin::EndOfStream()
{
    ++ends;
    return S_OK;
}

STDMETHODIMP FakePin::BeginFlush()
{
    flushing_ = true;
    ++flushes;
    Sleep(msPerFlush);
    return S_OK;
}

STDMETHODIMP FakePin::EndFlush()
{
    flushing_ = false;
    return S_OK;
}

STDMETHODIMP FakePin::GetAllocator(IMemAllocator** out)
{
    *out = allocator;
    if (allocator == nullptr) return VFW_E_NO_ALLOCATOR;
    allocator->AddRef();
    return S_OK;
}

STDMETHODIMP FakePin::NotifyAllocator(IMemAllocator* agreed, BOOL)
{
    chosen = agreed;
    return S_OK;
}

STDMETHODIMP FakePin::Receive(IMediaSample* sample)
{
    if (flushing_) return S_FALSE;
    if (notReady > 0) {
        --notReady;
        return VFW_E_WRONG_STATE;
    }
    {
        RecordedSample record = Record(sample);
        const std::lock_guard guard(mutex_);
        samples_.push_back(std::move(record));
    }
    if (onSample) onSample();
    for (DWORD held = 0; held < msPerSample && !flushing_; ++held) Sleep(1);
    return answer;
}

bool FakePin::WaitForEnd() const
{
    return Await([&] { return ends > 0; }, 5000);
}

std::vector<RecordedSample> FakePin::Samples() const
{
    const std::lock_guard guard(mutex_);
    return samples_;
}
}  // namespace talv
