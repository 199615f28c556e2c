#include "image/value_scaling.h"

#include <algorithm>

namespace talv {
namespace {
/// Samples looked at between two checks for the early end.
constexpr size_t kMeasureBlock = 1 << 14;

ValueRange MeasureRange(const PixelLayout& layout, ColorSamples* samples)
{
    const size_t total = size_t{layout.columns} * layout.rows * layout.samplesPerPixel;
    const uint32_t width = layout.bytesPerSample;
    const ImageKernels& kernels = BestImageKernels();
    const bool plainBytes =
        width == 1 && layout.signOffset == 0 && layout.sampleShift == 0 && layout.bitsStored == 8;
    const WordValue word = {static_cast<uint16_t>(layout.signOffset),
                            static_cast<uint16_t>(layout.sampleMask),
                            static_cast<uint8_t>(layout.sampleShift)};
    ValueRange range;
    for (size_t done = 0; done < total; done += kMeasureBlock) {
        const size_t count = std::min(kMeasureBlock, total - done);
        samples->Need((done + count) * width);
        const uint8_t* block = samples->bytes() + done * width;
        if (plainBytes)
            kernels.rangeOfBytes(block, count, &range);
        else if (width == 2)
            kernels.rangeOfWords(block, count, word, &range);
        else
            for (size_t i = 0; i < count; ++i) {
                const uint32_t value = layout.ValueOf(LoadSample(block + i * width, width));
                range.smallest = std::min(range.smallest, value);
                range.largest = std::max(range.largest, value);
            }
        if (range.smallest == 0 && range.largest == layout.sampleMask) break;
    }
    return range;
}

uint32_t ClampToMask(int32_t value, const PixelLayout& layout)
{
    const int64_t moved = int64_t{value} + layout.signOffset;
    return static_cast<uint32_t>(std::clamp<int64_t>(moved, 0, layout.sampleMask));
}
}  // namespace

ColorSamples::ColorSamples(const PixelLayout& layout, uint8_t* frame)
    : frame_(frame), total_(layout.frameBytes), ready_(layout.frameBytes)
{
    if (layout.photometricCode != kYbrFull || layout.samplesPerPixel != 3 || layout.bitsAllocated != 8 ||
        layout.fromCodec)
        return;
    const size_t pixels = total_ / 3;
    if (layout.sampleStride != 1) {
        BestImageKernels().ybrToRgb(frame, frame + pixels, frame + 2 * pixels, pixels);
        return;
    }
    ready_ = 0;
    blueFirst_ = true;
}

void ColorSamples::ConvertUpTo(size_t count)
{
    constexpr size_t kBlock = 3 * 1024;  // whole pixels, and whole registers of them
    const size_t end = std::min(total_, (count + kBlock - 1) / kBlock * kBlock);
    BestImageKernels().ybrPixelsToBgr(frame_ + ready_, (end - ready_) / 3);
    ready_ = end;
}

ValueRange FindValueRange(const ImageDescription& description, const PixelLayout& layout, bool alwaysMeasure,
                          ColorSamples* samples)
{
    bool smallestKnown = description.hasSmallest, largestKnown = description.hasLargest;
    if (alwaysMeasure ||
        (smallestKnown && largestKnown && description.smallestValue == description.largestValue))
        smallestKnown = largestKnown = false;
    ValueRange range;
    if (!smallestKnown || !largestKnown) range = MeasureRange(layout, samples);
    if (smallestKnown) range.smallest = ClampToMask(description.smallestValue, layout);
    if (largestKnown) range.largest = ClampToMask(description.largestValue, layout);
    return range;
}

ByteScale::ByteScale(const PixelLayout& layout, ValueRange range, uint64_t sampleCount)
    : layout_(layout), range_(range)
{
    ofBytes_ = layout.bytesPerSample == 1 && layout.signOffset == 0 && layout.sampleShift == 0 &&
               layout.bitsStored == 8;
    identity_ = ofBytes_ && range.smallest == 0 && range.largest == 255;
    const uint64_t places = layout.bytesPerSample == 1 ? 256 : 65536;
    if (identity_ || layout.bytesPerSample > 2 || sampleCount < places) return;
    table_.resize(static_cast<size_t>(places));
    for (uint32_t raw = 0; raw < places; ++raw) table_[raw] = Compute(raw);
}

void ByteScale::ScaleBytes(const uint8_t* source, uint8_t* target, size_t count) const
{
    BestImageKernels().scaleBytes(source, target, count, static_cast<uint8_t>(range_.smallest),
                                  static_cast<uint8_t>(range_.largest));
}

ValueRange FindRangeOfLongs(const ImageDescription& description, const PixelLayout& layout,
                            bool alwaysMeasure, const uint8_t* frame)
{
    const uint32_t flip = LongFlip(layout);
    if (description.hasSmallest && description.hasLargest && !alwaysMeasure)
        return {static_cast<uint32_t>(description.smallestValue) ^ flip,
                static_cast<uint32_t>(description.largestValue) ^ flip};
    ValueRange range;
    for (size_t at = 0; at + 4 <= layout.frameBytes; at += 4) {
        const uint32_t value = LoadSample(frame + at, 4) ^ flip;
        range.smallest = std::min(range.smallest, value);
        range.largest = std::max(range.largest, value);
    }
    return range;
}

uint16_t ScaleLong(uint32_t value, ValueRange range)
{
    if (value >= range.largest) return 65535;
    if (value <= range.smallest) return 0;
    return static_cast<uint16_t>(uint64_t{value - range.smallest} * 65535 / (range.largest - range.smallest));
}
}  // namespace talv
