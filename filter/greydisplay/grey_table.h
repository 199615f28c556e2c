#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "filter/greydisplay/grey_kernels.h"
#include "filter/greydisplay/grey_scale.h"

namespace talv {
/// A pixel of RGB32 for each word that a frame can hold. Where a straight ramp gives the very same pixels,
/// the ramp is used in place of the look-up: it is about twice as fast.
class GreyTable
{
  public:
    /// The palette of the block as it is; each needs one. Throw std::bad_alloc, as the next.
    static GreyTable FromPalette(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale);
    static GreyTable FromWindow(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale,
                                const GreyWindow& window);

    void Convert(const uint8_t* words, uint8_t* pixels, size_t count, const GreyKernels& kernels) const
    {
        if (isRamp_)
            kernels.ramp(words, pixels, count, ramp_);
        else
            kernels.lookUp(words, pixels, count, entries_.data());
    }
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
/// for are left out. The bytes between rows stay as they are. `scratch` is kept from frame to frame.
void ConvertGreyFrame(const GreyBlock& block, const GreyTable& table, const uint8_t* frame, size_t frameBytes,
                      const RgbTarget& target, std::vector<uint8_t>* scratch);
}  // namespace talv
