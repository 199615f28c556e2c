#pragma once

#include <atomic>

#include "filter/greydisplay/windows/grey_pin.h"

namespace talv {
/// Takes grey-scale samples. Calls that belong to the stream come on the source's thread and go on
/// downstream.
class GreyInputPin final : public GreyPin, public IMemInputPin
{
  public:
    explicit GreyInputPin(GreyDisplayFilter& filter);
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return GreyPin::QueryInterface(iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return GreyPin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return GreyPin::Release(); }

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    /// Frees a source that waits for a sample; when the filter stops.
    void Inactivate();

    // IPin
    STDMETHODIMP Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    // IMemInputPin
    STDMETHODIMP GetAllocator(IMemAllocator** out) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    STDMETHODIMP ReceiveCanBlock() override;

  private:
    IUnknown* FindPinInterface(REFIID iid) override;
    HRESULT PreferredType(MediaType* out) override;
    void BreakConnect() override;
    /// The samples' common source; under the filter lock.
    ComPointer<IMemAllocator> allocator_;
    std::atomic<bool> flushing_{false};
};
}  // namespace talv
