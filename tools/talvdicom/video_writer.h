#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/picture.h"

namespace talv {
/// What a video stream is like; all its frames are.
struct VideoShape
{
    VideoFormat format = VideoFormat::y4m;
    int32_t width = 0, height = 0;
    bool colour = false;         ///< of y4m; the other formats tell it
    int64_t frameTimeUnits = 1;  ///< 100 ns
};

/// Frames a second as a fraction in lowest terms, "25/1".
std::string RateText(const VideoShape& shape, char divider);

/// Writes frames on standard output: YUV4MPEG2, grey as full-range luminance only, colour as 4:4:4; or rows
/// of pixels without any header.
class VideoWriter
{
  public:
    /// False when standard output is closed.
    bool Begin(const VideoShape& shape);
    bool Fits(const Picture& picture) const
    {
        return picture.width == shape_.width && picture.height == shape_.height;
    }
    /// `picture` may be changed on the way. False when standard output is closed.
    bool WriteFrame(Picture* picture);

  private:
    void ToPlanes(const Picture& picture);
    bool WriteYuv(Picture* picture);
    bool WriteColour(Picture* picture);
    bool WriteGrey(const Picture& picture);

    VideoShape shape_;
    std::vector<uint8_t> bytes_;
};
}  // namespace talv
