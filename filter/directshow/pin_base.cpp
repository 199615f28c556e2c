#include "filter/directshow/pin_base.h"

#include <mutex>
#include <utility>

#include "filter/directshow/enumerator.h"
#include "filter/directshow/task_text.h"

namespace talv {
bool PinBase::IsConnected() const
{
    const std::lock_guard guard(lock_);
    return static_cast<bool>(peer_);
}

ComPointer<IPin> PinBase::Peer() const
{
    const std::lock_guard guard(lock_);
    return peer_;
}

HRESULT PinBase::KeepType(const AM_MEDIA_TYPE& type)
{
    MediaType copy;
    const HRESULT copied = copy.CopyFrom(type);
    if (FAILED(copied)) return copied;
    {
        const std::lock_guard guard(lock_);
        std::swap(connectedType_, copy);
    }
    return S_OK;  // the old type goes with the lock free: it may hold another component
}

bool PinBase::TakePeer(IPin* peer)
{
    const std::lock_guard guard(lock_);
    if (peer_) return false;
    peer_ = ComPointer<IPin>(peer);
    return true;
}

void PinBase::DropPeer()
{
    ComPointer<IPin> peer;  // released after the lock, as is the type
    MediaType type;
    const std::lock_guard guard(lock_);
    std::swap(peer, peer_);
    std::swap(type, connectedType_);
}

STDMETHODIMP PinBase::QueryInterface(REFIID iid, void** out)
{
    if (out == nullptr) return E_POINTER;
    IUnknown* found =
        iid == IID_IUnknown || iid == IID_IPin ? static_cast<IPin*>(this) : FindPinInterface(iid);
    *out = found;
    if (found == nullptr) return E_NOINTERFACE;
    found->AddRef();
    return S_OK;
}

STDMETHODIMP PinBase::ConnectedTo(IPin** out)
{
    if (out == nullptr) return E_POINTER;
    *out = Peer().Detach();
    return *out != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP PinBase::ConnectionMediaType(AM_MEDIA_TYPE* out)
{
    if (out == nullptr) return E_POINTER;
    *out = {};
    const std::lock_guard guard(lock_);
    return peer_ ? connectedType_.CopyTo(out) : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP PinBase::QueryPinInfo(PIN_INFO* out)
{
    if (out == nullptr) return E_POINTER;
    *out = {};
    out->pFilter = &owner_;
    out->pFilter->AddRef();
    out->dir = direction_;
    lstrcpynW(out->achName, name_, MAX_PIN_NAME);
    return S_OK;
}

STDMETHODIMP PinBase::QueryDirection(PIN_DIRECTION* out)
{
    if (out == nullptr) return E_POINTER;
    *out = direction_;
    return S_OK;
}

STDMETHODIMP PinBase::QueryId(LPWSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = CopyToTaskMemory(name_);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP PinBase::QueryAccept(const AM_MEDIA_TYPE* type)
{
    return Guarded([&] { return CheckMediaType(type) == S_OK ? S_OK : S_FALSE; });
}

STDMETHODIMP PinBase::EnumMediaTypes(IEnumMediaTypes** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&]() -> HRESULT {
        std::vector<MediaType> types;
        for (int position = 0;; ++position) {
            MediaType type;
            if (GetMediaType(position, &type) != S_OK) break;
            types.push_back(std::move(type));
        }
        *out = MediaTypeEnumerator::Make(std::move(types));
        return S_OK;
    });
}
}  // namespace talv
