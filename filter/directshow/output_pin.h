#pragma once

#include <dshow.h>

#include "filter/directshow/pin_base.h"

namespace talv {
class DicomReaderFilter;

/// What the two output pins share: connecting.
class OutputPin : public PinBase
{
  public:
    OutputPin(DicomReaderFilter& filter, const wchar_t* name);

    PinBase& Shown() override;
    STDMETHODIMP Connect(IPin* peer, const AM_MEDIA_TYPE* wanted) override;
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

  protected:
    /// A last check before `type` is taken.
    virtual HRESULT CheckBeforeSet(const AM_MEDIA_TYPE&) { return S_OK; }
    /// Agrees on what streaming needs; an error undoes the connection.
    virtual HRESULT CompleteConnect(IPin*) { return S_OK; }
    virtual void BreakConnect() {}

    /// Stores `type` as the connection's after its checks.
    HRESULT SetMediaType(const AM_MEDIA_TYPE& type);

    DicomReaderFilter& filter_;

  private:
    HRESULT TryType(IPin* peer, const AM_MEDIA_TYPE& type);
    HRESULT TryOwnTypes(IPin* peer, const AM_MEDIA_TYPE* wanted);
    HRESULT TryPeerTypes(IPin* peer, const AM_MEDIA_TYPE* wanted);
};
}  // namespace talv
