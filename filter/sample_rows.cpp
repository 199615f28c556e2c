#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "filter/frame_source.h"
#include "filter/frame_source_state.h"
#include "image/bitmap_row_writer.h"
#include "image/get_image.h"
#include "image/image_kernels.h"
#include "raster/palette.h"

// From one frame number to the bytes of a sample. The rows go from the bitmap straight into the sample, last
// row first.
namespace talv {
namespace {
constexpr int32_t kNoPointer = static_cast<int32_t>(0x80004003);  // the framework's code for a null pointer

/// The two words GetImage is passed for an output depth; it does not use them. False for depths that are not
/// decoded.
bool ReservedWords(uint32_t bitsPerPixel, int32_t* reserved1, int32_t* reserved2)
{
    switch (bitsPerPixel) {
        case 1:
        case 4:
        case 8:
            *reserved1 = 8;
            *reserved2 = 3;
            return true;
        case 12:
        case 16:
            *reserved1 = 0;
            *reserved2 = 2;
            return true;
        case 24:
            *reserved1 = 0;
            *reserved2 = 1;
            return true;
        default:
            return false;
    }
}

/// From this size on a sample, the kept frame and the file's own pages no longer fit the processor's caches
/// together.
constexpr int64_t kLargeSample = int64_t{4} << 20;

/// Writes the rows of one frame into a sample as they are finished, the last row first.
class SampleWriter : public RowTaker
{
  public:
    /// `shape` has the size and depth that the sample was sized for.
    SampleWriter(uint8_t* buffer, const FrameSource& shape) : buffer_(buffer), shape_(shape) {}
    ~SampleWriter() override
    {
        if (pastCaches_) std::atomic_thread_fence(std::memory_order_seq_cst);  // see ImageKernels
    }

    bool Accepts(const ImageBitmap& bitmap) override
    {
        stride_ = bitmap.bytesPerLine;
        pastCaches_ = stride_ * bitmap.height >= kLargeSample;
        return bitmap.width == shape_.width && bitmap.height == shape_.height &&
               static_cast<uint32_t>(bitmap.bitsPerPixel) == shape_.bitsPerPixel &&
               stride_ * bitmap.height == shape_.SampleSize();
    }
    void Take(const uint8_t* bytes, int32_t row) override
    {
        uint8_t* const target = buffer_ + stride_ * (shape_.height - 1 - row);
        if (pastCaches_)
            BestImageKernels().copyPastCaches(bytes, target, static_cast<size_t>(stride_));
        else
            std::memcpy(target, bytes, static_cast<size_t>(stride_));
        ++taken_;
    }
    bool IsFull() const { return taken_ == shape_.height; }

  private:
    uint8_t* buffer_;
    const FrameSource& shape_;
    int64_t stride_ = 0;
    int32_t taken_ = 0;
    bool pastCaches_ = false;
};

/// Copies up to `capacity` bytes of the bitmap's rows, last row first, to `buffer`, with zeros for the bytes
/// between the end of the pixels and the end of the row. Returns the bytes written; false in `complete` when
/// a row was missing (it is zeros then).
int64_t CopyRowsBottomUp(ImageBitmap* bitmap, uint8_t* buffer, int64_t capacity, bool* complete)
{
    const int64_t stride = bitmap->bytesPerLine;
    const int64_t pixelBytes = (int64_t{bitmap->width} * bitmap->bitsPerPixel + 7) / 8;
    int64_t written = 0;
    *complete = LockBitmap(bitmap) >= 0;
    const bool plain = *complete && IsPlainMemory(*bitmap);
    for (int32_t row = bitmap->height - 1; row >= 0 && written < capacity; --row) {
        uint8_t* target = buffer + written;
        const int64_t count = std::min(stride, capacity - written);
        bool read = plain;
        if (plain)
            std::memcpy(target, bitmap->data + stride * row, static_cast<size_t>(count));
        else
            read = *complete && GetBitmapRow(bitmap, target, row, static_cast<uint32_t>(count)) == count;
        const int64_t kept = read ? std::min(pixelBytes, count) : 0;
        std::memset(target + kept, 0, static_cast<size_t>(count - kept));
        *complete = *complete && read;
        written += count;
    }
    UnlockBitmap(bitmap);
    return written;
}
}  // namespace

int32_t FrameSource::ReadFrameIntoSample(SampleBuffer* sample, int64_t frameIndex)
{
    uint8_t* buffer = nullptr;
    if (sample == nullptr) return kNoPointer;
    if (const int32_t result = sample->GetPointer(&buffer); result < 0) return result;
    if (buffer == nullptr) return kNoPointer;

    const int64_t size = SampleSize();
    const int64_t capacity = std::clamp<int64_t>(sample->GetSize(), 0, size);
    if (capacity == size && DecodeFrame(frameIndex, buffer)) return sample->SetActualDataLength(size);

    if (undecodableFrames < INT32_MAX) ++undecodableFrames;
    sample->SetActualDataLength(FillWithLastFrame(buffer, capacity));
    return kFrameUndecodable;
}

/// Decodes one frame and copies it to `buffer`, which holds SampleSize() bytes. False, with any bytes in
/// `buffer`, when there is no such frame, it cannot be decoded, or it is not of the loaded image's kind.
bool FrameSource::DecodeFrame(int64_t frameIndex, uint8_t* buffer)
{
    int32_t reserved1, reserved2;
    const bool inRange = frameIndex >= 0 && frameIndex < std::max<int64_t>(timeline->frameCount, 1);
    if (!inRange || pixelDataElement == nullptr || !ReservedWords(bitsPerPixel, &reserved1, &reserved2)) {
        lastRefusal = kDicomNoFrame;
        return false;
    }
    const int target = state_->lastGood == 0 ? 1 : 0;
    ImageBitmap& bitmap = state_->bitmaps[target];
    bitmap = {};
    SampleWriter rows(buffer, *this);
    const DicomStatus status =
        GetImageRows(dataSet, pixelDataElement, &bitmap, kBitmapStructSize, static_cast<uint32_t>(frameIndex),
                     reserved1, reserved2, kPlayerImageOptions | kImageRowsOnly, &rows);
    if (status != kDicomOk) {
        lastRefusal = status;
        return false;
    }
    if (!rows.IsFull()) {
        lastRefusal = kDicomNoFrame;
        FreeBitmap(&bitmap);
        return false;
    }
    if (state_->lastGood >= 0) FreeBitmap(&state_->bitmaps[state_->lastGood]);
    state_->lastGood = target;
    return true;
}

/// The sample that is shown darkest: an inverted palette or lut has its black at the end.
uint32_t FrameSource::BlackSample() const
{
    if (bitsPerPixel == 8) return static_cast<uint32_t>(FindNearestColor(palette8, 256, 0, 0, 0));
    if (bitsPerPixel != 16 || palette.empty() || palette.front().green <= palette.back().green) return 0;
    return static_cast<uint32_t>(palette.size() - 1) << lowBit;
}

/// Writes up to `capacity` bytes of the last good frame, or of black before the first. Returns the bytes
/// written.
int64_t FrameSource::FillWithLastFrame(uint8_t* buffer, int64_t capacity)
{
    if (state_->lastGood >= 0) {
        bool complete;
        ImageBitmap* last = &state_->bitmaps[state_->lastGood];
        const int64_t written = CopyRowsBottomUp(last, buffer, capacity, &complete);
        std::memset(buffer + written, 0, static_cast<size_t>(capacity - written));
        return capacity;
    }
    std::memset(buffer, 0, static_cast<size_t>(capacity));
    const uint8_t black[2] = {static_cast<uint8_t>(BlackSample()), static_cast<uint8_t>(BlackSample() >> 8)};
    if (black[0] == 0 && black[1] == 0) return capacity;
    const int64_t stride = SampleSize() / height, pixelBytes = int64_t{width} * (bitsPerPixel / 8);
    for (int64_t row = 0; row < capacity; row += stride)
        for (int64_t i = 0; i < std::min(pixelBytes, capacity - row); ++i)
            buffer[row + i] = black[bitsPerPixel == 16 ? i % 2 : 0];
    return capacity;
}

void FrameSource::ForgetLastFrame()
{
    if (state_->lastGood >= 0) FreeBitmap(&state_->bitmaps[state_->lastGood]);
    state_->lastGood = -1;
}
}  // namespace talv
