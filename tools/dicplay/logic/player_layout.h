#pragma once

#include <cstdint>

namespace talv {
/// A rectangle in pixels of a window's inner area.
struct Box
{
    int32_t left = 0, top = 0, right = 0, bottom = 0;

    int32_t Width() const { return right - left; }
    int32_t Height() const { return bottom - top; }
    bool Holds(int32_t x, int32_t y) const { return x >= left && x < right && y >= top && y < bottom; }
    bool operator==(const Box&) const = default;
};

/// Where things stand in the window.
struct PlayerLayout
{
    Box view;    ///< for the picture and what surrounds it
    Box button;  ///< play and pause
    Box track;   ///< of the seek bar
    Box status;
};

/// Lengths are made for 96 dots per inch and grow with `dpi`. Without bars the view is everything.
PlayerLayout LayOut(int32_t width, int32_t height, int32_t dpi, bool bars);
/// The largest box of the picture's shape within `view`, in its middle; empty for an empty view or picture.
Box FitPicture(const Box& view, int32_t pictureWidth, int32_t pictureHeight);
/// Inner size of a window for a picture: small ones are shown at a multiple of their size that is easily
/// seen, large ones are made to fit `screen`, and no window is smaller than its bars need.
Box FirstSize(int32_t pictureWidth, int32_t pictureHeight, int32_t screenWidth, int32_t screenHeight,
              int32_t dpi);
int32_t Scaled(int32_t length, int32_t dpi);
/// Smallest inner size.
inline constexpr int32_t kSmallestWidth = 420, kSmallestHeight = 240;

/// The place of a frame on the seek bar's track, and the frame at a place; kept within both.
int32_t PlaceOfFrame(const Box& track, int64_t frame, int64_t frames);
int64_t FrameAtPlace(const Box& track, int32_t x, int64_t frames);
}  // namespace talv
