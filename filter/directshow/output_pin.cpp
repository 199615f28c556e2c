#include "filter/directshow/output_pin.h"

#include "filter/directshow/reader_filter.h"

namespace talv {
namespace {
bool IsFullySpecified(const AM_MEDIA_TYPE& type)
{
    return type.majortype != GUID_NULL && type.subtype != GUID_NULL && type.formattype != GUID_NULL;
}
}  // namespace

OutputPin::OutputPin(DicomReaderFilter& filter, const wchar_t* name)
    : PinBase(filter, filter.filterLock, name, PINDIR_OUTPUT), filter_(filter)
{}

PinBase& OutputPin::Shown()
{
    return filter_.ExposedPin();
}

STDMETHODIMP OutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    if (peer == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
        if (&Shown() != this) return VFW_E_NO_ACCEPTABLE_TYPES;  // of a file that was there before
        PIN_DIRECTION direction = PINDIR_OUTPUT;
        if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_INPUT)
            return VFW_E_INVALID_DIRECTION;
        if (wanted != nullptr && IsFullySpecified(*wanted)) return TryType(peer, *wanted);
        const HRESULT own = TryOwnTypes(peer, wanted);
        if (SUCCEEDED(own)) return own;
        return SUCCEEDED(TryPeerTypes(peer, wanted)) ? S_OK : own;
    });
}

HRESULT OutputPin::TryType(IPin* peer, const AM_MEDIA_TYPE& type)
{
    if (CheckMediaType(&type) != S_OK || FAILED(SetMediaType(type))) return VFW_E_TYPE_NOT_ACCEPTED;
    if (!TakePeer(peer)) return VFW_E_ALREADY_CONNECTED;
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
        if (offered == E_OUTOFMEMORY) return offered;
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
    return FAILED(checked) ? checked : KeepType(type);
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
}  // namespace talv
