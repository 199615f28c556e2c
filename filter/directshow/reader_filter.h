#pragma once

#include <dshow.h>

#include <atomic>
#include <mutex>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/default_arithmetic.h"
#include "filter/directshow/dicom_output_pin.h"
#include "filter/directshow/graph_place.h"
#include "filter/directshow/reader_automation.h"
#include "filter/directshow/reader_common.h"
#include "filter/directshow/stream_pin.h"
#include "filter/frame_source.h"
#include "filter/frame_timeline.h"

namespace talv {
/// The source filter: one file, one output pin at a time (video, or the MPEG-2 stream as it is).
///
/// Locks, in the order in which they may be taken; a thread holding one takes only later ones:
///
///   transitionLock_   a change of state from its first to its last step; never taken by the worker
///   pin's workerLock_ the worker thread's handle while it is started, told something or joined
///   filterLock        graph, clock, peers and media types; a leaf
///   seekingLock       the timeline: positions, rate, frame time, settings; a leaf
///
/// The two leaves are held for a few instructions: not while a frame is decoded, not while another component
/// is called, and no query waits for either. The state is atomic, so GetState and the worker need no lock for
/// it.
class DicomReaderFilter final : public ComObject,
                                public IBaseFilter,
                                public IFileSourceFilter,
                                public ISpecifyPropertyPages,
                                public IAMFilterMiscFlags
{
  public:
    /// Throws std::bad_alloc. Reads the settings key.
    explicit DicomReaderFilter(IUnknown* outer);
    TALV_FORWARD_UNKNOWN(Outer())

    FILTER_STATE State() const { return static_cast<FILTER_STATE>(state_.load(std::memory_order_acquire)); }
    /// The video pin's worker, asked to by LeaveEndToWorker: deletes the filter as its last step.
    void EndByWorker() { delete this; }
    /// The one pin that the filter shows.
    OutputPin& ExposedPin();
    /// Tells the graph about an event of the stream; calls the graph, so no lock may be held.
    void NotifyGraph(long event, LONG_PTR first, LONG_PTR second);
    /// Writes the settings key. 0 or the system's error code.
    int32_t CommitSettings();
    /// Runs `change` on the timeline under the seeking lock and answers what it answers.
    template <class Change>
    auto ChangeTimeline(Change&& change)
    {
        const DefaultArithmetic arithmetic;
        const std::lock_guard guard(seekingLock);
        return change(&timeline);
    }

    // IPersist, IMediaFilter, IBaseFilter
    STDMETHODIMP GetClassID(CLSID* out) override;
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* out) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** out) override;
    STDMETHODIMP EnumPins(IEnumPins** out) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** out) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* out) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* out) override;
    // IFileSourceFilter
    STDMETHODIMP Load(LPCOLESTR fileName, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetCurFile(LPOLESTR* fileName, AM_MEDIA_TYPE* type) override;
    // ISpecifyPropertyPages
    STDMETHODIMP GetPages(CAUUID* out) override;
    // IAMFilterMiscFlags
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }

    mutable Lock filterLock;
    mutable Lock seekingLock;
    FrameTimeline timeline;  ///< guarded by seekingLock
    FrameSource source;      ///< see its threading rules

  private:
    ~DicomReaderFilter() override;
    IUnknown* FindInterface(REFIID iid) override;
    void End() override;
    HRESULT PauseLocked();

    Lock transitionLock_;
    std::atomic<int> state_{State_Stopped};
    GraphPlace place_;
    ComPointer<IReferenceClock> clock_;

    DicomOutputPin videoPin_;
    StreamOutputPin streamPin_;
    ReaderAutomation automation_;
    ReaderCommon common_;
};

/// Makes a reader for the class factory; the result holds one reference.
HRESULT MakeReader(IUnknown* outer, IUnknown** out);
}  // namespace talv
