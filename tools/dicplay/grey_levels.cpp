#include "grey_levels.h"

#include <algorithm>
#include <cstring>

namespace talv {
namespace {
constexpr size_t kColoursUsed = 80, kLowBit = 88, kMinValue = 96, kWindow = 104, kRescale = 112,
                 kPalette = 144;

template <class Number>
Number Field(const AM_MEDIA_TYPE& type, size_t offset)
{
    Number number{};
    if (offset + sizeof(number) <= type.cbFormat)
        std::memcpy(&number, type.pbFormat + offset, sizeof(number));
    return number;
}
}  // namespace

uint32_t StoredPixel(const uint8_t* row, size_t x, uint32_t bits)
{
    if (bits == 16) return row[2 * x] | row[2 * x + 1] << 8;
    const uint8_t* pair = row + x / 2 * 3;
    return x % 2 == 0 ? pair[0] | (pair[1] & 15) << 8 : pair[1] >> 4 | pair[2] << 4;
}

GreyLevels::GreyLevels(const AM_MEDIA_TYPE& type)
{
    lowBit_ = std::clamp(Field<int32_t>(type, kLowBit), 0, 15);
    highBit_ = std::clamp(Field<int32_t>(type, kLowBit + 4), lowBit_, 15);
    const auto minValue = Field<int32_t>(type, kMinValue), maxValue = Field<int32_t>(type, kMinValue + 4);
    signed_ = minValue < 0;

    auto width = Field<int32_t>(type, kWindow), centre = Field<int32_t>(type, kWindow + 4);
    // The block carries whole numbers whose 32 bits were taken as unsigned; a slope below 1 arrives as 0.
    slope_ = static_cast<int32_t>(static_cast<int64_t>(Field<double>(type, kRescale + 8)));
    intercept_ = static_cast<int32_t>(static_cast<int64_t>(Field<double>(type, kRescale)));
    if (slope_ == 0.0) {
        slope_ = 1.0;
        intercept_ = 0.0;
        width = 0;
    }
    if (width <= 0) {
        width = maxValue - minValue;
        centre = minValue + width / 2;
        slope_ = 1.0;
        intercept_ = 0.0;
    }
    width = std::max(width, 1);
    low_ = centre - width / 2.0;
    scale_ = 255.0 / width;

    const auto colours = std::min<size_t>(Field<uint32_t>(type, kColoursUsed), 65536);
    if (colours == 0 || type.cbFormat < kPalette + colours * sizeof(RGBQUAD)) return;
    palette_.resize(colours);
    std::memcpy(palette_.data(), type.pbFormat + kPalette, colours * sizeof(RGBQUAD));
}

int32_t GreyLevels::Value(uint32_t stored) const
{
    const int bits = highBit_ - lowBit_ + 1;
    const auto value = static_cast<int32_t>((stored >> lowBit_) & ((1u << bits) - 1));
    const int32_t sign = 1 << (bits - 1);
    return signed_ ? (value ^ sign) - sign : value;
}

RGBQUAD GreyLevels::Show(uint32_t stored) const
{
    if (!palette_.empty()) {
        const auto index = static_cast<size_t>((stored >> lowBit_) & ((1u << (highBit_ - lowBit_ + 1)) - 1));
        return palette_[std::min(index, palette_.size() - 1)];
    }
    const double level = (Value(stored) * slope_ + intercept_ - low_) * scale_;
    const auto shown = static_cast<BYTE>(std::clamp(level, 0.0, 255.0));
    return {shown, shown, shown, 0};
}
}  // namespace talv
