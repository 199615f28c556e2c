#pragma once

#include <dshow.h>

#include <atomic>
#include <memory>

#include "TVGreyDisplay.h"
#include "filter/directshow/graph_place.h"
#include "filter/greydisplay/grey_display.h"
#include "filter/greydisplay/windows/grey_input_pin.h"
#include "filter/greydisplay/windows/grey_output_pin.h"

namespace talv {
/// The display filter: grey-scale samples in, RGB32 out, with a window that hosts may change at any time.
///
/// Locks, in the order in which they may be taken; a thread holding one takes only later ones:
///
///   transitionLock_  a change of state from its first to its last step
///   streamLock       what the stream does: a frame from its arrival to downstream's answer, the end of the
///                    stream, the end of a flush
///   filterLock       graph, clock, peers, types, allocator of the input; a leaf
///   displayLock_     the display: window and table; a leaf, held while a table is made (below a millisecond)
class GreyDisplayFilter final : public ComObject, public IBaseFilter, public ITVGreyDisplay
{
  public:
    /// Throws std::bad_alloc.
    explicit GreyDisplayFilter(IUnknown* outer);
    TALV_FORWARD_UNKNOWN(Outer())

    FILTER_STATE State() const { return static_cast<FILTER_STATE>(state_.load(std::memory_order_acquire)); }
    GreyInputPin& Input() { return input_; }
    GreyOutputPin& Output() { return output_; }
    /// The input's block; null before there is one.
    std::shared_ptr<const GreyBlock> Block() const;
    /// A connected output takes the pictures of `block` without another agreement.
    bool FitsOutput(const GreyBlock& block);
    /// Starts with the block of a type that the input has checked.
    HRESULT TakeBlock(const AM_MEDIA_TYPE& type);
    /// Converts a frame and delivers it; under the stream lock.
    HRESULT Show(IMediaSample* sample);

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
    // ITVGreyDisplay
    STDMETHODIMP GetWindow(double* center, double* width) override;
    STDMETHODIMP SetWindow(double center, double width) override;
    STDMETHODIMP ResetWindow() override;
    STDMETHODIMP GetFileWindow(double* center, double* width) override;
    STDMETHODIMP GetValueRange(double* smallest, double* largest) override;

    mutable Lock filterLock;
    Lock streamLock;

  private:
    ~GreyDisplayFilter() override = default;
    IUnknown* FindInterface(REFIID iid) override;
    HRESULT Convert(IMediaSample* in, IMediaSample* out, const RgbForm& form);
    HRESULT PauseLocked();

    Lock transitionLock_;
    mutable Lock displayLock_;
    GreyDisplay display_;
    std::atomic<int> state_{State_Stopped};
    GraphPlace place_;
    ComPointer<IReferenceClock> clock_;

    GreyInputPin input_;
    GreyOutputPin output_;
};

/// Makes a display for the class factory; the result holds one reference.
HRESULT MakeGreyDisplay(IUnknown* outer, IUnknown** out);
}  // namespace talv
