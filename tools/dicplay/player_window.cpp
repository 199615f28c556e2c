#include "player_window.h"

#include <commdlg.h>
#include <windowsx.h>
// A block of its own: this header needs those above.
#include <shellapi.h>

#include <algorithm>

#include "player_menu.h"
#include "sample_monitor.h"

namespace talv {
namespace {
constexpr wchar_t kClassName[] = L"TalvPlayerWindow";
constexpr wchar_t kTitle[] = L"dicplay";
constexpr UINT_PTR kTimer = 1;
constexpr UINT kTimerMs = 100;
constexpr UINT kDpiChanged = 0x02E0;  // WM_DPICHANGED of later systems

// Later systems answer for the window's screen, older ones for the whole desktop.
int32_t DpiOf(HWND window)
{
    using GetDpi = UINT(WINAPI*)(HWND);
    const auto getDpi = reinterpret_cast<GetDpi>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
    UINT dpi = getDpi != nullptr ? getDpi(window) : 0;
    if (dpi == 0) {
        const HDC screen = GetDC(nullptr);
        dpi = static_cast<UINT>(GetDeviceCaps(screen, LOGPIXELSX));
        ReleaseDC(nullptr, screen);
    }
    return dpi >= 48 ? static_cast<int32_t>(dpi) : 96;
}

bool IsDown(int key)
{
    return GetKeyState(key) < 0;
}
}  // namespace

PlayerWindow::~PlayerWindow()
{
    if (window_ != nullptr) DestroyWindow(window_);
    if (font_ != nullptr) DeleteObject(font_);
    if (menu_ != nullptr) DestroyMenu(menu_);
}

bool PlayerWindow::Create()
{
    WNDCLASSW description = {};
    description.style = CS_DBLCLKS;
    description.lpfnWndProc = &PlayerWindow::Procedure;
    description.hInstance = GetModuleHandleW(nullptr);
    description.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    description.hIcon = LoadIconW(nullptr, reinterpret_cast<LPCWSTR>(IDI_APPLICATION));
    description.lpszClassName = kClassName;
    RegisterClassW(&description);
    menu_ = MakePlayerMenu();
    CreateWindowExW(WS_EX_ACCEPTFILES, kClassName, kTitle, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                    640, 480, nullptr, menu_, description.hInstance, this);
    if (window_ == nullptr) return false;
    FollowDpi(static_cast<uint32_t>(DpiOf(window_)), nullptr);
    FitTo(0, 0);
    ShowWindow(window_, SW_SHOWNORMAL);
    SetTimer(window_, kTimer, kTimerMs, nullptr);
    return true;
}

void PlayerWindow::FitTo(int32_t pictureWidth, int32_t pictureHeight)
{
    if (sizeIsUsers_ || fullScreen_ || IsZoomed(window_)) return;
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof(monitor);
    if (!GetMonitorInfoW(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    RECT frame = {0, 0, 0, 0};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, TRUE);
    const RECT& work = monitor.rcWork;
    const int32_t frameWidth = frame.right - frame.left, frameHeight = frame.bottom - frame.top;
    const Box size = FirstSize(pictureWidth, pictureHeight, work.right - work.left - frameWidth,
                               work.bottom - work.top - frameHeight, dpi_);
    RECT now;
    GetWindowRect(window_, &now);
    const int32_t width = size.right + frameWidth, height = size.bottom + frameHeight;
    const LONG left = std::max(work.left, std::min(now.left, work.right - width));
    const LONG top = std::max(work.top, std::min(now.top, work.bottom - height));
    SetWindowPos(window_, nullptr, static_cast<int>(left), static_cast<int>(top), width, height,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

PlayerLayout PlayerWindow::Layout() const
{
    RECT area;
    GetClientRect(window_, &area);
    return LayOut(area.right, area.bottom, dpi_, !fullScreen_ || barsShown_);
}

void PlayerWindow::FollowState()
{
    const bool wanted = client_.State().fullScreen;
    if (wanted != fullScreen_) {
        fullScreen_ = wanted;
        barsShown_ = !wanted;
        if (wanted) {
            placement_.length = sizeof(placement_);
            GetWindowPlacement(window_, &placement_);
            MONITORINFO monitor = {};
            monitor.cbSize = sizeof(monitor);
            GetMonitorInfoW(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST), &monitor);
            const RECT& all = monitor.rcMonitor;
            SetMenu(window_, nullptr);
            SetWindowLongPtrW(window_, GWL_STYLE, static_cast<LONG_PTR>(WS_POPUP | WS_VISIBLE));
            SetWindowPos(window_, HWND_TOP, all.left, all.top, all.right - all.left, all.bottom - all.top,
                         SWP_FRAMECHANGED);
        } else {
            SetMenu(window_, menu_);
            SetWindowLongPtrW(window_, GWL_STYLE, WS_OVERLAPPEDWINDOW | WS_VISIBLE);
            SetWindowPlacement(window_, &placement_);
            SetWindowPos(window_, nullptr, 0, 0, 0, 0,
                         SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_FRAMECHANGED);
        }
    }
    Repaint();
}

std::wstring PlayerWindow::AskForFile()
{
    wchar_t name[MAX_PATH * 4] = {};
    OPENFILENAMEW question = {};
    question.lStructSize = sizeof(question);
    question.hwndOwner = window_;
    question.lpstrFilter = L"DICOM files\0*.dcm;*.dic\0All files\0*.*\0";
    question.lpstrFile = name;
    question.nMaxFile = MAX_PATH * 4;
    question.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
    return GetOpenFileNameW(&question) ? name : L"";
}

LRESULT CALLBACK PlayerWindow::Procedure(HWND window, UINT message, WPARAM wide, LPARAM extra)
{
    if (message == WM_NCCREATE) {
        auto* self =
            static_cast<PlayerWindow*>(reinterpret_cast<const CREATESTRUCTW*>(extra)->lpCreateParams);
        self->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    auto* self = reinterpret_cast<PlayerWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr) return DefWindowProcW(window, message, wide, extra);
    const LRESULT result = self->Handle(message, wide, extra);
    if (message == WM_NCDESTROY) self->window_ = nullptr;
    return result;
}

LRESULT PlayerWindow::Handle(UINT message, WPARAM wide, LPARAM extra)
{
    switch (message) {
        case WM_PAINT:
            Paint();
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_SIZE:
            Repaint();
            return 0;
        case WM_ENTERSIZEMOVE:
            GetWindowRect(window_, &sizedFrom_);
            return 0;
        case WM_EXITSIZEMOVE: {
            RECT now;
            GetWindowRect(window_, &now);
            sizeIsUsers_ |= now.right - now.left != sizedFrom_.right - sizedFrom_.left ||
                            now.bottom - now.top != sizedFrom_.bottom - sizedFrom_.top;
            return 0;
        }
        case WM_GETMINMAXINFO:
            LimitSize(reinterpret_cast<MINMAXINFO*>(extra));
            return 0;
        case kDpiChanged:
            FollowDpi(LOWORD(wide), reinterpret_cast<const RECT*>(extra));
            return 0;
        case WM_KEYDOWN:
            client_.Do(CommandOfKey(static_cast<uint32_t>(wide), IsDown(VK_CONTROL), IsDown(VK_SHIFT)));
            return 0;
        case WM_CHAR:
            client_.Do(CommandOfCharacter(static_cast<char32_t>(wide)));
            return 0;
        case WM_COMMAND:
            client_.Do(static_cast<PlayerCommand>(LOWORD(wide)));
            return 0;
        case WM_INITMENUPOPUP:
            UpdatePlayerMenu(menu_, client_.State(), client_.HasLevels());
            return 0;
        case WM_MOUSEWHEEL:
            client_.Do(GET_WHEEL_DELTA_WPARAM(wide) < 0 ? PlayerCommand::stepForward
                                                        : PlayerCommand::stepBack);
            return 0;
        case WM_LBUTTONDOWN:
        case WM_LBUTTONUP:
        case WM_LBUTTONDBLCLK:
        case WM_MOUSEMOVE:
            if (HandleMouse(message, GET_X_LPARAM(extra), GET_Y_LPARAM(extra))) return 0;
            break;
        case WM_CAPTURECHANGED:  // also when another window takes the mouse away: the drag ends where it was
            EndDrag();
            return 0;
        case WM_DROPFILES:
            HandleDrop(wide);
            return 0;
        case WM_TIMER:
            client_.Tick();
            return 0;
        case kFrameArrived:
            client_.FrameArrived();
            return 0;
        case WM_DESTROY:
            menu_ = GetMenu(window_) != nullptr ? nullptr : menu_;  // a menu in place goes with the window
            PostQuitMessage(0);
            return 0;
        default:
            break;
    }
    return DefWindowProcW(window_, message, wide, extra);
}

bool PlayerWindow::HandleMouse(UINT message, int32_t x, int32_t y)
{
    switch (message) {
        case WM_LBUTTONDOWN:
            BeginDrag(x, y);
            return true;
        case WM_LBUTTONDBLCLK:
            if (Layout().view.Holds(x, y))
                client_.Do(PlayerCommand::toggleFullScreen);
            else
                BeginDrag(x, y);
            return true;
        case WM_LBUTTONUP:
            if (dragging_ != Dragging::nothing) {
                lastX_ = x;
                lastY_ = y;
                EndDrag();
                ReleaseCapture();
            }
            return true;
        default:
            break;
    }
    if (dragging_ != Dragging::nothing) {
        MoveDrag(x, y, Drag::move);
    } else if (fullScreen_) {
        RECT area;
        GetClientRect(window_, &area);
        const bool atBars = y >= LayOut(area.right, area.bottom, dpi_, true).view.bottom;
        if (atBars != barsShown_) Repaint();
        barsShown_ = atBars;
    }
    return true;
}

void PlayerWindow::BeginDrag(int32_t x, int32_t y)
{
    const PlayerLayout layout = Layout();
    if (layout.button.Holds(x, y)) {
        client_.Do(PlayerCommand::togglePlay);
        return;
    }
    const bool open = client_.State().frames > 0;
    if (open && layout.track.Holds(x, y))
        dragging_ = Dragging::seek;
    else if (open && layout.view.Holds(x, y) && client_.HasLevels())
        dragging_ = Dragging::levels;
    else
        return;
    dragX_ = x;
    dragY_ = y;
    SetCapture(window_);
    MoveDrag(x, y, Drag::begin);
}

void PlayerWindow::EndDrag()
{
    if (dragging_ == Dragging::nothing) return;
    MoveDrag(lastX_, lastY_, Drag::end);
    dragging_ = Dragging::nothing;
}

void PlayerWindow::MoveDrag(int32_t x, int32_t y, Drag phase)
{
    lastX_ = x;
    lastY_ = y;
    const PlayerLayout layout = Layout();
    if (dragging_ == Dragging::seek)
        client_.DragSeek(phase, FrameAtPlace(layout.track, x, client_.State().frames));
    else
        client_.DragLevels(phase, x - dragX_, y - dragY_, layout.view.Width());
}

void PlayerWindow::HandleDrop(WPARAM drop)
{
    const auto handle = reinterpret_cast<HDROP>(drop);
    const UINT length = DragQueryFileW(handle, 0, nullptr, 0);
    std::wstring name(length + 1, L'\0');
    DragQueryFileW(handle, 0, name.data(), length + 1);
    DragFinish(handle);
    name.resize(length);
    SetForegroundWindow(window_);
    if (!name.empty()) client_.OpenFile(name);
}

void PlayerWindow::LimitSize(MINMAXINFO* limits) const
{
    if (fullScreen_) return;
    RECT frame = {0, 0, Scaled(kSmallestWidth, dpi_), Scaled(kSmallestHeight, dpi_)};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, TRUE);
    limits->ptMinTrackSize = {frame.right - frame.left, frame.bottom - frame.top};
}

void PlayerWindow::FollowDpi(uint32_t dpi, const RECT* suggested)
{
    dpi_ = static_cast<int32_t>(dpi);
    if (font_ != nullptr) DeleteObject(font_);
    font_ = CreateFontW(-Scaled(13, dpi_), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                        OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY, DEFAULT_PITCH | FF_SWISS,
                        L"Segoe UI");
    if (suggested != nullptr)
        SetWindowPos(window_, nullptr, suggested->left, suggested->top, suggested->right - suggested->left,
                     suggested->bottom - suggested->top, SWP_NOZORDER | SWP_NOACTIVATE);
    Repaint();
}
}  // namespace talv
