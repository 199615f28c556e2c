#include "filter/greydisplay/rgb_form.h"

#include <cstdlib>

#include "filter/block_fields.h"

namespace talv {
namespace {
constexpr size_t kSource = 0, kTarget = 16, kAverageTime = 40, kHeader = 48, kBlockSize = 88;
constexpr uint32_t kHeaderSize = 40;
constexpr int64_t kMaxBytes = int64_t{1} << 30;

int32_t Signed(const uint8_t* bytes)
{
    return static_cast<int32_t>(GetU32(bytes));
}

/// A rectangle of a format block is empty, the whole picture, or another.
enum class Area
{
    empty,
    picture,
    other,
};

Area ReadArea(const uint8_t* rectangle, const GreyBlock& grey)
{
    const int32_t left = Signed(rectangle), top = Signed(rectangle + 4);
    const int32_t right = Signed(rectangle + 8), bottom = Signed(rectangle + 12);
    if (left == 0 && top == 0 && right == 0 && bottom == 0) return Area::empty;
    return left == 0 && top == 0 && right == grey.width && bottom == grey.height ? Area::picture
                                                                                 : Area::other;
}
}  // namespace

bool ReadRgbBlock(const uint8_t* bytes, size_t size, const GreyBlock& grey, RgbForm* form)
{
    if (bytes == nullptr || size < kBlockSize) return false;
    const uint8_t* header = bytes + kHeader;
    const int32_t width = Signed(header + 4), height = Signed(header + 8);
    if (GetU32(header) < kHeaderSize || GetU16(header + 14) != 32 || GetU32(header + 16) != 0) return false;
    if (width < grey.width || (height != grey.height && height != -grey.height)) return false;
    const Area source = ReadArea(bytes + kSource, grey), target = ReadArea(bytes + kTarget, grey);
    if (source == Area::other || target == Area::other) return false;
    // An empty target means the whole header: longer rows would be a wider picture.
    if (width > grey.width && target == Area::empty) return false;
    if (int64_t{width} * 4 * grey.height > kMaxBytes) return false;
    form->stride = static_cast<size_t>(width) * 4;
    form->bytes = form->stride * static_cast<size_t>(grey.height);
    form->topDown = height < 0;
    return true;
}

std::vector<uint8_t> MakeRgbBlock(const GreyBlock& grey)
{
    std::vector<uint8_t> block(kBlockSize, 0);
    PutU64(&block[kAverageTime], static_cast<uint64_t>(grey.averageTime));
    uint8_t* header = &block[kHeader];
    PutU32(header, kHeaderSize);
    PutU32(header + 4, static_cast<uint32_t>(grey.width));
    PutU32(header + 8, static_cast<uint32_t>(grey.height));
    PutU16(header + 12, 1);  // planes
    PutU16(header + 14, 32);
    PutU32(header + 20, static_cast<uint32_t>(grey.width) * static_cast<uint32_t>(grey.height) * 4);
    return block;
}
}  // namespace talv
