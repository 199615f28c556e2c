#pragma once

#include <cstdint>
#include <vector>

#include "image/get_image.h"

namespace talv {
/// Who is told of rows.
struct RowReceivers
{
    RowCallback callback = nullptr;  ///< before a row is written
    void* callbackData = nullptr;
    RowTaker* taker = nullptr;  ///< when it is written
};

/// Hands out the rows of a bitmap to be filled, first to last, and delivers them. Rows are built inside the
/// bitmap where its pixels lie in one block of memory and nobody wants to see them before; else in a buffer.
class BitmapRowWriter
{
  public:
    /// `scratchBytes` above bytesPerLine asks for a buffer that long, of which a row's first bytes count.
    BitmapRowWriter(ImageBitmap* bitmap, const ImageFileInfo* info, const RowReceivers& receivers,
                    size_t scratchBytes = 0);

    /// Where to build row `row`.
    uint8_t* Begin(int32_t row);
    /// Clears what lies behind the first `usedBytes` of the row just built and delivers it. False ends the
    /// conversion; see status().
    bool Deliver(int32_t row, size_t usedBytes);

    /// The answer GetImage gives; kDicomOk while all went well.
    DicomStatus status() const { return status_; }
    /// True when a callback stopped the conversion.
    bool stopped() const { return stopped_; }

  private:
    ImageBitmap* bitmap_;
    const ImageFileInfo* info_;
    RowReceivers receivers_;
    std::vector<uint8_t> buffer_;  // empty while rows are built in place
    uint8_t* current_ = nullptr;
    DicomStatus status_ = kDicomOk;
    bool stopped_ = false;
};

/// True when row y of the bitmap is simply the bytes at data + y * bytesPerLine.
bool IsPlainMemory(const ImageBitmap& bitmap);
}  // namespace talv
