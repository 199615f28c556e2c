#include "filter/greydisplay/grey_display.h"

#include <algorithm>
#include <cmath>

namespace talv {
namespace {
constexpr int32_t kFramesToSee = 32;  // a look costs several times what showing the frame does
}

std::shared_ptr<const GreyTable> GreyDisplay::MakeTable(const GreyBlock& block, const FrameHints& hints,
                                                        const GreyScale& scale, const GreyWindow* own) const
{
    const bool palette = own == nullptr && scale.showsPalette;
    return std::make_shared<GreyTable>(
        palette ? GreyTable::FromPalette(block, hints, scale)
                : GreyTable::FromWindow(block, hints, scale, own != nullptr ? *own : scale.window));
}

bool GreyDisplay::SetBlock(const uint8_t* bytes, size_t size)
{
    const auto block = std::make_shared<GreyBlock>();
    if (!ReadGreyBlock(bytes, size, block.get())) return false;
    FrameHints hints;
    hints.isSigned = block->minValue < 0;
    const GreyScale scale = ReadGreyScale(*block, hints);
    table_ = MakeTable(*block, hints, scale, nullptr);
    block_ = block;
    hints_ = hints;
    scale_ = scale;
    ownWindow_ = false;
    wantsFrame_ = true;
    framesSeen_ = 0;
    return true;
}

void GreyDisplay::SeeFrame(const uint8_t* frame, size_t size)
{
    if (!wantsFrame_ || size < block_->FrameBytes()) return;
    bool settled = false;
    const FrameHints hints = LookAtFrame(*block_, frame, &settled);
    // The block's range, by which the sign is told, is that of the first frame.
    const bool learns = framesSeen_ == 0 || hints.bytesSwapped;
    if (learns && (hints.isSigned != hints_.isSigned || hints.bytesSwapped != hints_.bytesSwapped))
        TakeHints(hints, frame);
    wantsFrame_ = !settled && ++framesSeen_ < kFramesToSee;
}

void GreyDisplay::TakeHints(const FrameHints& hints, const uint8_t* frame)
{
    GreyScale scale = ReadGreyScale(*block_, hints);
    if (hints.bytesSwapped && scale.windowFromRange) {
        uint32_t smallest = 0, largest = 0;
        StoredRange(*block_, hints, frame, &smallest, &largest);
        scale.window = WindowOfRange(scale.ValueOf(smallest), scale.ValueOf(largest));
    }
    table_ = MakeTable(*block_, hints, scale, ownWindow_ ? &window_ : nullptr);
    hints_ = hints;
    scale_ = scale;
}

bool GreyDisplay::SetWindow(const GreyWindow& window)
{
    if (!std::isfinite(window.center) || !std::isfinite(window.width) || window.width < 1) return false;
    if (block_) table_ = MakeTable(*block_, hints_, scale_, &window);
    window_ = window;
    ownWindow_ = true;
    return true;
}

void GreyDisplay::ResetWindow()
{
    if (block_) table_ = MakeTable(*block_, hints_, scale_, nullptr);
    ownWindow_ = false;
}

void GreyDisplay::ValueRange(double* smallest, double* largest) const
{
    const double one = scale_.ValueOf(0), other = scale_.ValueOf(block_ ? block_->IndexMask() : 0);
    *smallest = std::min(one, other);
    *largest = std::max(one, other);
}
}  // namespace talv
