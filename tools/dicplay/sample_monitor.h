#pragma once

#include <dshow.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "frame_picture.h"
#include "sample_grabber.h"
#include "tools/dicplay/logic/player_text.h"

namespace talv {
inline constexpr UINT kFrameArrived = WM_APP + 1;

/// Sees every sample on its way to the renderer: logs it, counts it, keeps its bytes, and tells a window.
/// Lives on the stack of the graph's maker, which outlives the graph; references are not counted.
class SampleMonitor final : public SampleGrabberCallback
{
  public:
    /// `window` gets the message kFrameArrived after samples, one at a time; may be null.
    SampleMonitor(bool log, HWND window) : log_(log), window_(window) {}
    void TakeType(const AM_MEDIA_TYPE& type);

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP SampleCB(double seconds, IMediaSample* sample) override;
    STDMETHODIMP BufferCB(double, BYTE*, LONG) override { return S_OK; }

    int64_t Frames() const;
    /// Frames that were left out between two that came.
    int64_t Dropped() const;
    const AM_MEDIA_TYPE& Type() const { return type_; }
    /// The last frame's number in the clip, -1 before the first.
    int64_t LastFrame() const;
    /// Samples per second of late.
    double Rate() const;
    void ResetRate();
    /// The window has seen kFrameArrived and may get it again.
    void TakeNotice() { noticed_ = false; }
    /// The last frame as a picture; false before the first.
    bool LastPicture(FramePicture* picture) const;

  private:
    void Log(IMediaSample* sample, const uint8_t* bytes, long length) const;
    int64_t NumberByTime(IMediaSample* sample) const;

    const bool log_;
    const HWND window_;
    std::atomic<bool> noticed_{false};  ///< a message is on its way
    AM_MEDIA_TYPE type_ = {};
    std::vector<uint8_t> format_;
    mutable std::mutex
        mutex_;  ///< guards what follows: the streaming thread writes, the window's thread reads
    std::vector<uint8_t> last_;
    RateMeter rate_;
    int64_t frames_ = 0, dropped_ = 0, expected_ = 0, lastFrame_ = -1;
};
}  // namespace talv
