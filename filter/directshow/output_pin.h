#pragma once

#include <dshow.h>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/media_type.h"

namespace talv {
class DicomReaderFilter;

/// What the two output pins share: connecting, and the questions about the connection. A pin is part of its
/// filter and lives as long; references to it are references to the filter.
///
/// The filter lock guards `peer_` and `connectedType_`. No other component is called while it is held.
class OutputPin : public IPin
{
  public:
    OutputPin(DicomReaderFilter& filter, const wchar_t* name) : filter_(filter), name_(name) {}
    virtual ~OutputPin() = default;

    const wchar_t* Name() const { return name_; }
    bool IsConnected() const;
    ComPointer<IPin> Peer() const;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Connect(IPin* peer, const AM_MEDIA_TYPE* wanted) override;
    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** out) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* out) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* out) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* out) override;
    STDMETHODIMP QueryId(LPWSTR* out) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** out) override;
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EndOfStream() override { return E_UNEXPECTED; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    /// The type offered at `position`; VFW_S_NO_MORE_ITEMS past the last. Takes the filter lock.
    virtual HRESULT GetMediaType(int position, MediaType* out) = 0;
    /// S_OK when the pin could stream `type`, else an error. Takes the filter lock.
    virtual HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) = 0;

  protected:
    /// Further interfaces of the pin, without a reference.
    virtual IUnknown* FindPinInterface(REFIID iid) = 0;
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
    void DropPeer();

    const wchar_t* const name_;
    ComPointer<IPin> peer_;
    MediaType connectedType_;
};
}  // namespace talv
