#include <algorithm>
#include <cstdio>
#include <numeric>

#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/picture.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
constexpr int64_t kUnitsPerSecond = 10'000'000;

/// Writes frames as YUV4MPEG2: grey ones as full-range luminance only, colour ones as 4:4:4.
class Yuv4MpegWriter
{
  public:
    /// False when standard output is closed.
    bool WriteHeader(const Picture& first, int64_t frameTimeUnits)
    {
        width_ = first.width;
        height_ = first.height;
        colour_ = first.channels == 3;
        const int64_t divisor = std::gcd(kUnitsPerSecond, frameTimeUnits);
        std::printf("YUV4MPEG2 W%d H%d F%lld:%lld Ip A1:1 %s\n", width_, height_,
                    static_cast<long long>(kUnitsPerSecond / divisor),
                    static_cast<long long>(frameTimeUnits / divisor),
                    colour_ ? "C444" : "Cmono XCOLORRANGE=FULL");
        return std::ferror(stdout) == 0;
    }

    bool Fits(const Picture& picture) const { return picture.width == width_ && picture.height == height_; }

    /// False when standard output is closed.
    bool WriteFrame(Picture* picture)
    {
        if (colour_) MakeColour(picture);
        if (picture->channels == 3) ToPlanes(*picture);  // of a grey stream only the first plane is written
        const std::vector<uint8_t>& bytes = picture->channels == 3 ? planes_ : picture->pixels;
        const size_t count = size_t(width_) * size_t(height_) * (colour_ ? 3 : 1);
        return std::fputs("FRAME\n", stdout) >= 0 && std::fwrite(bytes.data(), 1, count, stdout) == count;
    }

  private:
    /// BT.601 in eight fraction bits: Y 16..235, Cb and Cr 16..240. White: (66 + 129 + 25) * 255 + 128 >> 8 =
    /// 219.
    void ToPlanes(const Picture& picture)
    {
        const size_t count = picture.pixels.size() / 3;
        planes_.resize(count * 3);
        const uint8_t* rgb = picture.pixels.data();
        for (size_t i = 0; i < count; ++i, rgb += 3) {
            const int r = rgb[0], g = rgb[1], b = rgb[2];
            planes_[i] = static_cast<uint8_t>(16 + ((66 * r + 129 * g + 25 * b + 128) >> 8));
            planes_[count + i] = static_cast<uint8_t>(128 + ((-38 * r - 74 * g + 112 * b + 128) >> 8));
            planes_[2 * count + i] = static_cast<uint8_t>(128 + ((112 * r - 94 * g - 18 * b + 128) >> 8));
        }
    }

    int32_t width_ = 0, height_ = 0;
    bool colour_ = false;
    std::vector<uint8_t> planes_;
};
}  // namespace

int RunStream(const std::string& file)
{
    OpenedFile opened;
    if (!opened.OpenForFrames(file)) return Complain(file, opened.refusal);
    GreyView view = ChooseView(opened.source);
    const int64_t count = opened.FramesToDecode();
    Progress progress("frame", count);
    Yuv4MpegWriter writer;
    Picture picture, shown;
    for (int64_t frame = 0; frame < count; ++frame) {
        DecodedFrame decoded(opened.source, frame);
        const bool drawn = decoded.Status() == kDicomOk && DrawBitmap(decoded.Bitmap(), &view, &picture);
        if (frame == 0) {
            if (!drawn) return Complain(file, "no picture can be made of the first frame");
            if (!writer.WriteHeader(picture, opened.timeline.frameTimeUnits)) return kDone;
        }
        // A frame that cannot be shown repeats the one before, as in the player.
        if (drawn && writer.Fits(picture)) std::swap(shown, picture);
        if (!writer.WriteFrame(&shown)) return kDone;  // whoever read the stream has had enough
        progress.Show(frame + 1);
    }
    std::fflush(stdout);
    return kDone;
}
}  // namespace talv
