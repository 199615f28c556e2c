#pragma once

#include <dshow.h>

#include <cstdint>
#include <vector>

namespace talv {
/// Pixel `x` of a row of 12-bit (two in three bytes) or 16-bit pixels, as stored.
uint32_t StoredPixel(const uint8_t* row, size_t x, uint32_t bits);

/// How grey pixels of more than 8 bits are shown: bit range, window, rescale and palette of their format
/// block.
class GreyLevels
{
  public:
    GreyLevels() = default;
    explicit GreyLevels(const AM_MEDIA_TYPE& type);
    RGBQUAD Show(uint32_t stored) const;

  private:
    int32_t Value(uint32_t stored) const;

    int32_t lowBit_ = 0, highBit_ = 15;
    bool signed_ = false;
    double low_ = 0.0, scale_ = 0.0;  ///< shown level = (value * slope + intercept - low) * scale
    double slope_ = 1.0, intercept_ = 0.0;
    std::vector<RGBQUAD> palette_;
};
}  // namespace talv
