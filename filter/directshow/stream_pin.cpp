#include "filter/directshow/stream_pin.h"

#include <algorithm>
#include <mutex>

#include "filter/directshow/reader_filter.h"

namespace talv {
namespace {
constexpr int64_t kUnitsPerByte =
    10'000'000;  // sample times of a pulled stream are byte positions, times a second
const GUID* const kOfferedSubtypes[] = {&MEDIASUBTYPE_MPEG2_VIDEO, &GUID_NULL};
}  // namespace

StreamOutputPin::StreamOutputPin(DicomReaderFilter& filter) : OutputPin(filter, L"MPEG-2 Output") {}

IUnknown* StreamOutputPin::FindPinInterface(REFIID iid)
{
    return iid == IID_IAsyncReader ? static_cast<IAsyncReader*>(this) : nullptr;
}

HRESULT StreamOutputPin::GetMediaType(int position, MediaType* out)
{
    if (position < 0) return E_INVALIDARG;
    if (position >= static_cast<int>(std::size(kOfferedSubtypes))) return VFW_S_NO_MORE_ITEMS;
    out->Reset();
    AM_MEDIA_TYPE& type = out->Get();
    type.majortype = MEDIATYPE_Stream;
    type.subtype = *kOfferedSubtypes[position];
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = 1;
    return S_OK;
}

HRESULT StreamOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type)
{
    if (type == nullptr || type->majortype != MEDIATYPE_Stream) return E_FAIL;
    for (const GUID* offered : kOfferedSubtypes)
        if (type->subtype == *offered) return S_OK;
    return E_FAIL;
}

void StreamOutputPin::Rewind()
{
    std::list<Filled> dropped;  // released with the lock free
    const std::lock_guard guard(requestLock_);
    std::swap(dropped, filled_);
    flushing_ = false;
}

STDMETHODIMP StreamOutputPin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                               IMemAllocator** out)
{
    if (properties == nullptr || out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&]() -> HRESULT {
        ALLOCATOR_PROPERTIES wanted = *properties, actual = {};
        wanted.cbAlign = std::max(wanted.cbAlign, LONG{1});
        wanted.cBuffers = std::max(wanted.cBuffers, LONG{1});
        wanted.cbBuffer = std::max(wanted.cbBuffer, LONG{1});
        ComPointer<IMemAllocator> allocator(preferred);
        if (!allocator || FAILED(allocator->SetProperties(&wanted, &actual))) {
            HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_IMemAllocator, allocator.OutVoid());
            if (SUCCEEDED(hr)) hr = allocator->SetProperties(&wanted, &actual);
            if (FAILED(hr)) return hr;
        }
        *properties = actual;
        *out = allocator.Detach();
        return S_OK;
    });
}

// Reads the range that the sample's times ask for, cut at the end of the stream, and sets times and length to
// what was read.
HRESULT StreamOutputPin::ReadInto(IMediaSample* sample)
{
    REFERENCE_TIME start = 0, stop = 0;
    HRESULT hr = sample->GetTime(&start, &stop);
    if (FAILED(hr)) return hr;
    if (start < 0 || stop < start) return E_INVALIDARG;
    BYTE* buffer = nullptr;
    hr = sample->GetPointer(&buffer);
    if (FAILED(hr)) return hr;
    if (buffer == nullptr) return E_POINTER;
    const int64_t position = start / kUnitsPerByte;
    const int64_t wanted = std::min<int64_t>((stop - start) / kUnitsPerByte, sample->GetSize());
    const int64_t read = filter_.source.streamReader.ReadAt(position, buffer, wanted);
    if (read < 0) return E_FAIL;
    sample->SetActualDataLength(static_cast<long>(read));
    stop = (position + read) * kUnitsPerByte;
    sample->SetTime(&start, &stop);
    return read == wanted ? S_OK : S_FALSE;
}

STDMETHODIMP StreamOutputPin::Request(IMediaSample* sample, DWORD_PTR user)
{
    if (sample == nullptr) return E_POINTER;
    return Guarded([&]() -> HRESULT {
        {
            const std::lock_guard guard(requestLock_);
            if (flushing_) return VFW_E_WRONG_STATE;
        }
        const HRESULT result = ReadInto(sample);
        {
            const std::lock_guard guard(requestLock_);
            filled_.push_back({ComPointer<IMediaSample>(sample), user, result});
        }
        changed_.NotifyAll();
        return S_OK;
    });
}

STDMETHODIMP StreamOutputPin::WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user)
{
    if (sample == nullptr || user == nullptr) return E_POINTER;
    *sample = nullptr;
    *user = 0;
    const DWORD began = GetTickCount();
    const std::lock_guard guard(requestLock_);
    while (filled_.empty()) {
        if (flushing_) return VFW_E_WRONG_STATE;
        const DWORD waited = GetTickCount() - began;
        if (timeout != INFINITE && waited >= timeout) return VFW_E_TIMEOUT;
        if (timeout == INFINITE)
            changed_.Wait(&requestLock_);
        else
            changed_.WaitFor(&requestLock_, timeout - waited);
    }
    Filled next = std::move(filled_.front());
    filled_.pop_front();
    *sample = next.sample.Detach();
    *user = next.user;
    return next.result;
}

STDMETHODIMP StreamOutputPin::SyncReadAligned(IMediaSample* sample)
{
    if (sample == nullptr) return E_POINTER;
    return Guarded([&] { return ReadInto(sample); });
}

STDMETHODIMP StreamOutputPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer)
{
    if (buffer == nullptr) return E_POINTER;
    if (position < 0 || length < 0) return E_INVALIDARG;
    const int64_t read = filter_.source.streamReader.ReadAt(position, buffer, length);
    if (read < 0) return E_FAIL;
    return read == length ? S_OK : S_FALSE;
}

STDMETHODIMP StreamOutputPin::Length(LONGLONG* total, LONGLONG* available)
{
    const int64_t length = filter_.source.streamReader.Length();
    if (total != nullptr) *total = length;
    if (available != nullptr) *available = length;
    return S_OK;
}

STDMETHODIMP StreamOutputPin::BeginFlush()
{
    {
        const std::lock_guard guard(requestLock_);
        flushing_ = true;
    }
    changed_.NotifyAll();
    return S_OK;
}

STDMETHODIMP StreamOutputPin::EndFlush()
{
    const std::lock_guard guard(requestLock_);
    flushing_ = false;
    return S_OK;
}
}  // namespace talv
