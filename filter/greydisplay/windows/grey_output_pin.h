#pragma once

#include "filter/greydisplay/rgb_form.h"
#include "filter/greydisplay/windows/grey_pin.h"

namespace talv {
/// Hands out pictures of RGB32. Seeking goes through to the source by the system's own pass-through; quality
/// messages go there too.
class GreyOutputPin final : public GreyPin, public IQualityControl
{
  public:
    explicit GreyOutputPin(GreyDisplayFilter& filter);
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return GreyPin::QueryInterface(iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return GreyPin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return GreyPin::Release(); }

    /// Makes the seeking interfaces, which ask the peer of `input`. Without them the pin cannot seek.
    void MakeSeeking(IPin* input);
    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    HRESULT Activate();
    void Inactivate();
    bool DownstreamCanBlock() const;
    /// A sample to fill, and how its picture lies; downstream may have changed that with it.
    HRESULT NextSample(IMediaSample** out, RgbForm* form);
    HRESULT Deliver(IMediaSample* sample) { return input_->Receive(sample); }

    // IPin
    STDMETHODIMP Connect(IPin* peer, const AM_MEDIA_TYPE* wanted) override;
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_UNEXPECTED; }
    // IQualityControl
    STDMETHODIMP Notify(IBaseFilter* sender, Quality quality) override;
    STDMETHODIMP SetSink(IQualityControl*) override { return E_NOTIMPL; }

  private:
    IUnknown* FindPinInterface(REFIID iid) override;
    HRESULT PreferredType(MediaType* out) override;
    void BreakConnect() override;
    HRESULT ReadForm(const AM_MEDIA_TYPE& type, RgbForm* form) const;
    HRESULT TakeFormatChange(IMediaSample* sample);
    HRESULT TryType(IPin* peer, const AM_MEDIA_TYPE& type);
    HRESULT TryPeerTypes(IPin* peer, const AM_MEDIA_TYPE* wanted);
    HRESULT CompleteConnect(IPin* peer);
    HRESULT TryAllocator(IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted);

    // Set while connecting or disconnecting, when nothing streams; so the stream reads them without a lock.
    ComPointer<IMemInputPin> input_;
    ComPointer<IMemAllocator> allocator_;
    RgbForm form_;                  ///< the stream's own while it runs
    ComPointer<IUnknown> seeking_;  ///< aggregated: its references are the filter's
};
}  // namespace talv
