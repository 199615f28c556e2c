#include "filter/directshow/dicom_output_pin.h"

#include <algorithm>
#include <mutex>

#include "filter/directshow/reader_filter.h"
#include "filter/directshow/video_type.h"

namespace talv {
IUnknown* DicomOutputPin::FindPinInterface(REFIID iid)
{
    if (iid == IID_IMediaSeeking) return static_cast<IMediaSeeking*>(this);
    if (iid == IID_IQualityControl) return static_cast<IQualityControl*>(this);
    return nullptr;
}

HRESULT DicomOutputPin::GetMediaType(int position, MediaType* out)
{
    if (position < 0) return E_INVALIDARG;
    if (position >= 1) return VFW_S_NO_MORE_ITEMS;
    const std::lock_guard guard(filter_.filterLock);
    if (filter_.source.fileName.empty()) return E_UNEXPECTED;
    return MakeVideoType(filter_.source, out);
}

HRESULT DicomOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type)
{
    if (type == nullptr) return E_FAIL;
    const std::lock_guard guard(filter_.filterLock);
    ProposedFormat proposed;
    return DescribeType(*type, &proposed) && AcceptsFormat(filter_.source, proposed) ? S_OK : E_FAIL;
}

HRESULT DicomOutputPin::CheckBeforeSet(const AM_MEDIA_TYPE& type)
{
    const std::lock_guard guard(filter_.filterLock);
    ProposedFormat proposed;
    return DescribeType(type, &proposed) && MatchesImage(filter_.source, proposed) ? S_OK : E_FAIL;
}

HRESULT DicomOutputPin::CompleteConnect(IPin* peer)
{
    input_ = QueryFor<IMemInputPin>(peer, IID_IMemInputPin);
    if (!input_) return VFW_E_NO_TRANSPORT;
    return DecideAllocator(input_.Get());
}

void DicomOutputPin::BreakConnect()
{
    if (allocator_) allocator_->Decommit();
    allocator_.Reset();
    input_.Reset();
}

// Downstream's allocator when it has one that can hold a frame, else the system's memory allocator.
HRESULT DicomOutputPin::DecideAllocator(IMemInputPin* input)
{
    ALLOCATOR_PROPERTIES wanted = {};
    if (FAILED(input->GetAllocatorRequirements(&wanted))) wanted = {};
    const int64_t frameBytes = filter_.source.SampleSize();
    if (frameBytes <= 0 || frameBytes > LONG_MAX) return VFW_E_SIZENOTSET;
    wanted.cbBuffer = std::max(wanted.cbBuffer, static_cast<LONG>(frameBytes));
    wanted.cBuffers = std::max(wanted.cBuffers, LONG{1});
    wanted.cbAlign = std::max(wanted.cbAlign, LONG{1});

    ComPointer<IMemAllocator> allocator;
    if (SUCCEEDED(input->GetAllocator(allocator.Out())) && allocator &&
        SUCCEEDED(TryAllocator(input, allocator.Get(), wanted)))
        return S_OK;

    const HRESULT made = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_IMemAllocator, allocator.OutVoid());
    return FAILED(made) ? made : TryAllocator(input, allocator.Get(), wanted);
}

HRESULT DicomOutputPin::TryAllocator(IMemInputPin* input, IMemAllocator* allocator,
                                     ALLOCATOR_PROPERTIES wanted)
{
    ALLOCATOR_PROPERTIES actual = {};
    HRESULT hr = allocator->SetProperties(&wanted, &actual);
    if (FAILED(hr)) return hr;
    if (actual.cBuffers < 1 || actual.cbBuffer < filter_.source.SampleSize()) return VFW_E_SIZENOTSET;
    hr = input->NotifyAllocator(allocator, FALSE);
    if (FAILED(hr)) return hr;
    allocator_ = ComPointer<IMemAllocator>(allocator);
    return S_OK;
}

STDMETHODIMP DicomOutputPin::Notify(IBaseFilter*, Quality quality)
{
    filter_.ChangeTimeline(
        [&](FrameTimeline* timeline) { NoteQuality(timeline, quality.Proportion, quality.Late); });
    return S_OK;
}
}  // namespace talv
