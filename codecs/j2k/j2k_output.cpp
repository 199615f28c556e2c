#include "codecs/j2k/j2k_output.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "codecs/codec_status.h"
#include "codecs/j2k/j2k_output_rows.h"
#include "platform/cpu.h"

namespace talv {
namespace {
constexpr int64_t kStripRows = 16;

/// The rows of one thread.
struct Lines
{
    std::vector<int32_t> samples[4];
    std::vector<int32_t> spread;
    std::vector<float> transformed[3];
    std::vector<int32_t> transformedInt[3];
};

class TileWriter
{
  public:
    TileWriter(const J2KImage& image, J2kTile& tile, const J2KDestination& destination)
        : image_(image), tile_(tile), destination_(destination)
    {
        const size_t components = tile.components.size();
        for (size_t c = 0; c < components; ++c)
            ranges_.push_back(RangeOfJ2kSamples(image.components[c], destination.bytesPerSample));
        firstX_ = tile.rect.x0 - image.offsetX;
        width_ = std::min<int64_t>(tile.rect.x1 - image.offsetX, destination.width) - firstX_;
        firstY_ = tile.rect.y0 - image.offsetY;
        height_ = std::min<int64_t>(tile.rect.y1 - image.offsetY, destination.height) - firstY_;
        transform_ = UsesTransform();
    }

    void Run(CodecWorkers& workers)
    {
        if (width_ <= 0 || height_ <= 0) return;
        std::vector<Lines> lines(workers.Count());
        for (Lines& l : lines) Prepare(l);
        const auto strip = [&](size_t index, unsigned thread) {
            const int64_t from = static_cast<int64_t>(index) * kStripRows;
            for (int64_t y = from; y < std::min(from + kStripRows, height_); ++y) WriteRow(y, lines[thread]);
        };
        const auto strips = static_cast<size_t>((height_ + kStripRows - 1) / kStripRows);
        if (width_ * height_ < 16384) {
            for (size_t i = 0; i < strips; ++i) strip(i, 0);
        } else {
            workers.Run(strips, strip);
        }
    }

  private:
    /// Three components of one geometry and one kind (T.800 G.1); else each stands for itself.
    bool UsesTransform() const
    {
        if (!tile_.componentTransform || tile_.components.size() < 3) return false;
        for (size_t c = 0; c < 3; ++c) {
            const J2kTileComponent& component = tile_.components[c];
            const J2kTileComponent& first = tile_.components[0];
            if (component.rect.Empty() || component.rect.x0 != first.rect.x0 ||
                component.rect.y0 != first.rect.y0 || component.rect.x1 != first.rect.x1 ||
                component.rect.y1 != first.rect.y1 || component.style.reversible != first.style.reversible ||
                image_.components[c].stepX != image_.components[0].stepX ||
                image_.components[c].stepY != image_.components[0].stepY)
                return false;
        }
        return true;
    }

    void Prepare(Lines& lines)
    {
        size_t widest = static_cast<size_t>(width_);
        for (const J2kTileComponent& component : tile_.components)
            widest = std::max(widest, static_cast<size_t>(std::max<int64_t>(component.rect.Width(), 0)));
        for (size_t c = 0; c < tile_.components.size(); ++c) lines.samples[c].resize(widest);
        lines.spread.resize(widest);
        for (int c = 0; transform_ && c < 3; ++c) {
            if (tile_.components[0].style.reversible)
                lines.transformedInt[c].resize(widest);
            else
                lines.transformed[c].resize(widest);
        }
    }

    /// Row of component `c` that covers the tile's row `y`.
    int64_t ComponentRow(size_t c, int64_t y) const
    {
        const J2kRect& rect = tile_.components[c].rect;
        const int64_t row = (tile_.rect.y0 + y) / image_.components[c].stepY - rect.y0;
        return std::clamp<int64_t>(row, 0, rect.Height() - 1);
    }

    void WriteRow(int64_t y, Lines& lines)
    {
        const J2kOutputKernels& kernels = BestJ2kOutputKernels();
        if (transform_) Transform(y, lines, kernels);
        const size_t components = tile_.components.size();
        for (size_t c = 0; c < components; ++c) {
            const J2kTileComponent& component = tile_.components[c];
            int32_t* to = lines.samples[c].data();
            if (component.rect.Empty()) {
                std::fill_n(to, width_, std::clamp(ranges_[c].offset, ranges_[c].low, ranges_[c].high));
                continue;
            }
            const auto count =
                static_cast<size_t>(image_.components[c].stepX == 1 ? std::min(width_, component.rect.Width())
                                                                    : component.rect.Width());
            const size_t row = static_cast<size_t>(ComponentRow(c, y)) * component.stride;
            const bool transformed = transform_ && c < 3;
            if (component.style.reversible)
                kernels.convert(transformed ? lines.transformedInt[c].data() : component.coefficients + row,
                                to, count, ranges_[c]);
            else
                kernels.convertReal(
                    transformed ? lines.transformed[c].data() : component.realCoefficients + row, to, count,
                    ranges_[c]);
            if (image_.components[c].stepX != 1) Spread(c, lines);
        }
        Pack(y, lines, kernels);
    }

    void Transform(int64_t y, Lines& lines, const J2kOutputKernels& kernels)
    {
        const auto count = static_cast<size_t>(tile_.components[0].rect.Width());
        for (size_t c = 0; c < 3; ++c) {
            const J2kTileComponent& component = tile_.components[c];
            const size_t row = static_cast<size_t>(ComponentRow(c, y)) * component.stride;
            if (component.style.reversible)
                std::copy_n(component.coefficients + row, count, lines.transformedInt[c].data());
            else
                std::copy_n(component.realCoefficients + row, count, lines.transformed[c].data());
        }
        if (tile_.components[0].style.reversible)
            kernels.inverseRct(lines.transformedInt[0].data(), lines.transformedInt[1].data(),
                               lines.transformedInt[2].data(), count);
        else
            kernels.inverseIct(lines.transformed[0].data(), lines.transformed[1].data(),
                               lines.transformed[2].data(), count);
    }

    /// Repeats the samples of a subsampled component over the positions they cover.
    void Spread(size_t c, Lines& lines)
    {
        const J2kRect& rect = tile_.components[c].rect;
        const int64_t step = image_.components[c].stepX;
        for (int64_t x = 0; x < width_; ++x) {
            const int64_t from =
                std::clamp<int64_t>((tile_.rect.x0 + x) / step - rect.x0, 0, rect.Width() - 1);
            lines.spread[static_cast<size_t>(x)] = lines.samples[c][static_cast<size_t>(from)];
        }
        lines.samples[c].swap(lines.spread);
    }

    void Pack(int64_t y, Lines& lines, const J2kOutputKernels& kernels)
    {
        const int samples = destination_.samples, bytes = destination_.bytesPerSample;
        const auto count = static_cast<size_t>(width_);
        uint8_t* to = destination_.rows + static_cast<size_t>(firstY_ + y) * destination_.bytesPerLine +
                      static_cast<size_t>(firstX_) * static_cast<size_t>(samples * bytes);
        const int32_t* planes[4];
        for (int s = 0; s < samples; ++s)
            planes[s] = lines.samples[tile_.components.size() == 1 ? 0 : s].data();
        if (samples == 1 && bytes == 1) return kernels.pack8(planes[0], to, count);
        if (samples == 1 && bytes == 2) return kernels.pack16(planes[0], to, count);
        if (samples == 3 && bytes == 1) return kernels.packBgr8(planes, to, count);
        // Blue, green, red, then what else a pixel has.
        for (size_t x = 0; x < count; ++x) {
            for (int s = 0; s < samples; ++s) {
                const int32_t value = planes[samples >= 3 && s < 3 ? 2 - s : s][x];
                for (int b = 0; b < bytes; ++b) *to++ = static_cast<uint8_t>(value >> 8 * b);
            }
        }
    }

    const J2KImage& image_;
    J2kTile& tile_;
    const J2KDestination& destination_;
    std::vector<J2kSampleRange> ranges_;
    int64_t firstX_, firstY_, width_, height_;
    bool transform_;
};
}  // namespace

const J2kOutputKernels& PlainJ2kOutputKernels()
{
    return kOutputKernels;
}

const J2kOutputKernels& BestJ2kOutputKernels()
{
#if defined(__x86_64__) || defined(__i386__)
    static const J2kOutputKernels& best =
        DetectedSimdLevel() >= SimdLevel::avx2 ? Avx2J2kOutputKernels() : PlainJ2kOutputKernels();
    return best;
#else
    return PlainJ2kOutputKernels();
#endif
}

J2kSampleRange RangeOfJ2kSamples(const J2KComponent& component, int bytes)
{
    const int precision = component.precision;
    const int bits = std::min(8 * bytes, 31);
    J2kSampleRange range{};
    range.rightShift = std::max(0, precision - bits);
    // Only 8-bit samples are filled up; wider ones keep the component's values.
    range.leftShift = bytes == 1 && precision < 8 ? 8 - precision : 0;
    range.scale = static_cast<float>(std::ldexp(1.0, -range.rightShift));
    const int used = std::min(precision, bits);
    const int64_t top = (int64_t{1} << used) - 1;
    const int64_t half = int64_t{1} << (used - 1);
    range.low = component.isSigned ? static_cast<int32_t>(-half * (1 << range.leftShift)) : 0;
    range.high = static_cast<int32_t>((component.isSigned ? half - 1 : top) * (1 << range.leftShift));
    range.offset = component.isSigned ? 0 : static_cast<int32_t>(half << range.leftShift);
    return range;
}

int32_t SetJ2kOutput(void* rows, const J2KFrameDescriptor& descriptor, const J2KComponentList& components,
                     J2KDestination* destination)
{
    struct Layout
    {
        uint32_t bitsPerPixel;
        int samples, bytes;
    };
    // 32 bits hold one deep sample or four of eight bits.
    static constexpr Layout kLayouts[] = {{8, 1, 1},  {16, 1, 2}, {24, 3, 1}, {32, 1, 4},
                                          {32, 4, 1}, {48, 3, 2}, {64, 4, 2}};
    for (const Layout& layout : kLayouts) {
        if (layout.bitsPerPixel != descriptor.bitsPerPixel) continue;
        const auto count = static_cast<size_t>(layout.samples);
        if (components.size() != count && !(components.size() == 1 && count == 3)) continue;
        *destination = {static_cast<uint8_t*>(rows), descriptor.bytesPerLine, descriptor.width,
                        descriptor.height,           layout.samples,          layout.bytes};
        return kCodecOk;
    }
    return kCodecBadDepth;
}

void WriteJ2kTile(const J2KImage& image, J2kTile& tile, const J2KDestination& destination,
                  CodecWorkers& workers)
{
    TileWriter(image, tile, destination).Run(workers);
}
}  // namespace talv
