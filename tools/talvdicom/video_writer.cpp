#include "tools/talvdicom/video_writer.h"

#include <numeric>

#include "tools/talvdicom/output.h"

namespace talv {
namespace {
constexpr int64_t kUnitsPerSecond = 10'000'000;

/// BT.601 luminance of full range, for colour pictures in a grey stream.
uint8_t Luminance(const uint8_t* rgb)
{
    return static_cast<uint8_t>((77 * rgb[0] + 150 * rgb[1] + 29 * rgb[2] + 128) >> 8);
}
}  // namespace

std::string RateText(const VideoShape& shape, char divider)
{
    const int64_t divisor = std::gcd(kUnitsPerSecond, shape.frameTimeUnits);
    return std::to_string(kUnitsPerSecond / divisor) + divider +
           std::to_string(shape.frameTimeUnits / divisor);
}

bool VideoWriter::Begin(const VideoShape& shape)
{
    shape_ = shape;
    if (shape.format != VideoFormat::y4m) return true;
    return WriteOutput("YUV4MPEG2 W" + std::to_string(shape.width) + " H" + std::to_string(shape.height) +
                       " F" + RateText(shape, ':') + " Ip A1:1 " +
                       (shape.colour ? "C444\n" : "Cmono XCOLORRANGE=FULL\n"));
}

bool VideoWriter::WriteFrame(Picture* picture)
{
    switch (shape_.format) {
        case VideoFormat::y4m:
            return WriteYuv(picture) && FlushOutput();
        case VideoFormat::bgr24:
        case VideoFormat::rgb24:
            return WriteColour(picture) && FlushOutput();
        case VideoFormat::gray:
        case VideoFormat::gray16le:
            return WriteGrey(*picture) && FlushOutput();
    }
    return false;
}

/// BT.601 in eight fraction bits: Y 16..235, Cb and Cr 16..240. White: (66 + 129 + 25) * 255 + 128 >> 8 =
/// 219.
void VideoWriter::ToPlanes(const Picture& picture)
{
    const size_t count = picture.pixels.size() / 3;
    bytes_.resize(count * 3);
    const uint8_t* rgb = picture.pixels.data();
    for (size_t i = 0; i < count; ++i, rgb += 3) {
        const int r = rgb[0], g = rgb[1], b = rgb[2];
        bytes_[i] = static_cast<uint8_t>(16 + ((66 * r + 129 * g + 25 * b + 128) >> 8));
        bytes_[count + i] = static_cast<uint8_t>(128 + ((-38 * r - 74 * g + 112 * b + 128) >> 8));
        bytes_[2 * count + i] = static_cast<uint8_t>(128 + ((112 * r - 94 * g - 18 * b + 128) >> 8));
    }
}

bool VideoWriter::WriteYuv(Picture* picture)
{
    if (!WriteOutput("FRAME\n")) return false;
    if (!shape_.colour) return WriteGrey(*picture);
    MakeColour(picture);
    ToPlanes(*picture);
    return WriteOutput(bytes_.data(), bytes_.size());
}

bool VideoWriter::WriteColour(Picture* picture)
{
    MakeColour(picture);
    if (shape_.format == VideoFormat::rgb24)
        return WriteOutput(picture->pixels.data(), picture->pixels.size());
    bytes_.resize(picture->pixels.size());
    for (size_t i = 0; i + 2 < bytes_.size(); i += 3) {
        bytes_[i] = picture->pixels[i + 2];
        bytes_[i + 1] = picture->pixels[i + 1];
        bytes_[i + 2] = picture->pixels[i];
    }
    return WriteOutput(bytes_.data(), bytes_.size());
}

bool VideoWriter::WriteGrey(const Picture& picture)
{
    const bool deep = shape_.format == VideoFormat::gray16le;
    if (!deep && picture.channels == 1) return WriteOutput(picture.pixels.data(), picture.pixels.size());
    const size_t count = size_t(shape_.width) * size_t(shape_.height);
    bytes_.resize(count * (deep ? 2 : 1));
    for (size_t i = 0; i < count; ++i) {
        const uint32_t level = !picture.deep.empty()   ? picture.deep[i]
                               : picture.channels == 1 ? picture.pixels[i]
                                                       : Luminance(&picture.pixels[3 * i]);
        if (!deep) {
            bytes_[i] = static_cast<uint8_t>(level);
            continue;
        }
        const uint32_t fine = picture.deep.empty() ? level * 257 : level;
        bytes_[2 * i] = static_cast<uint8_t>(fine);
        bytes_[2 * i + 1] = static_cast<uint8_t>(fine >> 8);
    }
    return WriteOutput(bytes_.data(), bytes_.size());
}
}  // namespace talv
