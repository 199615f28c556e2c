#include "filter/directshow/output_pin.h"

#include <mutex>

#include "filter/directshow/enumerator.h"
#include "filter/directshow/reader_filter.h"
#include "filter/directshow/task_text.h"

namespace talv {
namespace {
bool IsFullySpecified(const AM_MEDIA_TYPE& type)
{
    return type.majortype != GUID_NULL && type.subtype != GUID_NULL && type.formattype != GUID_NULL;
}

// A wanted type may leave fields open with GUID_NULL.
bool MatchesWanted(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE* wanted)
{
    if (wanted == nullptr) return true;
    const auto fits = [](const GUID& open, const GUID& actual) {
        return open == GUID_NULL || open == actual;
    };
    return fits(wanted->majortype, type.majortype) && fits(wanted->subtype, type.subtype) &&
           fits(wanted->formattype, type.formattype);
}
}  // namespace

STDMETHODIMP OutputPin::QueryInterface(REFIID iid, void** out)
{
    if (out == nullptr) return E_POINTER;
    IUnknown* found =
        iid == IID_IUnknown || iid == IID_IPin ? static_cast<IPin*>(this) : FindPinInterface(iid);
    *out = found;
    if (found == nullptr) return E_NOINTERFACE;
    found->AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) OutputPin::AddRef()
{
    return filter_.AddRef();
}

STDMETHODIMP_(ULONG) OutputPin::Release()
{
    return filter_.Release();
}

bool OutputPin::IsConnected() const
{
    const std::lock_guard guard(filter_.filterLock);
    return static_cast<bool>(peer_);
}

ComPointer<IPin> OutputPin::Peer() const
{
    const std::lock_guard guard(filter_.filterLock);
    return peer_;
}

STDMETHODIMP OutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    if (peer == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
        PIN_DIRECTION direction = PINDIR_OUTPUT;
        if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_INPUT)
            return VFW_E_INVALID_DIRECTION;
        if (wanted != nullptr && IsFullySpecified(*wanted)) return TryType(peer, *wanted);
        const HRESULT hr = TryOwnTypes(peer, wanted);
        return SUCCEEDED(hr) ? hr : TryPeerTypes(peer, wanted);
    });
}

HRESULT OutputPin::TryType(IPin* peer, const AM_MEDIA_TYPE& type)
{
    if (CheckMediaType(&type) != S_OK || FAILED(SetMediaType(type))) return VFW_E_TYPE_NOT_ACCEPTED;
    {
        const std::lock_guard guard(filter_.filterLock);
        if (peer_) return VFW_E_ALREADY_CONNECTED;
        peer_ = ComPointer<IPin>(peer);
    }
    HRESULT hr = peer->ReceiveConnection(this, &type);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(peer);
        if (SUCCEEDED(hr)) return S_OK;
        peer->Disconnect();
    }
    BreakConnect();
    DropPeer();
    return hr;
}

HRESULT OutputPin::TryOwnTypes(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    for (int position = 0;; ++position) {
        MediaType type;
        const HRESULT offered = GetMediaType(position, &type);
        if (FAILED(offered)) return offered;
        if (offered != S_OK) return result;
        if (!MatchesWanted(type.Get(), wanted)) continue;
        const HRESULT hr = TryType(peer, type.Get());
        if (SUCCEEDED(hr)) return hr;
        if (hr != VFW_E_TYPE_NOT_ACCEPTED && hr != E_FAIL && hr != E_INVALIDARG) result = hr;
    }
}

HRESULT OutputPin::TryPeerTypes(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    ComPointer<IEnumMediaTypes> types;
    if (FAILED(peer->EnumMediaTypes(types.Out())) || !types) return VFW_E_NO_ACCEPTABLE_TYPES;
    AM_MEDIA_TYPE* proposed = nullptr;
    while (types->Next(1, &proposed, nullptr) == S_OK && proposed != nullptr) {
        const bool tryIt = MatchesWanted(*proposed, wanted) && CheckMediaType(proposed) == S_OK;
        const HRESULT hr = tryIt ? TryType(peer, *proposed) : E_FAIL;
        DeleteMediaType(proposed);
        proposed = nullptr;
        if (SUCCEEDED(hr)) return hr;
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT OutputPin::SetMediaType(const AM_MEDIA_TYPE& type)
{
    const HRESULT checked = CheckBeforeSet(type);
    if (FAILED(checked)) return checked;
    MediaType copy;
    const HRESULT copied = copy.CopyFrom(type);
    if (FAILED(copied)) return copied;
    {
        const std::lock_guard guard(filter_.filterLock);
        std::swap(connectedType_, copy);
    }
    return S_OK;  // the old type goes with the lock free: it may hold another component
}

void OutputPin::DropPeer()
{
    ComPointer<IPin> peer;  // released after the lock, as is the type
    MediaType type;
    const std::lock_guard guard(filter_.filterLock);
    std::swap(peer, peer_);
    std::swap(type, connectedType_);
}

STDMETHODIMP OutputPin::Disconnect()
{
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (!IsConnected()) return S_FALSE;
        BreakConnect();
        DropPeer();
        return S_OK;
    });
}

STDMETHODIMP OutputPin::ConnectedTo(IPin** out)
{
    if (out == nullptr) return E_POINTER;
    *out = Peer().Detach();
    return *out != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP OutputPin::ConnectionMediaType(AM_MEDIA_TYPE* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filter_.filterLock);
    if (!peer_) {
        *out = {};
        return VFW_E_NOT_CONNECTED;
    }
    return connectedType_.CopyTo(out);
}

STDMETHODIMP OutputPin::QueryPinInfo(PIN_INFO* out)
{
    if (out == nullptr) return E_POINTER;
    *out = {};
    out->pFilter = &filter_;
    out->pFilter->AddRef();
    out->dir = PINDIR_OUTPUT;
    lstrcpynW(out->achName, name_, MAX_PIN_NAME);
    return S_OK;
}

STDMETHODIMP OutputPin::QueryDirection(PIN_DIRECTION* out)
{
    if (out == nullptr) return E_POINTER;
    *out = PINDIR_OUTPUT;
    return S_OK;
}

STDMETHODIMP OutputPin::QueryId(LPWSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = CopyToTaskMemory(name_);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP OutputPin::QueryAccept(const AM_MEDIA_TYPE* type)
{
    return Guarded([&] { return CheckMediaType(type) == S_OK ? S_OK : S_FALSE; });
}

STDMETHODIMP OutputPin::EnumMediaTypes(IEnumMediaTypes** out)
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
