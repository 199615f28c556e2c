// What the player's window looks like.
#include <algorithm>

#include "player_window.h"

namespace talv {
namespace {
constexpr COLORREF kViewColour = RGB(16, 16, 16), kBarColour = RGB(43, 45, 48);
constexpr COLORREF kTextColour = RGB(222, 222, 222), kDimColour = RGB(110, 114, 120);
constexpr COLORREF kAccentColour = RGB(88, 166, 255);

RECT RectOf(const Box& box)
{
    return {box.left, box.top, box.right, box.bottom};
}

void Fill(HDC context, const Box& box, COLORREF colour)
{
    const RECT area = RectOf(box);
    SetDCBrushColor(context, colour);
    FillRect(context, &area, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

// Shapes without outline, in one colour.
class ShapeColour
{
  public:
    ShapeColour(HDC context, COLORREF colour)
        : context_(context),
          brush_(SelectObject(context, GetStockObject(DC_BRUSH))),
          pen_(SelectObject(context, GetStockObject(NULL_PEN)))
    {
        SetDCBrushColor(context, colour);
    }
    ~ShapeColour()
    {
        SelectObject(context_, brush_);
        SelectObject(context_, pen_);
    }
    ShapeColour(const ShapeColour&) = delete;
    ShapeColour& operator=(const ShapeColour&) = delete;

  private:
    const HDC context_;
    const HGDIOBJ brush_, pen_;
};

void DrawPicture(HDC context, const FramePicture& picture, const Box& box)
{
    BITMAPINFO info = {};
    info.bmiHeader = PictureHeader(picture);
    // Averaging where pixels are left out; larger pictures show their pixels as they are.
    SetStretchBltMode(context, box.Width() < picture.width ? HALFTONE : COLORONCOLOR);
    SetBrushOrgEx(context, 0, 0, nullptr);
    StretchDIBits(context, box.left, box.top, box.Width(), box.Height(), 0, 0, picture.width, picture.height,
                  picture.pixels.data(), &info, DIB_RGB_COLORS, SRCCOPY);
}
}  // namespace

void PlayerWindow::WriteText(HDC context, const std::wstring& text, const Box& box, UINT form,
                             COLORREF colour) const
{
    RECT area = RectOf(box);
    const HGDIOBJ font = SelectObject(context, font_);
    SetBkMode(context, TRANSPARENT);
    SetTextColor(context, colour);
    DrawTextW(context, text.c_str(), static_cast<int>(text.size()), &area, form | DT_NOPREFIX);
    SelectObject(context, font);
}

// Everything is drawn in memory first, so that nothing flickers.
void PlayerWindow::Paint()
{
    PAINTSTRUCT paint;
    const HDC screen = BeginPaint(window_, &paint);
    RECT area;
    GetClientRect(window_, &area);
    const HDC context = CreateCompatibleDC(screen);
    const HBITMAP canvas =
        CreateCompatibleBitmap(screen, std::max(area.right, LONG{1}), std::max(area.bottom, LONG{1}));
    const HGDIOBJ before = SelectObject(context, canvas);
    const PlayerLayout layout = Layout();
    PaintView(context, layout);
    if (layout.view.bottom < area.bottom) PaintBars(context, layout);
    BitBlt(screen, 0, 0, area.right, area.bottom, context, 0, 0, SRCCOPY);
    SelectObject(context, before);
    DeleteObject(canvas);
    DeleteDC(context);
    EndPaint(window_, &paint);
}

void PlayerWindow::PaintView(HDC context, const PlayerLayout& layout) const
{
    Fill(context, layout.view, kViewColour);
    const std::wstring message = client_.Message();
    FramePicture picture;
    if (message.empty() && client_.LastPicture(&picture))
        DrawPicture(context, picture, FitPicture(layout.view, picture.width, picture.height));
    const int32_t margin = Scaled(12, dpi_);
    Box text = {layout.view.left + margin, layout.view.top + margin, layout.view.right - margin,
                layout.view.bottom};
    if (!message.empty()) {
        RECT measured = RectOf(text);
        const HGDIOBJ font = SelectObject(context, font_);
        DrawTextW(context, message.c_str(), -1, &measured, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
        SelectObject(context, font);
        const auto height = static_cast<int32_t>(measured.bottom - measured.top);
        text.top = std::max(text.top, (layout.view.Height() - height) / 2);
        WriteText(context, message, text, DT_CENTER | DT_WORDBREAK, kTextColour);
    }
    const std::wstring info = client_.Info();
    if (info.empty()) return;
    // Readable on any picture: dark below, light above.
    Box shadow = text;
    ++shadow.left, ++shadow.top;
    WriteText(context, info, shadow, DT_LEFT, RGB(0, 0, 0));
    WriteText(context, info, text, DT_LEFT, RGB(255, 238, 160));
}

void PlayerWindow::PaintBars(HDC context, const PlayerLayout& layout) const
{
    Fill(context, {0, layout.view.bottom, layout.view.right, layout.status.bottom}, kBarColour);
    PaintButton(context, layout.button);
    PaintTrack(context, layout.track);
    WriteText(context, client_.Status(), layout.status,
              DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_END_ELLIPSIS, kTextColour);
}

void PlayerWindow::PaintButton(HDC context, const Box& box) const
{
    const PlayerState& state = client_.State();
    const ShapeColour colour(context, state.frames > 0 ? kTextColour : kDimColour);
    const int32_t half = Scaled(7, dpi_), x = (box.left + box.right) / 2, y = (box.top + box.bottom) / 2;
    if (state.playing) {
        const int32_t bar = Scaled(5, dpi_);
        Rectangle(context, x - half, y - half, x - half + bar + 1, y + half + 1);
        Rectangle(context, x + half - bar, y - half, x + half + 1, y + half + 1);
        return;
    }
    const POINT triangle[] = {
        {x - half + Scaled(2, dpi_), y - half}, {x + half, y}, {x - half + Scaled(2, dpi_), y + half}};
    Polygon(context, triangle, 3);
}

void PlayerWindow::PaintTrack(HDC context, const Box& track) const
{
    const PlayerState& state = client_.State();
    const int32_t middle = (track.top + track.bottom) / 2, half = Scaled(2, dpi_);
    const int32_t place = PlaceOfFrame(track, state.shown, state.frames);
    Fill(context, {track.left, middle - half, track.right, middle + half}, kDimColour);
    if (state.frames == 0) return;
    Fill(context, {track.left, middle - half, place, middle + half}, kAccentColour);
    const ShapeColour colour(context, kAccentColour);
    const int32_t radius = Scaled(7, dpi_);
    Ellipse(context, place - radius, middle - radius, place + radius + 1, middle + radius + 1);
}
}  // namespace talv
