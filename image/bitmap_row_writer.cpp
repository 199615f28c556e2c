#include "image/bitmap_row_writer.h"

#include <algorithm>
#include <cstring>

namespace talv {
bool IsPlainMemory(const ImageBitmap& bitmap)
{
    constexpr uint32_t kElsewhere =
        kBitmapOnDisk | kBitmapCompressedRows | kBitmapTiled | kBitmapCompressedBlocks;
    const bool addressable = (bitmap.flags & kBitmapMovable) == 0 || (bitmap.flags & kBitmapLocked) != 0;
    return (bitmap.flags & kBitmapInMemory) != 0 && (bitmap.flags & kElsewhere) == 0 && addressable &&
           bitmap.data != nullptr;
}

BitmapRowWriter::BitmapRowWriter(ImageBitmap* bitmap, const ImageFileInfo* info,
                                 const RowReceivers& receivers, size_t scratchBytes)
    : bitmap_(bitmap), info_(info), receivers_(receivers)
{
    if (receivers_.taker != nullptr && !receivers_.taker->Accepts(*bitmap)) receivers_.taker = nullptr;
    if (receivers_.callback != nullptr || scratchBytes > bitmap->bytesPerLine || !IsPlainMemory(*bitmap))
        buffer_.resize(std::max<size_t>(scratchBytes, bitmap->bytesPerLine));
}

uint8_t* BitmapRowWriter::Begin(int32_t row)
{
    current_ = buffer_.empty() ? bitmap_->data + size_t{bitmap_->bytesPerLine} * static_cast<size_t>(row)
                               : buffer_.data();
    return current_;
}

bool BitmapRowWriter::Deliver(int32_t row, size_t usedBytes)
{
    const size_t rowBytes = std::max<size_t>(buffer_.size(), bitmap_->bytesPerLine);
    if (usedBytes < rowBytes) std::memset(current_ + usedBytes, 0, rowBytes - usedBytes);
    if (buffer_.empty()) {
        if (receivers_.taker != nullptr) receivers_.taker->Take(current_, row);
        return true;
    }
    if (receivers_.callback != nullptr) {
        uint32_t flags = kRowAlways;
        if (row == 0) flags |= kRowFirst;
        if (row == bitmap_->height - 1) flags |= kRowLast;
        const int32_t answer =
            receivers_.callback(info_, bitmap_, current_, flags, row, 1, receivers_.callbackData);
        if (answer != 1) {
            status_ = static_cast<DicomStatus>(answer);
            stopped_ = true;
            return false;
        }
    }
    const int32_t written = PutBitmapRow(bitmap_, current_, row, bitmap_->bytesPerLine);
    if (written < 0 || static_cast<uint32_t>(written) != bitmap_->bytesPerLine) {
        status_ = kDicomShortWrite;
        return false;
    }
    if (receivers_.taker != nullptr) receivers_.taker->Take(current_, row);
    return true;
}
}  // namespace talv
