#include "filter/greydisplay/windows/grey_input_pin.h"

#include <mutex>

#include "filter/directshow/server_ids.h"
#include "filter/greydisplay/windows/grey_display_filter.h"
#include "filter/greydisplay/windows/grey_display_ids.h"

namespace talv {
GreyInputPin::GreyInputPin(GreyDisplayFilter& filter) : GreyPin(filter, kGreyInputName, PINDIR_INPUT) {}

IUnknown* GreyInputPin::FindPinInterface(REFIID iid)
{
    return iid == IID_IMemInputPin ? static_cast<IMemInputPin*>(this) : nullptr;
}

HRESULT GreyInputPin::PreferredType(MediaType* out)
{
    out->Get().majortype = MEDIATYPE_Video;
    out->Get().subtype = kSubtypeGrey;
    return S_OK;
}

HRESULT GreyInputPin::CheckMediaType(const AM_MEDIA_TYPE* type)
{
    if (type == nullptr || type->majortype != MEDIATYPE_Video || type->subtype != kSubtypeGrey ||
        type->formattype != FORMAT_VideoInfo || type->bTemporalCompression != FALSE)
        return VFW_E_TYPE_NOT_ACCEPTED;
    GreyBlock block;
    if (!ReadGreyBlock(type->pbFormat, type->cbFormat, &block)) return VFW_E_TYPE_NOT_ACCEPTED;
    return filter_.FitsOutput(block) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP GreyInputPin::ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type)
{
    if (peer == nullptr || type == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        if (filter_.State() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
        PIN_DIRECTION direction = PINDIR_INPUT;
        if (FAILED(peer->QueryDirection(&direction)) || direction != PINDIR_OUTPUT)
            return VFW_E_INVALID_DIRECTION;
        HRESULT hr = CheckMediaType(type);
        if (hr == S_OK) hr = filter_.TakeBlock(*type);
        if (hr == S_OK) hr = KeepType(*type);
        if (FAILED(hr)) return hr;
        return TakePeer(peer) ? S_OK : VFW_E_ALREADY_CONNECTED;
    });
}

void GreyInputPin::BreakConnect()
{
    ComPointer<IMemAllocator> gone;
    {
        const std::lock_guard guard(filter_.filterLock);
        std::swap(gone, allocator_);
    }
    if (gone) gone->Decommit();
}

void GreyInputPin::Inactivate()
{
    ComPointer<IMemAllocator> allocator;
    {
        const std::lock_guard guard(filter_.filterLock);
        allocator = allocator_;
    }
    if (allocator) allocator->Decommit();
    flushing_ = false;
}

STDMETHODIMP GreyInputPin::EndOfStream()
{
    return Guarded([&]() -> HRESULT {
        const std::lock_guard guard(filter_.streamLock);
        if (flushing_) return S_OK;
        const ComPointer<IPin> next = filter_.Output().Peer();
        return next ? next->EndOfStream() : S_OK;
    });
}

// Without the stream lock: a Receive that waits downstream holds it until the flush has gone through.
STDMETHODIMP GreyInputPin::BeginFlush()
{
    return Guarded([&]() -> HRESULT {
        flushing_ = true;
        const ComPointer<IPin> next = filter_.Output().Peer();
        return next ? next->BeginFlush() : S_OK;
    });
}

STDMETHODIMP GreyInputPin::EndFlush()
{
    return Guarded([&]() -> HRESULT {
        const std::lock_guard guard(filter_.streamLock);
        const ComPointer<IPin> next = filter_.Output().Peer();
        const HRESULT hr = next ? next->EndFlush() : S_OK;
        flushing_ = false;
        return hr;
    });
}

STDMETHODIMP GreyInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate)
{
    return Guarded([&]() -> HRESULT {
        const ComPointer<IPin> next = filter_.Output().Peer();
        return next ? next->NewSegment(start, stop, rate) : S_OK;
    });
}

STDMETHODIMP GreyInputPin::GetAllocator(IMemAllocator** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    {
        const std::lock_guard guard(filter_.filterLock);
        if (allocator_) *out = ComPointer<IMemAllocator>(allocator_).Detach();
    }
    if (*out != nullptr) return S_OK;
    return CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                            reinterpret_cast<void**>(out));
}

STDMETHODIMP GreyInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL)
{
    if (allocator == nullptr) return E_POINTER;
    ComPointer<IMemAllocator> next(allocator);
    const std::lock_guard guard(filter_.filterLock);
    std::swap(allocator_, next);
    return S_OK;
}

STDMETHODIMP GreyInputPin::Receive(IMediaSample* sample)
{
    if (sample == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        const std::lock_guard guard(filter_.streamLock);
        if (flushing_) return S_FALSE;
        if (filter_.State() == State_Stopped) return VFW_E_WRONG_STATE;
        const HRESULT hr = filter_.Show(sample);
        // A flush or a stop takes the buffers away; that is no failure of the stream.
        return FAILED(hr) && flushing_ ? S_FALSE : hr;
    });
}

STDMETHODIMP GreyInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed)
{
    if (samples == nullptr || processed == nullptr) return E_POINTER;
    HRESULT hr = S_OK;
    for (*processed = 0; *processed < count && hr == S_OK; ++*processed) hr = Receive(samples[*processed]);
    if (hr != S_OK && *processed > 0) --*processed;
    return hr;
}

STDMETHODIMP GreyInputPin::ReceiveCanBlock()
{
    return filter_.Output().DownstreamCanBlock() ? S_OK : S_FALSE;
}
}  // namespace talv
