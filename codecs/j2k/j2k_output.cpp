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

/// Image positions that a component of one tile fills, clipped to the destination.
J2kRect Covered(const J2kRect& positions, const J2KImage& image, const J2KDestination& destination)
{
    return {positions.x0, positions.y0,
            std::min<int64_t>(positions.x1, int64_t{image.offsetX} + destination.width),
            std::min<int64_t>(positions.y1, int64_t{image.offsetY} + destination.height)};
}

bool SameRect(const J2kRect& a, const J2kRect& b)
{
    return a.x0 == b.x0 && a.y0 == b.y0 && a.x1 == b.x1 && a.y1 == b.y1;
}

class TileWriter
{
  public:
    TileWriter(const J2KImage& image, const J2kTile& tile, const J2KDestination& destination)
        : image_(image),
          tile_(tile),
          destination_(destination),
          tileArea_(Covered(tile.rect, image, destination))
    {
        for (size_t c = 0; c < tile.components.size(); ++c) {
            ranges_.push_back(RangeOfJ2kSamples(image.components[c], destination.bytesPerSample));
            const J2kRect own = ComponentArea(c);
            areas_.push_back(own);
            whole_ = whole_ && SameRect(own, tileArea_);
            if (!own.Empty())
                area_ = {std::min(area_.x0, own.x0), std::min(area_.y0, own.y0), std::max(area_.x1, own.x1),
                         std::max(area_.y1, own.y1)};
        }
        transform_ = UsesTransform();
    }

    /// True when nothing of the tile lies within the destination.
    bool Empty() const { return area_.Empty(); }

    void Run(CodecWorkers& workers)
    {
        if (Empty()) return;
        const auto strips = static_cast<size_t>((area_.Height() + kStripRows - 1) / kStripRows);
        const bool shared = area_.Width() * area_.Height() >= 16384;
        std::vector<Lines> lines(shared ? std::min<size_t>(workers.Count(), strips) : 1);
        for (Lines& l : lines) Prepare(l);
        const auto strip = [&](size_t index, unsigned thread) {
            const int64_t from = area_.y0 + static_cast<int64_t>(index) * kStripRows;
            for (int64_t y = from; y < std::min(from + kStripRows, area_.y1); ++y) WriteRow(y, lines[thread]);
        };
        if (shared) {
            workers.Run(strips, strip);
        } else {
            for (size_t i = 0; i < strips; ++i) strip(i, 0);
        }
    }

  private:
    /// A sample stands for its own position and those up to the next sample, which may lie in the next tile;
    /// positions before the first sample of the image belong to that one.
    J2kRect ComponentArea(size_t c) const
    {
        const J2KComponent& info = image_.components[c];
        const J2kRect& rect = tile_.components[c].rect;
        const int64_t firstX = CeilDivide(image_.offsetX, info.stepX);
        const int64_t firstY = CeilDivide(image_.offsetY, info.stepY);
        if (CeilDivide(image_.endX, info.stepX) == firstX || CeilDivide(image_.endY, info.stepY) == firstY)
            return tileArea_;  // there is no sample in the whole image
        if (rect.Empty()) return {0, 0, 0, 0};
        return Covered({rect.x0 == firstX ? image_.offsetX : rect.x0 * info.stepX,
                        rect.y0 == firstY ? image_.offsetY : rect.y0 * info.stepY,
                        std::min<int64_t>(rect.x1 * info.stepX, image_.endX),
                        std::min<int64_t>(rect.y1 * info.stepY, image_.endY)},
                       image_, destination_);
    }

    /// Three components of one geometry and one kind (T.800 G.1); else each stands for itself.
    bool UsesTransform() const
    {
        if (!tile_.componentTransform || tile_.components.size() < 3) return false;
        for (size_t c = 0; c < 3; ++c) {
            const J2kTileComponent& component = tile_.components[c];
            const J2kTileComponent& first = tile_.components[0];
            if (component.rect.Empty() || !SameRect(component.rect, first.rect) ||
                component.style.reversible != first.style.reversible ||
                image_.components[c].stepX != image_.components[0].stepX ||
                image_.components[c].stepY != image_.components[0].stepY)
                return false;
        }
        return true;
    }

    void Prepare(Lines& lines) const
    {
        int64_t widest = 0;
        bool spread = false;
        for (size_t c = 0; c < tile_.components.size(); ++c) {
            widest = std::max({widest, areas_[c].Width(), tile_.components[c].rect.Width()});
            spread = spread || image_.components[c].stepX != 1;
        }
        const auto size = static_cast<size_t>(widest);
        for (size_t c = 0; c < tile_.components.size(); ++c) lines.samples[c].resize(size);
        if (spread) lines.spread.resize(size);
        for (int c = 0; transform_ && c < 3; ++c) {
            if (tile_.components[0].style.reversible)
                lines.transformedInt[c].resize(size);
            else
                lines.transformed[c].resize(size);
        }
    }

    /// Row of component `c` that covers row `y` of the reference grid.
    int64_t ComponentRow(size_t c, int64_t y) const
    {
        const J2kRect& rect = tile_.components[c].rect;
        return std::clamp<int64_t>(y / image_.components[c].stepY - rect.y0, 0, rect.Height() - 1);
    }

    void WriteRow(int64_t y, Lines& lines)
    {
        const J2kOutputKernels& kernels = BestJ2kOutputKernels();
        bool transformed = false;
        for (size_t c = 0; c < tile_.components.size(); ++c) {
            if (y < areas_[c].y0 || y >= areas_[c].y1 || areas_[c].Empty()) continue;
            if (transform_ && c < 3 && !transformed) {
                Transform(y, lines, kernels);
                transformed = true;
            }
            MakeSamples(c, y, lines, kernels);
            if (!whole_) PackComponent(c, y, lines.samples[c].data());
        }
        if (whole_) Pack(y, lines, kernels);
    }

    void MakeSamples(size_t c, int64_t y, Lines& lines, const J2kOutputKernels& kernels)
    {
        const J2kTileComponent& component = tile_.components[c];
        int32_t* to = lines.samples[c].data();
        if (component.rect.Empty()) {
            std::fill_n(to, areas_[c].Width(),
                        std::clamp(ranges_[c].offset, ranges_[c].low, ranges_[c].high));
            return;
        }
        const bool spread = image_.components[c].stepX != 1;
        const auto count = static_cast<size_t>(spread ? component.rect.Width() : areas_[c].Width());
        const size_t row = static_cast<size_t>(ComponentRow(c, y)) * component.stride;
        const bool transformed = transform_ && c < 3;
        if (component.style.reversible)
            kernels.convert(transformed ? lines.transformedInt[c].data() : component.coefficients + row, to,
                            count, ranges_[c]);
        else
            kernels.convertReal(transformed ? lines.transformed[c].data() : component.realCoefficients + row,
                                to, count, ranges_[c]);
        if (spread) Spread(c, lines);
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
        for (int64_t x = areas_[c].x0; x < areas_[c].x1; ++x) {
            const int64_t from = std::clamp<int64_t>(x / step - rect.x0, 0, rect.Width() - 1);
            lines.spread[static_cast<size_t>(x - areas_[c].x0)] = lines.samples[c][static_cast<size_t>(from)];
        }
        lines.samples[c].swap(lines.spread);
    }

    uint8_t* Pixel(int64_t x, int64_t y) const
    {
        return destination_.rows + static_cast<size_t>(y - image_.offsetY) * destination_.bytesPerLine +
               static_cast<size_t>(x - image_.offsetX) *
                   static_cast<size_t>(destination_.samples * destination_.bytesPerSample);
    }

    /// The component that sample `s` of a pixel holds: blue, green, red, then what else a pixel has.
    size_t ComponentOf(int s) const
    {
        if (tile_.components.size() == 1) return 0;
        return static_cast<size_t>(destination_.samples >= 3 && s < 3 ? 2 - s : s);
    }

    /// Whole pixels of a row.
    void Pack(int64_t y, Lines& lines, const J2kOutputKernels& kernels)
    {
        const int samples = destination_.samples, bytes = destination_.bytesPerSample;
        const auto count = static_cast<size_t>(tileArea_.Width());
        uint8_t* to = Pixel(tileArea_.x0, y);
        const int32_t* planes[4];
        for (int s = 0; s < samples; ++s) planes[s] = lines.samples[ComponentOf(s)].data();
        if (samples == 1 && bytes == 1) return kernels.pack8(planes[0], to, count);
        if (samples == 1 && bytes == 2) return kernels.pack16(planes[0], to, count);
        if (samples == 3 && bytes == 1) return kernels.pack24(planes, to, count);
        for (size_t x = 0; x < count; ++x) {
            for (int s = 0; s < samples; ++s) to = PutSample(planes[s][x], to);
        }
    }

    /// The samples of one component alone, where those of the others belong to other tiles.
    void PackComponent(size_t c, int64_t y, const int32_t* from)
    {
        for (int64_t x = areas_[c].x0; x < areas_[c].x1; ++x, ++from) {
            uint8_t* pixel = Pixel(x, y);
            for (int s = 0; s < destination_.samples; ++s) {
                if (ComponentOf(s) == c) PutSample(*from, pixel + s * destination_.bytesPerSample);
            }
        }
    }

    uint8_t* PutSample(int32_t value, uint8_t* to) const
    {
        for (int b = 0; b < destination_.bytesPerSample; ++b) *to++ = static_cast<uint8_t>(value >> 8 * b);
        return to;
    }

    const J2KImage& image_;
    const J2kTile& tile_;
    const J2KDestination& destination_;
    std::vector<J2kSampleRange> ranges_;
    J2kRect tileArea_;                             ///< the tile's own positions
    std::vector<J2kRect> areas_;                   ///< those that each component fills
    J2kRect area_ = {INT64_MAX, INT64_MAX, 0, 0};  ///< all of them together
    bool whole_ = true;  ///< they are all the same: the pixels of the tile are whole
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

bool ShowsJ2kTile(const J2KImage& image, const J2kTile& tile, const J2KDestination& destination)
{
    return !TileWriter(image, tile, destination).Empty();
}

void WriteJ2kTile(const J2KImage& image, const J2kTile& tile, const J2KDestination& destination,
                  CodecWorkers& workers)
{
    TileWriter(image, tile, destination).Run(workers);
}
}  // namespace talv
