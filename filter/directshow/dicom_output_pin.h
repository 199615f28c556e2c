#pragma once

#include "filter/directshow/output_pin.h"
#include "filter/directshow/worker_thread.h"
#include "filter/frame_timeline.h"

namespace talv {
/// The video pin: pushes one sample per frame from a worker thread of its own, and answers seeking and
/// quality.
class DicomOutputPin final : public OutputPin, public IMediaSeeking, public IQualityControl
{
  public:
    explicit DicomOutputPin(DicomReaderFilter& filter) : OutputPin(filter, L"Output") {}
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        return OutputPin::QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return OutputPin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return OutputPin::Release(); }

    HRESULT GetMediaType(int position, MediaType* out) override;
    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;

    /// Starts the worker and sets it going; nothing when the pin is not connected.
    HRESULT Activate();
    /// Ends the worker and waits for it.
    void Deactivate();
    bool IsActive();
    /// When it is the worker that drops the filter's last reference, from a call of downstream's: true, and the
    /// worker deletes the filter once it is back from there.
    bool LeaveEndToWorker();

    // IMediaSeeking
    STDMETHODIMP GetCapabilities(DWORD* out) override;
    STDMETHODIMP CheckCapabilities(DWORD* capabilities) override;
    STDMETHODIMP IsFormatSupported(const GUID* format) override;
    STDMETHODIMP QueryPreferredFormat(GUID* out) override;
    STDMETHODIMP GetTimeFormat(GUID* out) override;
    STDMETHODIMP IsUsingTimeFormat(const GUID* format) override;
    STDMETHODIMP SetTimeFormat(const GUID* format) override;
    STDMETHODIMP GetDuration(LONGLONG* out) override;
    STDMETHODIMP GetStopPosition(LONGLONG* out) override;
    STDMETHODIMP GetCurrentPosition(LONGLONG* out) override;
    STDMETHODIMP ConvertTimeFormat(LONGLONG* out, const GUID* target, LONGLONG value,
                                   const GUID* source) override;
    STDMETHODIMP SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                              DWORD stopFlags) override;
    STDMETHODIMP GetPositions(LONGLONG* current, LONGLONG* stop) override;
    STDMETHODIMP GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    STDMETHODIMP SetRate(double rate) override;
    STDMETHODIMP GetRate(double* out) override;
    STDMETHODIMP GetPreroll(LONGLONG* out) override;
    // IQualityControl
    STDMETHODIMP Notify(IBaseFilter* sender, Quality quality) override;
    STDMETHODIMP SetSink(IQualityControl*) override { return E_NOTIMPL; }

  private:
    IUnknown* FindPinInterface(REFIID iid) override;
    HRESULT CheckBeforeSet(const AM_MEDIA_TYPE& type) override;
    HRESULT CompleteConnect(IPin* peer) override;
    void BreakConnect() override;
    HRESULT DecideAllocator(IMemInputPin* input);
    HRESULT TryAllocator(IMemInputPin* input, IMemAllocator* allocator, ALLOCATOR_PROPERTIES wanted);

    bool MarkRestart();
    void RestartStream();
    static void RunWorker(void* pin);
    void ObeyCommands();
    HRESULT ProduceSamples();
    HRESULT TakeFormatChange(IMediaSample* sample);
    HRESULT FillSample(IMediaSample* sample);

    // Set while connecting or disconnecting, when there is no worker; so the worker reads them without a
    // lock.
    ComPointer<IMemInputPin> input_;
    ComPointer<IMemAllocator> allocator_;

    Lock workerLock_;  ///< guards starting, telling and joining worker_; see DicomReaderFilter for the order
    WorkerThread worker_;
    bool endsFilter_ = false;  ///< worker only
    bool restarting_ = false;  ///< from the change of the position to the end of its flush; seeking lock
};
}  // namespace talv
