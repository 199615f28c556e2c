#pragma once

#include <cstdint>
#include <vector>

#include "image/image_description.h"
#include "image/image_kernels.h"
#include "image/pixel_layout.h"

namespace talv {
/// The samples of a colour frame. Those of "YBR_FULL" with three bytes a pixel become red, green, blue; where
/// pixel by pixel, then as far as they are asked for and with blue first, as the bitmap has them.
class ColorSamples
{
  public:
    ColorSamples(const PixelLayout& layout, uint8_t* frame);

    const uint8_t* bytes() const { return frame_; }
    bool blueFirst() const { return blueFirst_; }
    /// Makes the first `count` bytes of the frame ready.
    void Need(size_t count)
    {
        if (count > ready_) ConvertUpTo(count);
    }

  private:
    void ConvertUpTo(size_t count);

    uint8_t* frame_;
    size_t total_, ready_;
    bool blueFirst_ = false;
};

/// The range of values that is spread over 0..255: what the file says, else what the frame's samples span.
/// Measuring ends as soon as both ends of the possible range have been met.
ValueRange FindValueRange(const ImageDescription& description, const PixelLayout& layout, bool alwaysMeasure,
                          ColorSamples* samples);

/// Maps a stored sample to 0..255: 0 up to the smallest value, 255 from the largest on, linear between.
class ByteScale
{
  public:
    /// `sampleCount` tells whether a table pays.
    ByteScale(const PixelLayout& layout, ValueRange range, uint64_t sampleCount);

    bool IsIdentity() const { return identity_; }
    /// True when the stored samples are whole bytes and their own values, so that ScaleBytes does the same.
    bool IsOfBytes() const { return ofBytes_; }
    void ScaleBytes(const uint8_t* source, uint8_t* target, size_t count) const;
    uint8_t At(uint32_t raw) const { return table_.empty() ? Compute(raw) : table_[raw]; }

  private:
    uint8_t Compute(uint32_t raw) const
    {
        const uint32_t value = layout_.ValueOf(raw);
        if (value <= range_.smallest) return 0;
        if (value >= range_.largest) return 255;
        return static_cast<uint8_t>(uint64_t{value - range_.smallest} * 255 /
                                    (range_.largest - range_.smallest));
    }

    PixelLayout layout_;
    ValueRange range_;
    bool ofBytes_, identity_;
    std::vector<uint8_t> table_;
};

/// What turns 32-bit samples into unsigned numbers of the same order: their sign bit where they have one.
inline uint32_t LongFlip(const PixelLayout& layout)
{
    return layout.signOffset != 0 ? 0x80000000 : 0;
}
/// The range, in unsigned numbers, that 32-bit samples are spread from: what the file says when it gives both
/// ends, else what the frame's samples span.
ValueRange FindRangeOfLongs(const ImageDescription& description, const PixelLayout& layout,
                            bool alwaysMeasure, const uint8_t* frame);
/// 0 up to the smallest value, 65535 from the largest on, linear between.
uint16_t ScaleLong(uint32_t value, ValueRange range);
}  // namespace talv
