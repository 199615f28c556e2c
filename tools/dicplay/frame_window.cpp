#include "frame_window.h"

#include "sample_monitor.h"

namespace talv {
namespace {
constexpr wchar_t kClassName[] = L"TalvFrameWindow";
}

FrameWindow::~FrameWindow()
{
    if (window_ != nullptr) DestroyWindow(window_);
}

bool FrameWindow::Create(int width, int height, const wchar_t* title)
{
    WNDCLASSW description = {};
    description.lpfnWndProc = &FrameWindow::Procedure;
    description.hInstance = GetModuleHandleW(nullptr);
    description.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    description.lpszClassName = kClassName;
    RegisterClassW(&description);
    RECT area = {0, 0, width, height};
    AdjustWindowRect(&area, WS_OVERLAPPEDWINDOW, FALSE);
    window_ = CreateWindowExW(0, kClassName, title, WS_OVERLAPPEDWINDOW | WS_VISIBLE, CW_USEDEFAULT,
                              CW_USEDEFAULT, area.right - area.left, area.bottom - area.top, nullptr, nullptr,
                              description.hInstance, this);
    return window_ != nullptr;
}

void FrameWindow::Paint()
{
    PAINTSTRUCT paint;
    const HDC context = BeginPaint(window_, &paint);
    FramePicture picture;
    if (monitor_ != nullptr && monitor_->LastPicture(&picture)) {
        RECT area;
        GetClientRect(window_, &area);
        BITMAPINFO info = {};
        info.bmiHeader = PictureHeader(picture);
        SetStretchBltMode(context, COLORONCOLOR);
        StretchDIBits(context, 0, 0, area.right, area.bottom, 0, 0, picture.width, picture.height,
                      picture.pixels.data(), &info, DIB_RGB_COLORS, SRCCOPY);
    }
    EndPaint(window_, &paint);
}

LRESULT CALLBACK FrameWindow::Procedure(HWND window, UINT message, WPARAM wide, LPARAM extra)
{
    if (message == WM_NCCREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(extra);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    auto* self = reinterpret_cast<FrameWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == WM_PAINT && self->window_ != nullptr) {
        self->Paint();
        return 0;
    }
    if (self != nullptr && message == WM_DESTROY) self->window_ = nullptr;
    return DefWindowProcW(window, message, wide, extra);
}
}  // namespace talv
