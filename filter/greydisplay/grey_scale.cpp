#include "filter/greydisplay/grey_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace talv {
namespace {
// In C.11.2.1.2 the level reaches white one unit before the window's upper end, hence a width of one more.
constexpr double kHalf = 0.5;

int32_t LevelOf(uint32_t entry)
{
    return static_cast<int32_t>(entry >> 8 & 0xFF);  // green
}

/// The straight part of a palette: level = stored * slope + offset. `found` is false for a curve.
struct PaletteLine
{
    bool found = false;
    double slope = 0, offset = 0;
};

// Least squares over the entries between black and white; levels are rounded, so all must lie within 1.
PaletteLine FitLine(const std::vector<uint32_t>& palette)
{
    double count = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
    for (size_t i = 0; i < palette.size(); ++i) {
        const int32_t level = LevelOf(palette[i]);
        if (level == 0 || level == 255) continue;
        const auto x = static_cast<double>(i);
        count += 1, sumX += x, sumY += level, sumXX += x * x, sumXY += x * level;
    }
    const double spread = count * sumXX - sumX * sumX;
    PaletteLine line;
    if (count < 3 || spread <= 0) return line;
    line.slope = (count * sumXY - sumX * sumY) / spread;
    line.offset = (sumY - line.slope * sumX) / count;
    line.found = line.slope != 0;
    for (size_t i = 0; line.found && i < palette.size(); ++i) {
        const double level = std::clamp(static_cast<double>(i) * line.slope + line.offset, 0.0, 255.0);
        line.found = std::abs(level - LevelOf(palette[i])) <= 1.0;
    }
    return line;
}

// Black to white over everything that can be stored: the picture of a file that says nothing about a window.
bool IsEven(const std::vector<uint32_t>& palette)
{
    const double last = static_cast<double>(palette.size()) - 1;
    const bool falls = LevelOf(palette.front()) > LevelOf(palette.back());
    for (size_t i = 0; i < palette.size(); ++i) {
        const double level = 255 * static_cast<double>(i) / last;
        if (std::abs((falls ? 255 - level : level) - LevelOf(palette[i])) > 1.0) return false;
    }
    return true;
}

/// Where a line over stored values has black or, where it falls, white: in values.
double StartOf(const PaletteLine& line, const GreyScale& scale)
{
    const double stored = (line.slope > 0 ? 0 - line.offset : 255 - line.offset) / line.slope;
    return stored * scale.slope + scale.offset;
}

// A window read from the palette with `scale` is the block's, but for fractions and the rounding of levels.
bool Explains(const PaletteLine& line, const GreyScale& scale)
{
    const double span = std::abs(255 / line.slope * scale.slope);
    const double tolerance = 1.5 + 0.01 * span;
    double start = StartOf(line, scale);
    if (scale.slope < 0) start -= span;
    return std::abs(span - scale.window.Span()) <= tolerance &&
           std::abs(start - scale.window.Start()) <= tolerance;
}

// The scale on which the palette's line is the block's window.
void TakeScaleFrom(const PaletteLine& line, GreyScale* scale)
{
    const double stored = 255 / std::abs(line.slope);
    const double sign = scale->slope < 0 ? -1 : 1;
    scale->slope = sign * scale->window.Span() / stored;
    scale->offset = 0;
    const double start = sign > 0 ? scale->window.Start() : scale->window.Start() + scale->window.Span();
    scale->offset = start - StartOf(line, *scale);
}

uint32_t HalfRange(const GreyBlock& block)
{
    return (block.IndexMask() >> 1) + 1;
}

void ReadWindow(const GreyBlock& block, GreyScale* scale)
{
    const int64_t smallest = block.minValue, largest = block.maxValue;
    const bool plain = scale->slope == 1 && block.intercept == 0;
    scale->windowFromRange = block.windowWidth < 1 || (plain && block.windowWidth == largest - smallest &&
                                                       block.windowCenter == (largest + smallest) / 2);
    if (scale->windowFromRange)
        scale->window = WindowOfRange(static_cast<double>(smallest), static_cast<double>(largest));
    else
        scale->window = {static_cast<double>(block.windowCenter), static_cast<double>(block.windowWidth)};
}

void ReadPaletteView(const GreyBlock& block, GreyScale* scale)
{
    const bool falls = LevelOf(block.palette.front()) > LevelOf(block.palette.back());
    const PaletteLine line = FitLine(block.palette);
    scale->showsPalette = !(scale->windowFromRange && IsEven(block.palette));
    if (line.found && scale->showsPalette && !scale->windowFromRange && scale->window.Span() > 0) {
        GreyScale other = *scale;  // with the other sign
        const double half = HalfRange(block) * scale->slope;
        other.offset = block.minValue < 0 ? scale->offset + half : scale->offset - half;
        if (!Explains(line, *scale)) {
            if (Explains(line, other))
                *scale = other;
            else
                TakeScaleFrom(line, scale);
        }
    }
    scale->inverted = falls != (scale->slope < 0);
}

/// Differences between neighbours in one byte of the words, and whether it takes several values.
struct PlaneLook
{
    uint64_t roughness = 0;
    int32_t commonValues = 0;  ///< that at least one pixel in 100 has
};

PlaneLook LookAtPlane(const GreyBlock& block, const uint8_t* frame, size_t byte)
{
    PlaneLook look;
    uint64_t counts[256] = {};
    for (int32_t y = 0; y < block.height; ++y) {
        const uint8_t* row = frame + block.Stride() * static_cast<size_t>(y) + byte;
        for (int32_t x = 0; x < block.width; ++x) {
            ++counts[row[2 * static_cast<size_t>(x)]];
            if (x > 0)
                look.roughness += static_cast<uint64_t>(
                    std::abs(row[2 * static_cast<size_t>(x)] - row[2 * static_cast<size_t>(x) - 2]));
        }
    }
    const uint64_t pixels = static_cast<uint64_t>(block.width) * static_cast<uint64_t>(block.height);
    for (const uint64_t count : counts) look.commonValues += count * 100 >= pixels && count > 0;
    return look;
}

// Run-length frames of 16 bits arrive with their bytes changed over. In a picture the high bytes are smooth
// and the low ones rough. The other way round, with a smooth byte that takes several values (it is not just
// empty), the bytes have changed places. Dark pictures, as at the start of a run, leave one byte empty.
bool LooksSwapped(const GreyBlock& block, const uint8_t* frame, bool* settled)
{
    *settled = true;
    if (block.bits != 16 || block.highBit < 8 || block.lowBit > 7) return false;
    const PlaneLook low = LookAtPlane(block, frame, 0), high = LookAtPlane(block, frame, 1);
    *settled = low.roughness > 0 && high.roughness > 0;
    return low.commonValues >= 3 && low.roughness > 0 && high.roughness > 4 * low.roughness;
}

template <class Take>
void ForEachWord(const GreyBlock& block, const uint8_t* frame, Take take)
{
    for (int32_t y = 0; y < block.height; ++y) {
        const uint8_t* row = frame + block.Stride() * static_cast<size_t>(y);
        for (int32_t x = 0; x < block.width; ++x) {
            const auto column = static_cast<size_t>(x);
            const uint8_t* pair = block.bits == 16 ? row + 2 * column : row + column / 2 * 3 + column % 2;
            const uint32_t word = pair[0] | uint32_t{pair[1]} << 8;
            take(block.bits == 16 ? word : column % 2 == 0 ? word & 0xFFF : word >> 4);
        }
    }
}
}  // namespace

GreyWindow WindowOfRange(double smallest, double largest)
{
    return {(smallest + largest) / 2 + kHalf, largest - smallest + 1};
}

GreyScale ReadGreyScale(const GreyBlock& block, const FrameHints& hints)
{
    GreyScale scale;
    const bool lost = block.slope == 0;  // below 1
    scale.slope = lost ? 1 : block.slope;
    const double zero = hints.isSigned ? HalfRange(block) : 0;
    scale.offset = (lost ? 0 : block.intercept) - scale.slope * zero;
    ReadWindow(block, &scale);
    if (block.palette.size() > 1) ReadPaletteView(block, &scale);
    return scale;
}

bool SignIsOpen(const GreyBlock& block)
{
    return block.minValue >= 0 && static_cast<uint32_t>(block.maxValue) < HalfRange(block);
}

FrameHints LookAtFrame(const GreyBlock& block, const uint8_t* frame, bool* settled)
{
    FrameHints hints;
    hints.isSigned = block.minValue < 0;
    hints.bytesSwapped = LooksSwapped(block, frame, settled);
    if (hints.bytesSwapped || !SignIsOpen(block)) return hints;
    // Values from 0 to below half the range lie in the upper half when they are signed.
    uint32_t smallest = 0, largest = 0;
    StoredRange(block, hints, frame, &smallest, &largest);
    hints.isSigned = smallest >= HalfRange(block);
    return hints;
}

void StoredRange(const GreyBlock& block, const FrameHints& hints, const uint8_t* frame, uint32_t* smallest,
                 uint32_t* largest)
{
    *smallest = UINT32_MAX;
    *largest = 0;
    ForEachWord(block, frame, [&](uint32_t word) {
        const uint32_t stored = StoredValue(block, hints, word);
        *smallest = std::min(*smallest, stored);
        *largest = std::max(*largest, stored);
    });
}

uint32_t StoredValue(const GreyBlock& block, const FrameHints& hints, uint32_t word)
{
    if (hints.bytesSwapped) {
        // The sign bit was flipped where it seemed to stand.
        const uint32_t sign = hints.isSigned ? 1u << block.highBit : 0;
        word ^= sign;
        word = ((word & 0xFF) << 8 | word >> 8) ^ sign;
    }
    return word >> block.lowBit & block.IndexMask();
}
}  // namespace talv
