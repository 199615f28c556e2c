#include "filter/greydisplay/grey_table.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace talv {
namespace {
constexpr size_t kWords = 65536;
constexpr uint32_t kGrey = 0x010101;

/// The level of a value, 0 to 255 with fractions. A window of one unit is a step.
double LevelAt(const GreyWindow& window, double value)
{
    const double start = window.Start(), span = window.Span();
    if (value <= start) return 0;
    return value >= start + span ? 255 : (value - start) / span * 255;
}

std::vector<uint32_t> SpreadOverWords(const GreyBlock& block, const FrameHints& hints,
                                      const std::vector<uint32_t>& ofStored)
{
    std::vector<uint32_t> entries(kWords);
    for (uint32_t word = 0; word < kWords; ++word)
        entries[word] = ofStored[std::min<size_t>(StoredValue(block, hints, word), ofStored.size() - 1)];
    return entries;
}

// Whether the kernel makes the very same pixels of all words.
bool RampMakes(const GreyRamp& ramp, const std::vector<uint32_t>& entries)
{
    constexpr size_t kRun = 4096;
    uint8_t words[2 * kRun], pixels[4 * kRun];
    for (size_t first = 0; first < kWords; first += kRun) {
        for (size_t i = 0; i < kRun; ++i) {
            words[2 * i] = static_cast<uint8_t>(first + i);
            words[2 * i + 1] = static_cast<uint8_t>((first + i) >> 8);
        }
        BestGreyKernels().ramp(words, pixels, kRun, ramp);
        if (std::memcmp(pixels, entries.data() + first, sizeof(pixels)) != 0) return false;
    }
    return true;
}
}  // namespace

GreyTable GreyTable::FromPalette(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale)
{
    GreyTable table;
    table.entries_ = SpreadOverWords(block, hints, block.palette);
    if (!hints.bytesSwapped) table.TryRamp(block, scale, scale.window);
    return table;
}

GreyTable GreyTable::FromWindow(const GreyBlock& block, const FrameHints& hints, const GreyScale& scale,
                                const GreyWindow& window)
{
    std::vector<uint32_t> ofStored(size_t{block.IndexMask()} + 1);
    for (uint32_t stored = 0; stored < ofStored.size(); ++stored) {
        const double level = LevelAt(window, scale.ValueOf(stored));
        ofStored[stored] = static_cast<uint32_t>((scale.inverted ? 255 - level : level) + 0.5) * kGrey;
    }
    GreyTable table;
    table.entries_ = SpreadOverWords(block, hints, ofStored);
    if (!hints.bytesSwapped) table.TryRamp(block, scale, window);
    return table;
}

// Single precision may round a level that lies within its error of a half to the other side. Nudges find the
// ramp for most windows; for the rest the look-up stays.
void GreyTable::TryRamp(const GreyBlock& block, const GreyScale& scale, const GreyWindow& window)
{
    const double span = window.Span();
    if (!(span > 0) || BestGreyKernels().ramp == kPlainGreyKernels.ramp) return;
    // The lower end of the ramp in stored values, where it is black or, falling, white.
    const bool rises = (scale.slope > 0) != scale.inverted;
    const double lower = scale.slope > 0 ? window.Start() : window.Start() + span;
    const double start = (lower - scale.offset) / scale.slope;
    const double slope = (rises ? 255 : -255) * std::abs(scale.slope) / span;
    ramp_.shift = static_cast<uint32_t>(block.lowBit);
    ramp_.mask = block.IndexMask();
    ramp_.base = static_cast<uint16_t>(std::clamp(std::floor(start), 0.0, 65535.0));
    ramp_.scale = static_cast<float>(slope);
    const double offset = (rises ? 0.5 : 255.5) + (ramp_.base - start) * slope;
    if (!(std::abs(slope) * 65536 + std::abs(offset) < 1 << 30)) return;
    for (const double nudge : {0.0, 2e-5, -2e-5, 1e-4, -1e-4}) {
        ramp_.offset = static_cast<float>(offset + nudge);
        isRamp_ = RampMakes(ramp_, entries_);
        if (isRamp_) return;
    }
}

void GreyTable::Convert(uint32_t bits, const uint8_t* row, uint8_t* pixels, size_t count) const
{
    const GreyKernels& kernels = BestGreyKernels();
    if (isRamp_)
        (bits == 12 ? kernels.ramp12 : kernels.ramp)(row, pixels, count, ramp_);
    else
        (bits == 12 ? kernels.lookUp12 : kernels.lookUp)(row, pixels, count, entries_.data());
}

void ConvertGreyFrame(const GreyBlock& block, const GreyTable& table, const uint8_t* frame, size_t frameBytes,
                      const RgbTarget& target)
{
    const auto width = static_cast<size_t>(block.width), height = static_cast<size_t>(block.height);
    const size_t stride = block.Stride(), rowBytes = 4 * width;
    for (size_t row = 0; row < height; ++row) {
        const size_t at = target.stride * (block.topDown == target.topDown ? row : height - 1 - row);
        if (at + rowBytes > target.bytes) continue;
        if (stride * (row + 1) > frameBytes)
            std::memset(target.pixels + at, 0, rowBytes);
        else
            table.Convert(block.bits, frame + stride * row, target.pixels + at, width);
    }
}
}  // namespace talv
