#include "filter/greydisplay/windows/grey_output_pin.h"

#include <algorithm>

#include "filter/greydisplay/windows/grey_display_filter.h"
#include "filter/greydisplay/windows/grey_display_ids.h"

namespace talv {
GreyOutputPin::GreyOutputPin(GreyDisplayFilter& filter) : GreyPin(filter, kGreyOutputName, PINDIR_OUTPUT) {}

void GreyOutputPin::MakeSeeking(IPin* input)
{
    if (FAILED(CoCreateInstance(CLSID_SeekingPassThru, static_cast<IPin*>(this), CLSCTX_INPROC_SERVER,
                                IID_IUnknown, seeking_.OutVoid())))
        return;
    const auto passThrough = QueryFor<ISeekingPassThru>(seeking_.Get(), IID_ISeekingPassThru);
    if (!passThrough || FAILED(passThrough->Init(FALSE, input))) seeking_.Reset();
}

IUnknown* GreyOutputPin::FindPinInterface(REFIID iid)
{
    if (iid == IID_IQualityControl) return static_cast<IQualityControl*>(this);
    if (!seeking_ || (iid != IID_IMediaSeeking && iid != IID_IMediaPosition)) return nullptr;
    return QueryFor<IUnknown>(seeking_.Get(), iid).Get();  // lives as long as the pin
}

HRESULT GreyOutputPin::PreferredType(MediaType* out)
{
    const std::shared_ptr<const GreyBlock> block = filter_.Block();
    if (!block) return VFW_E_NOT_CONNECTED;
    const std::vector<uint8_t> bytes = MakeRgbBlock(*block);
    out->Reset();
    const HRESULT hr = out->SetFormat(bytes.data(), bytes.size());
    if (FAILED(hr)) return hr;
    AM_MEDIA_TYPE& type = out->Get();
    type.majortype = MEDIATYPE_Video;
    type.subtype = MEDIASUBTYPE_RGB32;
    type.formattype = FORMAT_VideoInfo;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = reinterpret_cast<const VIDEOINFOHEADER*>(bytes.data())->bmiHeader.biSizeImage;
    return S_OK;
}

HRESULT GreyOutputPin::ReadForm(const AM_MEDIA_TYPE& type, RgbForm* form) const
{
    const std::shared_ptr<const GreyBlock> block = filter_.Block();
    const bool good = block && type.majortype == MEDIATYPE_Video && type.subtype == MEDIASUBTYPE_RGB32 &&
                      type.formattype == FORMAT_VideoInfo && type.bTemporalCompression == FALSE &&
                      ReadRgbBlock(type.pbFormat, type.cbFormat, *block, form);
    return good ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT GreyOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type)
{
    RgbForm ignored;
    return type != nullptr ? ReadForm(*type, &ignored) : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP GreyOutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    if (peer == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
        PIN_DIRECTION direction = PINDIR_OUTPUT;
        if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_INPUT)
            return VFW_E_INVALID_DIRECTION;
        MediaType own;
        const HRESULT hr = PreferredType(&own);
        if (FAILED(hr)) return hr;
        if (wanted != nullptr && wanted->formattype != GUID_NULL && wanted->pbFormat != nullptr)
            return TryType(peer, *wanted);
        if (MatchesWanted(own.Get(), wanted) && SUCCEEDED(TryType(peer, own.Get()))) return S_OK;
        return TryPeerTypes(peer, wanted);
    });
}

HRESULT GreyOutputPin::TryType(IPin* peer, const AM_MEDIA_TYPE& type)
{
    RgbForm form;
    HRESULT hr = ReadForm(type, &form);
    if (SUCCEEDED(hr)) hr = KeepType(type);
    if (FAILED(hr)) return hr;
    if (!TakePeer(peer)) return VFW_E_ALREADY_CONNECTED;
    form_ = form;
    hr = peer->ReceiveConnection(this, &type);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(peer);
        if (SUCCEEDED(hr)) return S_OK;
        peer->Disconnect();
    }
    BreakConnect();
    DropPeer();
    return hr;
}

HRESULT GreyOutputPin::TryPeerTypes(IPin* peer, const AM_MEDIA_TYPE* wanted)
{
    ComPointer<IEnumMediaTypes> types;
    if (FAILED(peer->EnumMediaTypes(types.Out())) || !types) return VFW_E_NO_ACCEPTABLE_TYPES;
    AM_MEDIA_TYPE* proposed = nullptr;
    while (types->Next(1, &proposed, nullptr) == S_OK && proposed != nullptr) {
        const HRESULT hr = MatchesWanted(*proposed, wanted) ? TryType(peer, *proposed) : E_FAIL;
        DeleteMediaType(proposed);
        proposed = nullptr;
        if (SUCCEEDED(hr)) return hr;
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

// Downstream's allocator when it has one that can hold a picture, else the system's memory allocator.
HRESULT GreyOutputPin::CompleteConnect(IPin* peer)
{
    input_ = QueryFor<IMemInputPin>(peer, IID_IMemInputPin);
    if (!input_) return VFW_E_NO_TRANSPORT;
    ALLOCATOR_PROPERTIES wanted = {};
    if (FAILED(input_->GetAllocatorRequirements(&wanted))) wanted = {};
    wanted.cbBuffer = std::max(wanted.cbBuffer, static_cast<LONG>(form_.bytes));
    wanted.cBuffers = std::max(wanted.cBuffers, LONG{1});
    wanted.cbAlign = std::max(wanted.cbAlign, LONG{1});
    ComPointer<IMemAllocator> allocator;
    if (SUCCEEDED(input_->GetAllocator(allocator.Out())) && allocator &&
        SUCCEEDED(TryAllocator(allocator.Get(), wanted)))
        return S_OK;
    const HRESULT made = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_IMemAllocator, allocator.OutVoid());
    return FAILED(made) ? made : TryAllocator(allocator.Get(), wanted);
}

HRESULT GreyOutputPin::TryAllocator(IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted)
{
    ALLOCATOR_PROPERTIES actual = {};
    HRESULT hr = allocator->SetProperties(&wanted, &actual);
    if (FAILED(hr)) return hr;
    if (actual.cBuffers < 1 || actual.cbBuffer < static_cast<LONG>(form_.bytes)) return VFW_E_SIZENOTSET;
    hr = input_->NotifyAllocator(allocator, FALSE);
    if (SUCCEEDED(hr)) allocator_ = ComPointer<IMemAllocator>(allocator);
    return hr;
}

void GreyOutputPin::BreakConnect()
{
    Inactivate();
    allocator_.Reset();
    input_.Reset();
}

HRESULT GreyOutputPin::Activate()
{
    return allocator_ ? allocator_->Commit() : S_OK;
}

void GreyOutputPin::Inactivate()
{
    if (allocator_) allocator_->Decommit();
}

bool GreyOutputPin::DownstreamCanBlock() const
{
    return !input_ || input_->ReceiveCanBlock() != S_FALSE;
}

HRESULT GreyOutputPin::NextSample(IMediaSample** out, RgbForm* form)
{
    if (!allocator_ || !input_) return VFW_E_NOT_CONNECTED;
    HRESULT hr = allocator_->GetBuffer(out, nullptr, nullptr, 0);
    if (SUCCEEDED(hr) && *out == nullptr) hr = E_POINTER;
    if (SUCCEEDED(hr)) hr = TakeFormatChange(*out);
    *form = form_;
    return hr;
}

// A renderer announces other rows with a sample; from it on they hold.
HRESULT GreyOutputPin::TakeFormatChange(IMediaSample* sample)
{
    AM_MEDIA_TYPE* changed = nullptr;
    if (sample->GetMediaType(&changed) != S_OK || changed == nullptr) return S_OK;
    RgbForm form;
    HRESULT hr = ReadForm(*changed, &form);
    if (SUCCEEDED(hr)) hr = KeepType(*changed);
    if (SUCCEEDED(hr)) form_ = form;
    DeleteMediaType(changed);
    return hr;
}

STDMETHODIMP GreyOutputPin::Notify(IBaseFilter*, Quality quality)
{
    return Guarded([&]() -> HRESULT {
        const ComPointer<IPin> source = filter_.Input().Peer();
        const auto control = QueryFor<IQualityControl>(source.Get(), IID_IQualityControl);
        return control ? control->Notify(&filter_, quality) : VFW_E_NOT_FOUND;
    });
}
}  // namespace talv
