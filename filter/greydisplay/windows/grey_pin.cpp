#include "filter/greydisplay/windows/grey_pin.h"

#include <mutex>

#include "filter/directshow/enumerator.h"
#include "filter/directshow/task_text.h"
#include "filter/greydisplay/windows/grey_display_filter.h"

namespace talv {
STDMETHODIMP GreyPin::QueryInterface(REFIID iid, void** out)
{
    if (out == nullptr) return E_POINTER;
    IUnknown* found =
        iid == IID_IUnknown || iid == IID_IPin ? static_cast<IPin*>(this) : FindPinInterface(iid);
    *out = found;
    if (found == nullptr) return E_NOINTERFACE;
    found->AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) GreyPin::AddRef()
{
    return filter_.AddRef();
}

STDMETHODIMP_(ULONG) GreyPin::Release()
{
    return filter_.Release();
}

ComPointer<IPin> GreyPin::Peer() const
{
    const std::lock_guard guard(filter_.filterLock);
    return peer_;
}

HRESULT GreyPin::Keep(IPin* peer, const AM_MEDIA_TYPE* type)
{
    ComPointer<IPin> nextPeer(peer);  // what was there before is released with the lock free
    MediaType nextType;
    if (type != nullptr) {
        const HRESULT copied = nextType.CopyFrom(*type);
        if (FAILED(copied)) return copied;
    }
    const std::lock_guard guard(filter_.filterLock);
    std::swap(peer_, nextPeer);
    std::swap(type_, nextType);
    return S_OK;
}

STDMETHODIMP GreyPin::Disconnect()
{
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (!IsConnected()) return S_FALSE;
        BreakConnect();
        return Keep(nullptr, nullptr);
    });
}

STDMETHODIMP GreyPin::ConnectedTo(IPin** out)
{
    if (out == nullptr) return E_POINTER;
    *out = Peer().Detach();
    return *out != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP GreyPin::ConnectionMediaType(AM_MEDIA_TYPE* out)
{
    if (out == nullptr) return E_POINTER;
    *out = {};
    const std::lock_guard guard(filter_.filterLock);
    return peer_ ? type_.CopyTo(out) : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP GreyPin::QueryPinInfo(PIN_INFO* out)
{
    if (out == nullptr) return E_POINTER;
    *out = {};
    out->pFilter = &filter_;
    out->pFilter->AddRef();
    out->dir = direction_;
    lstrcpynW(out->achName, name_, MAX_PIN_NAME);
    return S_OK;
}

STDMETHODIMP GreyPin::QueryDirection(PIN_DIRECTION* out)
{
    if (out == nullptr) return E_POINTER;
    *out = direction_;
    return S_OK;
}

STDMETHODIMP GreyPin::QueryId(LPWSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = CopyToTaskMemory(name_);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP GreyPin::QueryAccept(const AM_MEDIA_TYPE* type)
{
    return Guarded([&] { return CheckType(type) == S_OK ? S_OK : S_FALSE; });
}

STDMETHODIMP GreyPin::EnumMediaTypes(IEnumMediaTypes** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&]() -> HRESULT {
        std::vector<MediaType> types(1);
        if (FAILED(PreferredType(&types[0]))) types.clear();
        *out = MediaTypeEnumerator::Make(std::move(types));
        return S_OK;
    });
}
}  // namespace talv
