#pragma once

#include <dshow.h>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/media_type.h"
#include "platform/lock.h"

namespace talv {
/// What every pin answers about itself and its connection. A pin is part of its filter and lives as long;
/// references to it are references to the filter.
///
/// The filter lock guards `peer_` and `connectedType_`. No other component is called while it is held.
class PinBase : public IPin
{
  public:
    PinBase(IBaseFilter& filter, Lock& filterLock, const wchar_t* name, PIN_DIRECTION direction)
        : owner_(filter), lock_(filterLock), name_(name), direction_(direction)
    {}
    virtual ~PinBase() = default;

    const wchar_t* Name() const { return name_; }
    /// The pin that the filter shows in this one's place; itself unless a load changed that.
    virtual PinBase& Shown() { return *this; }
    bool IsConnected() const;
    ComPointer<IPin> Peer() const;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }

    STDMETHODIMP ConnectedTo(IPin** out) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* out) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* out) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* out) override;
    STDMETHODIMP QueryId(LPWSTR* out) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** out) override;
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }

    /// The type offered at `position`; not S_OK past the last. Takes the filter lock.
    virtual HRESULT GetMediaType(int position, MediaType* out) = 0;
    /// S_OK when the pin could stream `type`, else an error. Takes the filter lock.
    virtual HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) = 0;

  protected:
    /// Further interfaces of the pin, without a reference.
    virtual IUnknown* FindPinInterface(REFIID iid) = 0;

    /// The connection's type; the peer stays.
    HRESULT KeepType(const AM_MEDIA_TYPE& type);
    /// False when there is a peer already.
    bool TakePeer(IPin* peer);
    /// Drops peer and type.
    void DropPeer();

  private:
    IBaseFilter& owner_;
    Lock& lock_;
    const wchar_t* const name_;
    const PIN_DIRECTION direction_;
    ComPointer<IPin> peer_;
    MediaType connectedType_;
};
}  // namespace talv
