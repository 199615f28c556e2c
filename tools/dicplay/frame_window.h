#pragma once

#include <windows.h>

namespace talv {
class SampleMonitor;

/// A window of our own, for types that no renderer of the system takes. Made and used on the main thread.
class FrameWindow
{
  public:
    FrameWindow() = default;
    ~FrameWindow();
    FrameWindow(const FrameWindow&) = delete;
    FrameWindow& operator=(const FrameWindow&) = delete;

    bool Create(int width, int height, const wchar_t* title);
    void ShowFramesOf(const SampleMonitor* monitor) { monitor_ = monitor; }
    HWND Handle() const { return window_; }
    bool IsOpen() const { return window_ != nullptr; }

  private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM extra);
    void Paint();

    HWND window_ = nullptr;
    const SampleMonitor* monitor_ = nullptr;
};
}  // namespace talv
