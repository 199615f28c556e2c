#pragma once

#include <windows.h>

#include <string>

#include "frame_picture.h"
#include "tools/dicplay/logic/player_keys.h"
#include "tools/dicplay/logic/player_layout.h"
#include "tools/dicplay/logic/player_state.h"

namespace talv {
/// Phases of a drag with the mouse.
enum class Drag
{
    begin,
    move,
    end,
};

/// What the window asks of the player and tells it. All calls come on the window's thread.
class PlayerWindowClient
{
  public:
    virtual const PlayerState& State() const = 0;
    virtual bool LastPicture(FramePicture* picture) const = 0;
    virtual std::wstring Status() const = 0;
    /// Lines over the picture's corner; empty: none.
    virtual std::wstring Info() const = 0;
    /// Stands in place of a picture: what went wrong, or how to begin.
    virtual std::wstring Message() const = 0;
    virtual bool HasLevels() const = 0;

    virtual void Do(PlayerCommand command) = 0;
    virtual void OpenFile(const std::wstring& file) = 0;
    virtual void DragSeek(Drag phase, int64_t frame) = 0;
    /// Pixels from where the drag began; `across`: the picture's width.
    virtual void DragLevels(Drag phase, int32_t right, int32_t down, int32_t across) = 0;
    virtual void FrameArrived() = 0;
    virtual void Tick() = 0;

  protected:
    ~PlayerWindowClient() = default;
};

/// The player's window: picture, seek bar, status line, menu. Made and used on the main thread.
class PlayerWindow
{
  public:
    explicit PlayerWindow(PlayerWindowClient& client) : client_(client) {}
    ~PlayerWindow();
    PlayerWindow(const PlayerWindow&) = delete;
    PlayerWindow& operator=(const PlayerWindow&) = delete;

    bool Create();
    HWND Handle() const { return window_; }
    /// Gives the window the size for a picture unless the user has chosen one.
    void FitTo(int32_t pictureWidth, int32_t pictureHeight);
    void SetTitle(const std::wstring& text) { SetWindowTextW(window_, text.c_str()); }
    void Repaint() { InvalidateRect(window_, nullptr, FALSE); }
    /// Full screen or not, as the state says.
    void FollowState();
    /// Asks for a file; empty when the user thought better of it.
    std::wstring AskForFile();
    void Close() { DestroyWindow(window_); }

  private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM extra);
    LRESULT Handle(UINT message, WPARAM wide, LPARAM extra);
    bool HandleMouse(UINT message, int32_t x, int32_t y);
    void BeginDrag(int32_t x, int32_t y);
    void MoveDrag(int32_t x, int32_t y, Drag phase);
    void EndDrag();
    void HandleDrop(WPARAM drop);
    void LimitSize(MINMAXINFO* limits) const;
    void FollowDpi(uint32_t dpi, const RECT* suggested);
    PlayerLayout Layout() const;
    void Paint();
    void PaintView(HDC context, const PlayerLayout& layout) const;
    void PaintBars(HDC context, const PlayerLayout& layout) const;
    void PaintButton(HDC context, const Box& box) const;
    void PaintTrack(HDC context, const Box& track) const;
    void WriteText(HDC context, const std::wstring& text, const Box& box, UINT form, COLORREF colour) const;

    enum class Dragging
    {
        nothing,
        seek,
        levels,
    };

    PlayerWindowClient& client_;
    HWND window_ = nullptr;
    HMENU menu_ = nullptr;
    HFONT font_ = nullptr;
    int32_t dpi_ = 96;
    Dragging dragging_ = Dragging::nothing;
    int32_t dragX_ = 0, dragY_ = 0;  ///< where the drag began
    int32_t lastX_ = 0, lastY_ = 0;
    bool fullScreen_ = false, sizeIsUsers_ = false;
    RECT sizedFrom_ = {};
    bool barsShown_ = true;  ///< in full screen only while the mouse is near
    WINDOWPLACEMENT placement_ = {};
};
}  // namespace talv
