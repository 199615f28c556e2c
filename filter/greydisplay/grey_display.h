#pragma once

#include <memory>

#include "filter/greydisplay/grey_table.h"

namespace talv {
/// The display of one stream of grey frames: its block, what its first frame tells, and the window in force.
/// No method may run at the same time as another of the same object; a table once handed out never changes.
/// Methods that make tables throw std::bad_alloc and leave the object as it was.
class GreyDisplay
{
  public:
    /// Starts a stream with the file's own window. False for a block that ReadGreyBlock refuses; the object
    /// is as it was then.
    bool SetBlock(const uint8_t* bytes, size_t size);
    bool HasBlock() const { return block_ != nullptr; }
    const std::shared_ptr<const GreyBlock>& Block() const { return block_; }

    /// A frame of the stream, one of the first, has yet to tell what the block leaves open.
    bool WantsFrame() const { return wantsFrame_; }
    /// Shorter frames than the block's are passed over.
    void SeeFrame(const uint8_t* frame, size_t size);

    GreyWindow FileWindow() const { return scale_.window; }
    GreyWindow Window() const { return ownWindow_ ? window_ : scale_.window; }
    bool HasOwnWindow() const { return ownWindow_; }
    /// False for numbers that are not finite, and for a width below 1.
    bool SetWindow(const GreyWindow& window);
    void ResetWindow();
    /// Smallest and largest value that can be stored, in units of the window.
    void ValueRange(double* smallest, double* largest) const;

    /// Null before the first block.
    const std::shared_ptr<const GreyTable>& Table() const { return table_; }

  private:
    std::shared_ptr<const GreyTable> MakeTable(const GreyBlock& block, const FrameHints& hints,
                                               const GreyScale& scale, const GreyWindow* own) const;
    void TakeHints(const FrameHints& hints, const uint8_t* frame);

    std::shared_ptr<const GreyBlock> block_;
    std::shared_ptr<const GreyTable> table_;
    FrameHints hints_;
    GreyScale scale_;
    GreyWindow window_;
    bool ownWindow_ = false, wantsFrame_ = false;
    int32_t framesSeen_ = 0;  ///< of the stream, while it wants any
};
}  // namespace talv
