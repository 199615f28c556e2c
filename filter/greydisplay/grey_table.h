#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "filter/greydisplay/grey_kernels.h"
#include "filter/greydisplay/grey_scale.h"

namespace talv {
/// A pixel of RGB32 for each word that a frame can hold. Where a straight ramp gives the very same pixels,
/// the ramp is used in place of the look-up: it is the faster by half and more.
class GreyTable
{
  public:
    /// The palette of the block as it is; each needs one. Throw std::bad_alloc, as the next.
    static GreyTable FromPalette(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale);
    static GreyTable FromWindow(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale,
                                const GreyWindow& window);

    /// A row of `count` samples of 12 bits, packed, or of 16.
    void Convert(uint32_t bits, const uint8_t* row, uint8_t* pixels, size_t count) const;
    bool IsRamp() const { return isRamp_; }
    uint32_t PixelOf(uint16_t word) const { return entries_[word]; }

  private:
    void TryRamp(const GreyBlock& block, const GreyScale& scale, const GreyWindow& window);

    std::vector<uint32_t> entries_;
    GreyRamp ramp_;
    bool isRamp_ = false;
};

/// Where a picture of RGB32 goes.
struct RgbTarget
{
    uint8_t* pixels = nullptr;
    size_t bytes = 0;   ///< room behind `pixels`
    size_t stride = 0;  ///< bytes from row to row, at least 4 for each pixel
    bool topDown = false;
};

/// Converts the frame into `target`. Rows that the frame lacks become black; rows that the target has no room
/// for are left out. The bytes between rows stay as they are.
void ConvertGreyFrame(const GreyBlock& block, const GreyTable& table, const uint8_t* frame, size_t frameBytes,
                      const RgbTarget& target);
}  // namespace talv
