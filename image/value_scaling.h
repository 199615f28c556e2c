#pragma once

#include <cstdint>
#include <vector>

#include "image/image_description.h"
#include "image/image_kernels.h"
#include "image/pixel_layout.h"

namespace talv {
/// The range of values that is spread over 0..255: what the file says, else what the frame's samples span.
/// Measuring ends as soon as both ends of the possible range have been met.
ValueRange FindValueRange(const ImageDescription& description, const PixelLayout& layout, bool alwaysMeasure,
                          const uint8_t* frame);

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

/// The range that 32-bit samples, taken without a sign, are spread from: what the file says when it gives
/// both ends, else what the frame's samples span.
ValueRange FindRangeOfLongs(const ImageDescription& description, const PixelLayout& layout,
                            bool alwaysMeasure, const uint8_t* frame);
/// 0 up to the smallest value, 65535 from the largest on, linear between.
uint16_t ScaleLong(uint32_t value, ValueRange range);
}  // namespace talv
