#include "tools/dicplay/logic/player_layout.h"

#include <algorithm>

namespace talv {
namespace {
constexpr int32_t kTrackRow = 30, kStatusRow = 22, kMargin = 10, kButton = 22;
constexpr int32_t kEasilySeen = 512;  // the larger side of a small picture, at least about this
}  // namespace

int32_t Scaled(int32_t length, int32_t dpi)
{
    return static_cast<int32_t>(int64_t{length} * dpi / 96);
}

PlayerLayout LayOut(int32_t width, int32_t height, int32_t dpi, bool bars)
{
    PlayerLayout layout;
    width = std::max(width, 0);
    height = std::max(height, 0);
    const int32_t rows = bars ? std::min(height, Scaled(kTrackRow + kStatusRow, dpi)) : 0;
    layout.view = {0, 0, width, height - rows};
    if (!bars) return layout;
    const int32_t margin = Scaled(kMargin, dpi), top = layout.view.bottom;
    const int32_t below = top + Scaled(kTrackRow, dpi);
    layout.button = {margin, top, margin + Scaled(kButton, dpi), below};
    const int32_t left = layout.button.right + margin;
    layout.track = {left, top, std::max(left, width - margin), below};
    layout.status = {margin, below, std::max(margin, width - margin), below + Scaled(kStatusRow, dpi)};
    return layout;
}

Box FitPicture(const Box& view, int32_t pictureWidth, int32_t pictureHeight)
{
    const int64_t width = view.Width(), height = view.Height();
    if (width <= 0 || height <= 0 || pictureWidth <= 0 || pictureHeight <= 0) return {};
    int64_t fitWidth = width, fitHeight = (width * pictureHeight + pictureWidth / 2) / pictureWidth;
    if (fitHeight > height) {
        fitHeight = height;
        fitWidth = std::min(width, (height * pictureWidth + pictureHeight / 2) / pictureHeight);
    }
    fitWidth = std::max<int64_t>(fitWidth, 1);
    fitHeight = std::max<int64_t>(fitHeight, 1);
    const auto left = static_cast<int32_t>(view.left + (width - fitWidth) / 2);
    const auto top = static_cast<int32_t>(view.top + (height - fitHeight) / 2);
    return {left, top, left + static_cast<int32_t>(fitWidth), top + static_cast<int32_t>(fitHeight)};
}

Box FirstSize(int32_t pictureWidth, int32_t pictureHeight, int32_t screenWidth, int32_t screenHeight,
              int32_t dpi)
{
    const int32_t bars = Scaled(kTrackRow + kStatusRow, dpi), seen = Scaled(kEasilySeen, dpi);
    const int32_t larger = std::max({pictureWidth, pictureHeight, 1});
    const int32_t times = std::max(1, seen / larger);
    const Box room = {0, 0, std::max(screenWidth, 1), std::max(screenHeight - bars, 1)};
    Box size = {0, 0, static_cast<int32_t>(std::min<int64_t>(int64_t{pictureWidth} * times, INT32_MAX)),
                static_cast<int32_t>(std::min<int64_t>(int64_t{pictureHeight} * times, INT32_MAX))};
    if (size.right > room.right || size.bottom > room.bottom) {
        const Box fit = FitPicture(room, pictureWidth, pictureHeight);
        size = {0, 0, fit.Width(), fit.Height()};
    }
    return {0, 0, std::max(size.right, Scaled(kSmallestWidth, dpi)),
            std::max(size.bottom + bars, Scaled(kSmallestHeight, dpi))};
}

int32_t PlaceOfFrame(const Box& track, int64_t frame, int64_t frames)
{
    if (frames < 2) return track.left;
    const int64_t at = std::clamp<int64_t>(frame, 0, frames - 1);
    return track.left + static_cast<int32_t>(at * track.Width() / (frames - 1));
}

int64_t FrameAtPlace(const Box& track, int32_t x, int64_t frames)
{
    if (frames < 2 || track.Width() <= 0) return 0;
    const int64_t along = std::clamp(x - track.left, 0, track.Width());
    return (along * (frames - 1) + track.Width() / 2) / track.Width();
}
}  // namespace talv
