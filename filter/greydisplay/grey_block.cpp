#include "filter/greydisplay/grey_block.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "filter/block_fields.h"
#include "filter/media_format.h"

namespace talv {
namespace {
constexpr size_t kAverageTime = 40, kHeader = 48;  // bitmap header
constexpr size_t kLowBit = 88, kMinValue = 96, kWindow = 104, kRescale = 112, kPalette = 144;
constexpr size_t kMaxPalette = 65536;
constexpr int64_t kMaxPictureBytes = int64_t{256} << 20;

int32_t Signed(const uint8_t* bytes)
{
    return static_cast<int32_t>(GetU32(bytes));
}

uint64_t GetU64(const uint8_t* bytes)
{
    return GetU32(bytes) | uint64_t{GetU32(bytes + 4)} << 32;
}

// The block's usual writer has whole numbers only and takes their 32 bits as unsigned: -1024 arrives as
// 4294966272.0. Those of others may have fractions. What no rescale has becomes `otherwise`.
double RescaleNumber(const uint8_t* bytes, double otherwise)
{
    constexpr double kSmallest = 1e-6;
    const auto number = std::bit_cast<double>(GetU64(bytes));
    if (!(number >= INT32_MIN && number <= UINT32_MAX)) return otherwise;
    if (number > INT32_MAX) return number - (double{UINT32_MAX} + 1);
    return number == 0 || std::abs(number) >= kSmallest ? number : otherwise;
}

void ReadPalette(const uint8_t* bytes, size_t count, std::vector<uint32_t>* palette)
{
    palette->resize(count);
    for (size_t i = 0; i < count; ++i) (*palette)[i] = GetU32(bytes + 4 * i) & 0xFFFFFF;
}
}  // namespace

bool ReadGreyBlock(const uint8_t* bytes, size_t size, GreyBlock* block)
{
    if (bytes == nullptr || size < kPalette) return false;
    const uint8_t* header = bytes + kHeader;
    const int32_t width = Signed(header + 4), height = Signed(header + 8);
    block->bits = GetU16(header + 14);
    if (GetU32(header + 16) != kTgryFourCc || (block->bits != 12 && block->bits != 16)) return false;
    if (width <= 0 || height == 0 || height == INT32_MIN) return false;
    if (int64_t{width} * std::abs(height) > kMaxPictureBytes / 4) return false;
    const uint32_t colours = GetU32(header + 32);
    if (colours > kMaxPalette || size - kPalette < size_t{colours} * 4) return false;

    block->width = width;
    block->height = std::abs(height);
    block->topDown = height < 0;
    block->averageTime = static_cast<int64_t>(GetU64(bytes + kAverageTime));
    const int32_t top = static_cast<int32_t>(block->bits) - 1;
    block->lowBit = std::clamp(Signed(bytes + kLowBit), 0, top);
    block->highBit = std::clamp(Signed(bytes + kLowBit + 4), block->lowBit, top);
    block->minValue = Signed(bytes + kMinValue);
    block->maxValue = Signed(bytes + kMinValue + 4);
    block->windowWidth = Signed(bytes + kWindow);
    block->windowCenter = Signed(bytes + kWindow + 4);
    block->intercept = RescaleNumber(bytes + kRescale, 0);
    block->slope = RescaleNumber(bytes + kRescale + 8, 1);
    ReadPalette(bytes + kPalette, colours, &block->palette);
    return true;
}
}  // namespace talv
