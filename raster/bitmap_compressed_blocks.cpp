#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "raster/bitmap_storage.h"
#include "raster/pack_bits.h"

// Rows are kept in bands of about 64 KiB, each packed with PackBits or, when that is not shorter, as it is.
// One band is unpacked at a time; it is packed again when another one is wanted and its rows have changed. In
// 24-bit bands the bytes of a channel lie together, so that flat colour packs as well as flat grey.

namespace talv {
namespace {
constexpr uint32_t kBandBytes = 64 << 10;

struct Band
{
    std::unique_ptr<uint8_t[]> bytes;  ///< null: all zeros
    uint32_t size = 0;                 ///< the band's full size when it is kept as it is
};

class BlockStore
{
  public:
    explicit BlockStore(const ImageBitmap& bitmap)
        : bytesPerLine_(bitmap.bytesPerLine),
          rowsPerBand_(std::max(kBandBytes / bitmap.bytesPerLine, 1u)),
          dataSize_(bitmap.dataSize),
          channels_(bitmap.bitsPerPixel == 24 ? 3 : 1),
          bands_((uint32_t(bitmap.height) + rowsPerBand_ - 1) / rowsPerBand_),
          open_(size_t{rowsPerBand_} * bytesPerLine_),
          planes_(channels_ > 1 ? open_.size() : 0),
          packed_(MaxPackedSize(open_.size()))
    {}

    /// The bytes of a row, valid until another row is asked for; null when memory is short.
    uint8_t* OpenRow(int32_t row)
    {
        const uint32_t band = uint32_t(row) / rowsPerBand_;
        if (band != openBand_) {
            if (changed_ && !CloseBand()) return nullptr;
            OpenBand(band);
        }
        return open_.data() + size_t{uint32_t(row) % rowsPerBand_} * bytesPerLine_;
    }
    void MarkChanged() { changed_ = true; }

  private:
    size_t BandSize(uint32_t band) const
    {
        const uint64_t start = uint64_t{band} * open_.size();
        return static_cast<size_t>(std::min<uint64_t>(open_.size(), dataSize_ - start));
    }

    void OpenBand(uint32_t index)
    {
        const Band& band = bands_[index];
        const size_t size = BandSize(index);
        uint8_t* target = channels_ > 1 ? planes_.data() : open_.data();
        if (band.bytes == nullptr)
            std::memset(target, 0, size);
        else if (band.size == size)
            std::memcpy(target, band.bytes.get(), size);
        else
            UnpackBits(band.bytes.get(), band.size, target, size);
        if (channels_ > 1) JoinPlanes(size);
        openBand_ = index;
    }

    bool CloseBand()
    {
        const size_t size = BandSize(openBand_);
        if (channels_ > 1) SplitPlanes(size);
        const uint8_t* source = channels_ > 1 ? planes_.data() : open_.data();
        size_t kept = PackBits(source, size, packed_.data());
        if (kept < size)
            source = packed_.data();
        else
            kept = size;
        std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[kept]);
        if (bytes == nullptr) return false;
        std::memcpy(bytes.get(), source, kept);
        bands_[openBand_].bytes = std::move(bytes);
        bands_[openBand_].size = static_cast<uint32_t>(kept);
        changed_ = false;
        return true;
    }

    void SplitPlanes(size_t size)
    {
        size_t out = 0;
        for (uint32_t channel = 0; channel < channels_; ++channel)
            for (size_t in = channel; in < size; in += channels_) planes_[out++] = open_[in];
    }

    void JoinPlanes(size_t size)
    {
        size_t in = 0;
        for (uint32_t channel = 0; channel < channels_; ++channel)
            for (size_t out = channel; out < size; out += channels_) open_[out] = planes_[in++];
    }

    uint32_t bytesPerLine_;
    uint32_t rowsPerBand_;
    uint32_t dataSize_;
    uint32_t channels_;
    std::vector<Band> bands_;
    std::vector<uint8_t> open_;    ///< the rows of band openBand_
    std::vector<uint8_t> planes_;  ///< the same with the channels apart
    std::vector<uint8_t> packed_;
    uint32_t openBand_ = UINT32_MAX;
    bool changed_ = false;  ///< open_ holds rows that bands_ does not
};

BlockStore* StoreOf(const ImageBitmap* bitmap)
{
    return static_cast<BlockStore*>(bitmap->storageHandle);
}
}  // namespace

int32_t BuildCompressedBlocks(ImageBitmap* bitmap)
{
    try {
        bitmap->storageHandle = new BlockStore(*bitmap);
    } catch (const std::bad_alloc&) {
        return kRasterNoMemory;
    }
    bitmap->flags |= kBitmapAllocated | kBitmapInMemory | kBitmapCompressedBlocks;
    return kRasterOk;
}

void ReleaseCompressedBlocks(ImageBitmap* bitmap)
{
    delete StoreOf(bitmap);
}

int32_t ReadBlockRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount)
{
    const uint8_t* bytes = StoreOf(bitmap)->OpenRow(row);
    if (bytes == nullptr) return kRasterNoMemory;
    std::memcpy(buffer, bytes, byteCount);
    return static_cast<int32_t>(byteCount);
}

int32_t WriteBlockRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount)
{
    uint8_t* bytes = StoreOf(bitmap)->OpenRow(row);
    if (bytes == nullptr) return kRasterNoMemory;
    std::memcpy(bytes, buffer, byteCount);
    StoreOf(bitmap)->MarkChanged();
    return static_cast<int32_t>(byteCount);
}
}  // namespace talv
