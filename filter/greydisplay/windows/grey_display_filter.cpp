#include "filter/greydisplay/windows/grey_display_filter.h"

#include <mutex>

#include "filter/directshow/enumerator.h"
#include "filter/greydisplay/windows/grey_display_ids.h"

namespace talv {
namespace {
// What a picture takes over from its frame.
void CopyProperties(IMediaSample* from, IMediaSample* to)
{
    REFERENCE_TIME start = 0, stop = 0;
    const HRESULT timed = from->GetTime(&start, &stop);
    if (timed == S_OK)
        to->SetTime(&start, &stop);
    else if (timed == VFW_S_NO_STOP_TIME)
        to->SetTime(&start, nullptr);
    else
        to->SetTime(nullptr, nullptr);
    LONGLONG mediaStart = 0, mediaStop = 0;
    const bool counted = from->GetMediaTime(&mediaStart, &mediaStop) == S_OK;
    to->SetMediaTime(counted ? &mediaStart : nullptr, counted ? &mediaStop : nullptr);
    to->SetSyncPoint(TRUE);
    to->SetPreroll(from->IsPreroll() == S_OK);
    to->SetDiscontinuity(from->IsDiscontinuity() == S_OK);
}
}  // namespace

GreyDisplayFilter::GreyDisplayFilter(IUnknown* outer) : ComObject(outer), input_(*this), output_(*this)
{
    output_.MakeSeeking(&input_);
}

IUnknown* GreyDisplayFilter::FindInterface(REFIID iid)
{
    if (iid == IID_IPersist || iid == IID_IMediaFilter || iid == IID_IBaseFilter)
        return static_cast<IBaseFilter*>(this);
    return iid == IID_ITVGreyDisplay ? static_cast<ITVGreyDisplay*>(this) : nullptr;
}

// --- the stream

std::shared_ptr<const GreyBlock> GreyDisplayFilter::Block() const
{
    const std::lock_guard guard(displayLock_);
    return display_.Block();
}

bool GreyDisplayFilter::FitsOutput(const GreyBlock& block)
{
    const std::shared_ptr<const GreyBlock> current = Block();
    return !current || !output_.IsConnected() ||
           (current->width == block.width && current->height == block.height);
}

HRESULT GreyDisplayFilter::TakeBlock(const AM_MEDIA_TYPE& type)
{
    const std::lock_guard guard(displayLock_);
    return display_.SetBlock(type.pbFormat, type.cbFormat) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT GreyDisplayFilter::Show(IMediaSample* sample)
{
    AM_MEDIA_TYPE* changed = nullptr;
    if (sample->GetMediaType(&changed) == S_OK && changed != nullptr) {
        HRESULT hr = input_.CheckMediaType(changed);
        if (SUCCEEDED(hr)) hr = TakeBlock(*changed);
        DeleteMediaType(changed);
        if (FAILED(hr)) return hr;
    }
    ComPointer<IMediaSample> picture;
    RgbForm form;
    HRESULT hr = output_.NextSample(picture.Out(), &form);
    if (SUCCEEDED(hr)) hr = Convert(sample, picture.Get(), form);
    return SUCCEEDED(hr) ? output_.Deliver(picture.Get()) : hr;
}

HRESULT GreyDisplayFilter::Convert(IMediaSample* in, IMediaSample* out, const RgbForm& form)
{
    BYTE *frame = nullptr, *pixels = nullptr;
    HRESULT hr = in->GetPointer(&frame);
    if (SUCCEEDED(hr)) hr = out->GetPointer(&pixels);
    if (FAILED(hr)) return hr;
    const LONG frameBytes = in->GetActualDataLength(), room = out->GetSize();
    if (frame == nullptr || pixels == nullptr || frameBytes < 0) return E_POINTER;
    if (room < 0 || static_cast<size_t>(room) < form.bytes) return VFW_E_BUFFER_OVERFLOW;

    std::shared_ptr<const GreyBlock> block;
    std::shared_ptr<const GreyTable> table;
    {
        const std::lock_guard guard(displayLock_);
        display_.SeeFrame(frame, static_cast<size_t>(frameBytes));
        block = display_.Block();
        table = display_.Table();
    }
    if (!block) return VFW_E_NOT_CONNECTED;
    ConvertGreyFrame(*block, *table, frame, static_cast<size_t>(frameBytes),
                     {pixels, form.bytes, form.stride, form.topDown});
    CopyProperties(in, out);
    return out->SetActualDataLength(static_cast<LONG>(form.bytes));
}

// --- the window

STDMETHODIMP GreyDisplayFilter::GetWindow(double* center, double* width)
{
    if (center == nullptr || width == nullptr) return E_POINTER;
    const std::lock_guard guard(displayLock_);
    *center = display_.Window().center;
    *width = display_.Window().width;
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::SetWindow(double center, double width)
{
    return Guarded([&] {
        const std::lock_guard guard(displayLock_);
        return display_.SetWindow({center, width}) ? S_OK : E_INVALIDARG;
    });
}

STDMETHODIMP GreyDisplayFilter::ResetWindow()
{
    return Guarded([&] {
        const std::lock_guard guard(displayLock_);
        display_.ResetWindow();
        return S_OK;
    });
}

STDMETHODIMP GreyDisplayFilter::GetFileWindow(double* center, double* width)
{
    if (center == nullptr || width == nullptr) return E_POINTER;
    const std::lock_guard guard(displayLock_);
    *center = display_.FileWindow().center;
    *width = display_.FileWindow().width;
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::GetValueRange(double* smallest, double* largest)
{
    if (smallest == nullptr || largest == nullptr) return E_POINTER;
    const std::lock_guard guard(displayLock_);
    display_.ValueRange(smallest, largest);
    return S_OK;
}

// --- state

STDMETHODIMP GreyDisplayFilter::Stop()
{
    return Guarded([&] {
        const std::lock_guard guard(transitionLock_);
        if (State() == State_Stopped) return S_OK;
        state_.store(State_Stopped, std::memory_order_release);
        output_.Inactivate();  // a frame that waits for a buffer gets none
        const std::lock_guard stream(streamLock);
        input_.Inactivate();
        return S_OK;
    });
}

HRESULT GreyDisplayFilter::PauseLocked()
{
    if (State() == State_Stopped) {
        const HRESULT hr = output_.Activate();
        if (FAILED(hr)) return hr;
    }
    state_.store(State_Paused, std::memory_order_release);
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::Pause()
{
    return Guarded([&] {
        const std::lock_guard guard(transitionLock_);
        return PauseLocked();
    });
}

STDMETHODIMP GreyDisplayFilter::Run(REFERENCE_TIME)
{
    return Guarded([&] {
        const std::lock_guard guard(transitionLock_);
        const HRESULT hr = State() == State_Stopped ? PauseLocked() : S_OK;
        if (SUCCEEDED(hr)) state_.store(State_Running, std::memory_order_release);
        return hr;
    });
}

STDMETHODIMP GreyDisplayFilter::GetState(DWORD, FILTER_STATE* out)
{
    if (out == nullptr) return E_POINTER;
    *out = State();
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::SetSyncSource(IReferenceClock* clock)
{
    ComPointer<IReferenceClock> next(clock);
    const std::lock_guard guard(filterLock);
    std::swap(clock_, next);
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::GetSyncSource(IReferenceClock** out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filterLock);
    *out = ComPointer<IReferenceClock>(clock_).Detach();
    return S_OK;
}

// --- pins and graph

STDMETHODIMP GreyDisplayFilter::GetClassID(CLSID* out)
{
    if (out == nullptr) return E_POINTER;
    *out = kGreyDisplayClass;
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::EnumPins(IEnumPins** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&] {
        std::vector<ComPointer<IPin>> pins;
        pins.emplace_back(&input_);
        pins.emplace_back(&output_);
        *out = PinEnumerator::Make(std::move(pins));
        return S_OK;
    });
}

STDMETHODIMP GreyDisplayFilter::FindPin(LPCWSTR id, IPin** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (id == nullptr) return E_POINTER;
    for (GreyPin* pin : {static_cast<GreyPin*>(&input_), static_cast<GreyPin*>(&output_)}) {
        if (lstrcmpW(id, pin->Name()) != 0) continue;
        pin->AddRef();
        *out = pin;
        return S_OK;
    }
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP GreyDisplayFilter::QueryFilterInfo(FILTER_INFO* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filterLock);
    place_.Describe(out);
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name)
{
    const std::lock_guard guard(filterLock);
    place_.Join(graph, name);
    return S_OK;
}

STDMETHODIMP GreyDisplayFilter::QueryVendorInfo(LPWSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return E_NOTIMPL;
}

HRESULT MakeGreyDisplay(IUnknown* outer, IUnknown** out)
{
    return Guarded([&] {
        *out = (new GreyDisplayFilter(outer))->Inner();
        return S_OK;
    });
}
}  // namespace talv
