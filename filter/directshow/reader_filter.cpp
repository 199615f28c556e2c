#include "filter/directshow/reader_filter.h"

#include "filter/directshow/enumerator.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/short_name.h"
#include "filter/directshow/task_text.h"

namespace talv {
DicomReaderFilter::DicomReaderFilter(IUnknown* outer)
    : ComObject(outer),
      source(&timeline),
      videoPin_(*this),
      streamPin_(*this),
      automation_(*this),
      common_(*this)
{
    AdoptStoredSettings(&timeline, ReadSettings());
}

DicomReaderFilter::~DicomReaderFilter()
{
    videoPin_.Deactivate();
    CommitSettings();
}

void DicomReaderFilter::End()
{
    if (!videoPin_.LeaveEndToWorker()) delete this;
}

IUnknown* DicomReaderFilter::FindInterface(REFIID iid)
{
    if (iid == IID_IPersist || iid == IID_IMediaFilter || iid == IID_IBaseFilter)
        return static_cast<IBaseFilter*>(this);
    if (iid == IID_IFileSourceFilter) return static_cast<IFileSourceFilter*>(this);
    if (iid == IID_ISpecifyPropertyPages) return static_cast<ISpecifyPropertyPages*>(this);
    if (iid == IID_IAMFilterMiscFlags) return static_cast<IAMFilterMiscFlags*>(this);
    if (iid == IID_ITVDicRd || iid == IID_IDispatch) return static_cast<ITVDicRd*>(&automation_);
    if (iid == IID_ITMMCommon1 || iid == IID_ITMMCommon) return static_cast<ITMMCommon*>(&common_);
    return nullptr;
}

OutputPin& DicomReaderFilter::ExposedPin()
{
    if (source.isMpeg2Stream) return streamPin_;
    return videoPin_;
}

int32_t DicomReaderFilter::CommitSettings()
{
    ReaderSettings settings;
    {
        const std::lock_guard guard(seekingLock);
        settings = timeline.settings;
    }
    return WriteSettings(settings);
}

void DicomReaderFilter::NotifyGraph(long event, LONG_PTR first, LONG_PTR second)
{
    ComPointer<IFilterGraph> graph;
    {
        const std::lock_guard guard(filterLock);
        graph = ComPointer<IFilterGraph>(place_.graph);
    }
    if (const auto sink = QueryFor<IMediaEventSink>(graph.Get(), IID_IMediaEventSink))
        sink->Notify(event, first, second);
}

STDMETHODIMP DicomReaderFilter::GetClassID(CLSID* out)
{
    if (out == nullptr) return E_POINTER;
    *out = kReaderClass;
    return S_OK;
}

// --- state

STDMETHODIMP DicomReaderFilter::Stop()
{
    return Guarded([&] {
        const std::lock_guard guard(transitionLock_);
        if (State() != State_Stopped) videoPin_.Deactivate();
        state_.store(State_Stopped, std::memory_order_release);
        return S_OK;
    });
}

HRESULT DicomReaderFilter::PauseLocked()
{
    if (State() == State_Stopped) {
        const HRESULT hr = videoPin_.Activate();
        if (FAILED(hr)) return hr;
    }
    state_.store(State_Paused, std::memory_order_release);
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::Pause()
{
    return Guarded([&] {
        const std::lock_guard guard(transitionLock_);
        return PauseLocked();
    });
}

STDMETHODIMP DicomReaderFilter::Run(REFERENCE_TIME)
{
    return Guarded([&]() -> HRESULT {
        const std::lock_guard guard(transitionLock_);
        if (State() == State_Running) return S_OK;
        if (State() == State_Stopped) {
            const HRESULT hr = PauseLocked();
            if (FAILED(hr)) return hr;
        }
        {
            const std::lock_guard seeking(seekingLock);
            timeline.rebase = true;
        }
        state_.store(State_Running, std::memory_order_release);
        return S_OK;
    });
}

STDMETHODIMP DicomReaderFilter::GetState(DWORD, FILTER_STATE* out)
{
    if (out == nullptr) return E_POINTER;
    *out = State();
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::SetSyncSource(IReferenceClock* clock)
{
    ComPointer<IReferenceClock> next(clock);
    const std::lock_guard guard(filterLock);
    std::swap(clock_, next);
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::GetSyncSource(IReferenceClock** out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filterLock);
    *out = ComPointer<IReferenceClock>(clock_).Detach();
    return S_OK;
}

// --- pins and graph

STDMETHODIMP DicomReaderFilter::EnumPins(IEnumPins** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return Guarded([&] {
        std::vector<ComPointer<IPin>> pins;
        pins.emplace_back(&ExposedPin());
        *out = PinEnumerator::Make(std::move(pins));
        return S_OK;
    });
}

STDMETHODIMP DicomReaderFilter::FindPin(LPCWSTR id, IPin** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (id == nullptr) return E_POINTER;
    OutputPin& pin = ExposedPin();
    if (lstrcmpW(id, pin.Name()) != 0) return VFW_E_NOT_FOUND;
    pin.AddRef();
    *out = &pin;
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::QueryFilterInfo(FILTER_INFO* out)
{
    if (out == nullptr) return E_POINTER;
    const std::lock_guard guard(filterLock);
    place_.Describe(out);
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name)
{
    const std::lock_guard guard(filterLock);
    place_.Join(graph, name);
    return S_OK;
}

STDMETHODIMP DicomReaderFilter::QueryVendorInfo(LPWSTR* out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return E_NOTIMPL;
}

// --- file

STDMETHODIMP DicomReaderFilter::Load(LPCOLESTR fileName, const AM_MEDIA_TYPE*)
{
    return Guarded([&] {
        const DefaultArithmetic arithmetic;
        const std::wstring name = fileName != nullptr ? NameForNarrowCalls(fileName) : std::wstring();
        const auto* characters = reinterpret_cast<const char16_t*>(name.c_str());
        const int32_t result =
            source.Load(fileName != nullptr ? characters : nullptr, ExposedPin().IsConnected());
        streamPin_.Rewind();
        return result == kLoadOk ? S_OK : S_FALSE;
    });
}

STDMETHODIMP DicomReaderFilter::GetCurFile(LPOLESTR* fileName, AM_MEDIA_TYPE* type)
{
    if (fileName == nullptr) return E_POINTER;
    *fileName = nullptr;
    if (type != nullptr) *type = {};
    if (source.fileName.empty()) return E_FAIL;
    return Guarded([&] {
        *fileName = CopyToTaskMemory(WideText(source.fileName).c_str());
        return *fileName != nullptr ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP DicomReaderFilter::GetPages(CAUUID* out)
{
    if (out == nullptr) return E_POINTER;
    out->cElems = 0;
    out->pElems = static_cast<GUID*>(CoTaskMemAlloc(2 * sizeof(GUID)));
    if (out->pElems == nullptr) return E_OUTOFMEMORY;
    out->cElems = 2;
    out->pElems[0] = kSettingsPageClass;
    out->pElems[1] = kAboutPageClass;
    return S_OK;
}

HRESULT MakeReader(IUnknown* outer, IUnknown** out)
{
    return Guarded([&] {
        *out = (new DicomReaderFilter(outer))->Inner();
        return S_OK;
    });
}
}  // namespace talv
