#pragma once

#include <dshow.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <mutex>
#include <string>
#include <vector>

#include "TVDicRd.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/server_ids.h"
#include "tests/support/dicom_builder.h"
#include "tools/dicplay/notice_capture.h"
#include "tools/dicplay/sample_grabber.h"

namespace talv {
/// The component's file, loaded beside the test program, and its entry points.
struct Server
{
    static Server& Get();
    HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(WINAPI* canUnloadNow)() = nullptr;
    HRESULT(WINAPI* registerServer)() = nullptr;
    HRESULT(WINAPI* unregisterServer)() = nullptr;
    std::wstring path;
    HMODULE module = nullptr;
};

ComPointer<IBaseFilter> MakeFilter();
HRESULT LoadPath(IBaseFilter* filter, const char* path);
ComPointer<IPin> OnlyPin(IBaseFilter* filter);
template <class Interface>
ComPointer<Interface> Query(IUnknown* from, REFIID iid)
{
    ComPointer<Interface> found;
    if (FAILED(from->QueryInterface(iid, found.OutVoid()))) found = {};
    return found;
}

/// An 8-bit grey file of `frames` frames of 4 x 2 pixels; pixel (x, y) of frame n is 16 n + 4 y + x.
DicomBuilder GreyClip(int frames, const char* frameTime = "40");
/// The bytes that frame `n` of GreyClip must arrive as: bottom row first.
ByteVector GreyClipSample(int n);

struct RecordedSample
{
    REFERENCE_TIME start = -1, stop = -1;
    LONGLONG mediaStart = -1, mediaStop = -1;
    bool discontinuity = false, sync = false, preroll = true;
    ByteVector bytes;
};

RecordedSample Record(IMediaSample* sample);

/// Source, sample grabber and null renderer without a clock.
class TestGraph final : private SampleGrabberCallback
{
  public:
    explicit TestGraph(IBaseFilter* filter);
    ~TestGraph();
    HRESULT Run();
    HRESULT Pause() { return control_->Pause(); }
    HRESULT Stop() { return control_->Stop(); }
    /// Waits for the end of the stream; false after 10 seconds.
    bool WaitForEnd();
    void UseClock();
    void WaitForSamples(size_t count);
    std::vector<RecordedSample> Samples() const;
    HRESULT connected = E_FAIL;
    ComPointer<IGraphBuilder> graph;

  private:
    STDMETHODIMP QueryInterface(REFIID, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP SampleCB(double, IMediaSample* sample) override;
    STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

    bool TakeEvent(long wanted, DWORD timeout);

    ComPointer<IBaseFilter> grabberFilter_, sink_;
    ComPointer<IMediaControl> control_;
    ComPointer<IMediaEvent> events_;
    ComPointer<SampleGrabber> grabber_;
    mutable std::mutex mutex_;
    std::vector<RecordedSample> samples_;
};

/// Checks at its end that no component object is left.
class ComponentTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;
};
}  // namespace talv
