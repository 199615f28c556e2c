#pragma once

#include <dshow.h>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/media_type.h"

namespace talv {
class GreyDisplayFilter;

/// What the display's two pins share: the questions about a connection. A pin is part of its filter and lives
/// as long; references to it are references to the filter.
///
/// The filter lock guards peer and type. No other component is called while it is held.
class GreyPin : public IPin
{
  public:
    GreyPin(GreyDisplayFilter& filter, const wchar_t* name, PIN_DIRECTION direction)
        : filter_(filter), name_(name), direction_(direction)
    {}
    virtual ~GreyPin() = default;

    const wchar_t* Name() const { return name_; }
    bool IsConnected() const { return static_cast<bool>(Peer()); }
    ComPointer<IPin> Peer() const;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** out) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* out) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* out) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* out) override;
    STDMETHODIMP QueryId(LPWSTR* out) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** out) override;
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }

    /// S_OK when the pin can work with `type`, else an error.
    virtual HRESULT CheckType(const AM_MEDIA_TYPE* type) = 0;

  protected:
    /// Further interfaces of the pin, without a reference.
    virtual IUnknown* FindPinInterface(REFIID iid) = 0;
    /// The one type that the pin names; an error when it can name none.
    virtual HRESULT PreferredType(MediaType* out) = 0;
    virtual void BreakConnect() {}

    /// Null drops the connection.
    HRESULT Keep(IPin* peer, const AM_MEDIA_TYPE* type);

    GreyDisplayFilter& filter_;

  private:
    const wchar_t* const name_;
    const PIN_DIRECTION direction_;
    ComPointer<IPin> peer_;
    MediaType type_;
};
}  // namespace talv
