#include "tools/talvdicom/grey_view.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "dicom/reader.h"
#include "image/display_steps.h"
#include "raster/convert.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
constexpr double kWhite = 65535;

struct MeasuredSpan
{
    double smallest = std::numeric_limits<double>::max();
    double largest = std::numeric_limits<double>::lowest();
    bool Known() const { return smallest <= largest; }
    void Include(double value)
    {
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
    }
};

/// Values of stored samples: signed ones count from minus half the range.
double ValueOfStored(uint32_t stored, uint32_t mask, bool isSigned)
{
    return static_cast<double>(stored) - (isSigned ? (static_cast<double>(mask) + 1) / 2 : 0);
}

/// Widens `span` by every value of a grey bitmap of 8 or 16 bits.
void Measure(ImageBitmap* bitmap, const GreyView& view, MeasuredSpan* span)
{
    std::vector<uint8_t> row(bitmap->bytesPerLine);
    const BitWindow bits = GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit);
    const uint16_t signBit = SignBit(*bitmap);
    uint32_t smallest = UINT32_MAX, largest = 0;
    for (int32_t y = 0; y < bitmap->height; ++y) {
        if (GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine) < 0) return;
        for (int32_t x = 0; x < bitmap->width; ++x) {
            uint32_t stored = row[static_cast<size_t>(x)];
            if (bitmap->bitsPerPixel == 8) {
                if (view.isSigned) stored ^= 0x80;
            } else {
                stored =
                    StoredSample(&row[2 * static_cast<size_t>(x)], view, signBit) >> bits.shift & bits.mask;
            }
            smallest = std::min(smallest, stored);
            largest = std::max(largest, stored);
        }
    }
    if (smallest > largest) return;
    const bool isSigned = bitmap->bitsPerPixel == 8 ? view.isSigned : signBit != 0;
    const uint32_t mask = bitmap->bitsPerPixel == 8 ? 0xFF : bits.mask;
    span->Include(ValueOfStored(smallest, mask, isSigned) * view.slope + view.intercept);
    span->Include(ValueOfStored(largest, mask, isSigned) * view.slope + view.intercept);
}

MeasuredSpan MeasureFrames(OpenedFile* opened, GreyView view, const std::vector<int64_t>& frames)
{
    MeasuredSpan span;
    Progress progress("measuring frame", static_cast<int64_t>(frames.size()));
    for (size_t i = 0; i < frames.size() && !Interrupted(); ++i) {
        DecodedFrame decoded(opened->source, frames[i]);
        UseFrame(opened, frames[i], &view);
        if (decoded.Status() == kDicomOk && decoded.Bitmap()->bitsPerPixel <= 16)
            Measure(decoded.Bitmap(), view, &span);
        progress.Show(static_cast<int64_t>(i) + 1);
    }
    return span;
}

/// Black at the smallest value, white at the largest.
void SpanWindow(const MeasuredSpan& span, GreyView* view)
{
    view->fromBitmap = false;
    if (!span.Known()) return;
    view->center = (span.smallest + span.largest) / 2 + 0.5;
    view->width = span.largest - span.smallest + 1;
}

bool ReadNumber(const std::string& text, double* value)
{
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data() + (text[0] == '+' ? 1 : 0), end, *value);
    return error == std::errc() && next == end && std::isfinite(*value);
}
}  // namespace

std::string ParseWindowRule(const std::string& text, WindowRule* rule)
{
    static constexpr struct
    {
        const char* word;
        WindowKind kind;
    } kWords[] = {{"auto", WindowKind::automatic},
                  {"minmax", WindowKind::minmax},
                  {"file", WindowKind::file},
                  {"none", WindowKind::none}};
    for (const auto& entry : kWords)
        if (text == entry.word) {
            rule->kind = entry.kind;
            return {};
        }
    rule->kind = WindowKind::given;
    const size_t comma = text.find(',');
    if (comma == std::string::npos || !ReadNumber(text.substr(0, comma), &rule->center) ||
        !ReadNumber(text.substr(comma + 1), &rule->width) || rule->width < 1)
        return "\"" + text + "\" is none of auto, minmax, file, none, or center,width with a width from 1 on";
    return {};
}

bool MakeGreyView(OpenedFile* opened, const WindowRule& rule, bool fine, const std::vector<int64_t>& frames,
                  GreyView* view, std::string* refusal)
{
    const FrameMap& map = opened->Frames();
    const ImageDescription& description = map.Description();
    *view = {};
    view->isSigned = description.pixelRepresentation == 1;
    view->swapBytes = description.compression == kCompressionRle && description.outputBits == 16 &&
                      description.bitsAllocated == 16;
    if (description.greyLevel == 0) return true;

    const DisplaySteps steps = ReadDisplaySteps(
        AttributeReader(opened->source.dataSet, opened->source.pixelDataElement, &opened->Groups(), 0),
        description);
    const bool hasTables = !steps.modality.entries.empty() || !steps.voi.entries.empty();
    const bool hasWindow = steps.numbers.hasWindow && steps.numbers.width >= 1;
    view->invert = steps.inverted;
    view->slope = steps.numbers.slope;
    view->intercept = steps.numbers.intercept;
    view->storedValues = rule.kind == WindowKind::none;
    switch (rule.kind) {
        case WindowKind::none:
            return true;
        case WindowKind::given:
            view->fromBitmap = false;
            view->center = rule.center;
            view->width = rule.width;
            return true;
        case WindowKind::minmax:
            SpanWindow(MeasureFrames(opened, *view, frames), view);
            return true;
        case WindowKind::file:
            if (hasWindow || hasTables) break;
            *refusal = "the file has no window of its own; try --window minmax";
            return false;
        case WindowKind::automatic:
            if (hasWindow || hasTables || description.outputBits <= 8) break;
            SpanWindow(MeasureFrames(opened, *view, {0}), view);
            return true;
    }
    // A lut is what the component shows, but its entries have 8 bits only.
    if (fine && description.outputBits == 16 && hasWindow && !hasTables) {
        view->fromBitmap = false;
        view->windowOfFile = true;
        view->center = steps.numbers.center;
        view->width = steps.numbers.width;
    }
    return true;
}

void UseFrame(OpenedFile* opened, int64_t frame, GreyView* view)
{
    if (!opened->Groups().VaryByFrame()) return;
    view->levels.clear();
    DisplaySteps steps;
    ReadStepNumbers(AttributeReader(opened->source.dataSet, opened->source.pixelDataElement,
                                    &opened->Groups(), static_cast<uint32_t>(frame)),
                    &steps);
    view->slope = steps.numbers.slope;
    view->intercept = steps.numbers.intercept;
    if (!view->windowOfFile || !steps.numbers.hasWindow) return;
    view->center = steps.numbers.center;
    view->width = steps.numbers.width;
}

uint16_t StoredSample(const uint8_t* bytes, const GreyView& view, uint16_t signBit)
{
    const uint32_t sample = bytes[0] | uint32_t{bytes[1]} << 8;
    if (!view.swapBytes) return static_cast<uint16_t>(sample);
    const uint32_t asStored = sample ^ signBit;
    return static_cast<uint16_t>((asStored << 8 | asStored >> 8) ^ signBit);
}

uint16_t SignBit(const ImageBitmap& bitmap)
{
    const bool flipped = (bitmap.flags & kBitmapSigned) != 0 && bitmap.highBit >= 0 && bitmap.highBit < 16;
    return flipped ? static_cast<uint16_t>(1u << bitmap.highBit) : uint16_t{0};
}

bool MakeLevels(ImageBitmap* bitmap, GreyView* view)
{
    const bool deep = bitmap->bitsPerPixel == 16;
    const uint32_t mask = deep ? GetBitWindow(16, 16, bitmap->lowBit, bitmap->highBit).mask : 0xFF;
    view->levels.resize(size_t{mask} + 1);
    if (view->fromBitmap) {
        const PaletteEntry* entries = deep ? bitmap->lut : bitmap->palette;
        if (entries == nullptr || (deep ? bitmap->lutLength : bitmap->colorCount) < view->levels.size())
            return false;
        for (size_t i = 0; i < view->levels.size(); ++i)
            view->levels[i] = static_cast<uint16_t>(entries[i].green * 257);
        return true;
    }
    const bool isSigned = deep ? SignBit(*bitmap) != 0 : view->isSigned;
    for (uint32_t i = 0; i <= mask; ++i) {
        const uint32_t stored = !deep && isSigned ? i ^ 0x80 : i;
        const double value = ValueOfStored(stored, mask, isSigned) * view->slope + view->intercept;
        // PS3.3 C.11.2.1.2.1. A width of 1 or less is a threshold, and without any width all values are
        // equal.
        const double offset = value - (view->center - 0.5), half = (view->width - 1) / 2;
        double level = offset <= -half ? 0 : offset > half ? 1 : offset / (view->width - 1) + 0.5;
        if (view->invert) level = 1 - level;
        view->levels[i] = static_cast<uint16_t>(std::lround(level * kWhite));
    }
    return true;
}
}  // namespace talv
