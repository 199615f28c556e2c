#include "raster/remap.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "raster/grey_samples.h"
#include "raster/pixel_converter.h"

namespace talv {
namespace {
/// extended[0] of a bitmap whose lut block goes on, behind the entries, with the result for every stored
/// value.
constexpr uint32_t kResultsBehindLut = 1;

/// The result for each stored value.
using Results = std::vector<double>;

/// What the remembered remaps, or none, make of each stored value.
Results CurrentResults(const ImageBitmap& bitmap)
{
    const BitWindow window = SignificantBits(bitmap);
    Results results(size_t{window.mask} + 1);
    if (bitmap.extended[0] == kResultsBehindLut && bitmap.lut != nullptr &&
        bitmap.lutLength == results.size()) {
        std::memcpy(results.data(), bitmap.lut + bitmap.lutLength, results.size() * sizeof(double));
        return results;
    }
    const int32_t zero = ZeroOfSigned(bitmap, window);
    for (size_t i = 0; i < results.size(); ++i)
        results[i] = static_cast<double>(static_cast<int32_t>(i) - zero);
    return results;
}

/// Grey in 0..1 for every result.
struct Ramp
{
    double start, span;  ///< results up to `start` are black, from start + span on white
    bool invert;

    double At(double result) const
    {
        const double level = result <= start ? 0 : result >= start + span ? 1 : (result - start) / span;
        return invert ? 1 - level : level;
    }
};

Ramp WholeRange(const Results& results, bool invert)
{
    const auto [smallest, largest] = std::minmax_element(results.begin(), results.end());
    return {*smallest, *largest - *smallest, invert};
}

Ramp Window(const Results& results, double center, double width, bool invert)
{
    if (width < 1) return WholeRange(results, invert);
    return {center - 0.5 - (width - 1) / 2, width - 1, invert};
}

int32_t InstallLut(ImageBitmap* bitmap, const Results& results, const Ramp& ramp)
{
    const size_t count = results.size();  // 2 or more: the results stay aligned behind the entries
    auto* lut = static_cast<PaletteEntry*>(std::malloc(count * (sizeof(PaletteEntry) + sizeof(double))));
    if (lut == nullptr) return kRasterNoMemory;
    for (size_t i = 0; i < count; ++i) {
        const auto level = static_cast<uint8_t>(ramp.At(results[i]) * 255 + 0.5);
        lut[i] = {level, level, level, 0};
    }
    std::memcpy(lut + count, results.data(), count * sizeof(double));
    std::free(bitmap->lut);
    bitmap->lut = lut;
    bitmap->lutLength = static_cast<uint32_t>(count);
    bitmap->extended[0] = kResultsBehindLut;
    return kRasterOk;
}

void DropLut(ImageBitmap* bitmap)
{
    std::free(bitmap->lut);
    bitmap->lut = nullptr;
    bitmap->lutLength = 0;
    bitmap->extended[0] = 0;
}

/// How rewritten samples are kept.
struct SampleForm
{
    bool isSigned;
    int32_t bits;
    int32_t smallest, largest;

    int32_t Zero() const { return isSigned ? 1 << (bits - 1) : 0; }
    uint16_t Store(double result) const
    {
        const double value = std::clamp(std::round(result), double(smallest), double(largest));
        return static_cast<uint16_t>(static_cast<int32_t>(value) + Zero());
    }
};

/// The fewest bits that hold all results, at most those of the depth.
SampleForm FormFor(const Results& results, int32_t depth)
{
    const auto [smallest, largest] = std::minmax_element(results.begin(), results.end());
    SampleForm form;
    form.isSigned = std::round(*smallest) < 0;
    const double reach = std::max(std::round(*largest), form.isSigned ? -std::round(*smallest) - 1 : 0.0);
    const auto magnitude = static_cast<uint32_t>(std::clamp(reach, 0.0, 65535.0));
    const int32_t needed = static_cast<int32_t>(std::bit_width(magnitude)) + (form.isSigned ? 1 : 0);
    form.bits = std::clamp(needed, 1, depth);
    form.smallest = form.isSigned ? -(1 << (form.bits - 1)) : 0;
    form.largest = (1 << (form.isSigned ? form.bits - 1 : form.bits)) - 1;
    return form;
}

void StoreGreyRow(const ImageBitmap& bitmap, const std::vector<uint16_t>& samples, uint8_t* row)
{
    const auto width = static_cast<size_t>(bitmap.width);
    if (bitmap.bitsPerPixel == 16) {
        std::memcpy(row, samples.data(), 2 * width);
        return;
    }
    for (size_t x = 0; x < width; ++x) {
        const uint32_t sample = samples[x];
        uint8_t* pair = row + x / 2 * 3;
        if (x % 2 == 0) {
            pair[0] = static_cast<uint8_t>(sample);
            pair[1] = static_cast<uint8_t>((pair[1] & 0xF0) | sample >> 8);
        } else {
            pair[1] = static_cast<uint8_t>((pair[1] & 0x0F) | sample << 4);
            pair[2] = static_cast<uint8_t>(sample >> 4);
        }
    }
}

int32_t RewritePixels(ImageBitmap* bitmap, const Results& results, const SampleForm& form)
{
    const BitWindow window = SignificantBits(*bitmap);
    std::vector<uint16_t> table(results.size());
    std::transform(results.begin(), results.end(), table.begin(),
                   [&](double result) { return form.Store(result); });

    const auto width = static_cast<size_t>(bitmap->width);
    std::vector<uint8_t> row(bitmap->bytesPerLine), words(GreyWordBytes(*bitmap));
    std::vector<uint16_t> samples(width);
    uint16_t smallest = UINT16_MAX, largest = 0;
    for (int32_t y = 0; y < bitmap->height; ++y) {
        if (int32_t got = GetBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine); got < 0) return got;
        const uint8_t* source = WordsOfGreyRow(*bitmap, row.data(), words.data());
        for (size_t x = 0; x < width; ++x)
            samples[x] = table[uint32_t{LoadWord(source + 2 * x)} >> window.shift & window.mask];
        BestRowKernels().range16(reinterpret_cast<const uint8_t*>(samples.data()), width, 0, UINT16_MAX,
                                 &smallest, &largest);
        StoreGreyRow(*bitmap, samples, row.data());
        if (int32_t put = PutBitmapRow(bitmap, row.data(), y, bitmap->bytesPerLine); put < 0) return put;
    }

    bitmap->flags &= ~uint32_t{kBitmapSigned};
    if (form.isSigned) bitmap->flags |= kBitmapSigned;
    bitmap->lowBit = bitmap->displayLowBit = 0;
    bitmap->highBit = bitmap->displayHighBit = form.bits - 1;
    bitmap->minValue = smallest - form.Zero();
    bitmap->maxValue = largest - form.Zero();
    DropLut(bitmap);
    return kRasterOk;
}

int32_t CheckRemap(const ImageBitmap* bitmap, int32_t mode)
{
    if (int32_t status = CheckGreyBitmap(bitmap); status < 0) return status;
    if (mode != kRemapPixels && mode != kRemapLut) return kRasterInvalid;
    return SignificantBits(*bitmap).count > 0 ? kRasterOk : kRasterInvalid;
}

/// Replaces every result by change(result) and carries the outcome out in the given mode.
template <class Change>
int32_t RemapResults(ImageBitmap* bitmap, int32_t mode, Change change)
{
    try {
        Results results = CurrentResults(*bitmap);
        std::transform(results.begin(), results.end(), results.begin(), change);
        if (mode == kRemapPixels)
            return RewritePixels(bitmap, results, FormFor(results, bitmap->bitsPerPixel));
        return InstallLut(bitmap, results, WholeRange(results, false));
    } catch (const std::bad_alloc&) {
        return kRasterNoMemory;
    }
}
}  // namespace

int32_t RemapLinear(ImageBitmap* bitmap, double slope, double intercept, int32_t mode)
{
    if (int32_t status = CheckRemap(bitmap, mode); status < 0) return status;
    if (!std::isfinite(slope) || !std::isfinite(intercept)) return kRasterInvalid;
    // Numbers this large come from damaged files; the limit keeps every product finite.
    constexpr double kLargest = 1e100;
    return RemapResults(bitmap, mode, [=](double value) {
        return std::clamp(value * slope + intercept, -kLargest, kLargest);
    });
}

int32_t RemapTable(ImageBitmap* bitmap, const uint16_t* table, uint32_t count, int32_t firstMapped,
                   uint32_t bitsPerEntry, int32_t mode)
{
    if (int32_t status = CheckRemap(bitmap, mode); status < 0) return status;
    if (table == nullptr || count == 0 || bitsPerEntry < 1 || bitsPerEntry > 16) return kRasterInvalid;
    const uint32_t mask = (1u << bitsPerEntry) - 1;
    return RemapResults(bitmap, mode, [=](double value) {
        const double place = std::clamp(std::round(value) - firstMapped, 0.0, double(count - 1));
        return static_cast<double>(table[static_cast<uint32_t>(place)] & mask);
    });
}

int32_t RemapWindow(ImageBitmap* bitmap, double center, double width, bool invert, int32_t mode)
{
    if (int32_t status = CheckRemap(bitmap, mode); status < 0) return status;
    if (!std::isfinite(center) || !std::isfinite(width)) return kRasterInvalid;
    try {
        Results results = CurrentResults(*bitmap);
        const Ramp ramp = Window(results, center, width, invert);
        if (mode == kRemapLut) return InstallLut(bitmap, results, ramp);
        const auto white = static_cast<int32_t>(results.size() - 1);
        std::transform(results.begin(), results.end(), results.begin(),
                       [&](double result) { return ramp.At(result) * white; });
        // The bits stay as many as they were, for a window may leave the brightest values out.
        return RewritePixels(bitmap, results, {false, SignificantBits(*bitmap).count, 0, white});
    } catch (const std::bad_alloc&) {
        return kRasterNoMemory;
    }
}

void KeptLut::KeepFrom(const ImageBitmap& bitmap)
{
    length_ = 0;
    if (bitmap.lut == nullptr) return;
    const bool hasResults = bitmap.extended[0] == kResultsBehindLut;
    const size_t entryBytes = sizeof(PaletteEntry) + (hasResults ? sizeof(double) : 0);
    const auto* block = reinterpret_cast<const uint8_t*>(bitmap.lut);
    try {
        block_.assign(block, block + bitmap.lutLength * entryBytes);
    } catch (const std::bad_alloc&) {
        return;
    }
    length_ = bitmap.lutLength;
    kind_ = hasResults ? kResultsBehindLut : 0;
}

int32_t KeptLut::InstallIn(ImageBitmap* bitmap) const
{
    DropLut(bitmap);
    if (IsEmpty()) return kRasterOk;
    auto* lut = static_cast<PaletteEntry*>(std::malloc(block_.size()));
    if (lut == nullptr) return kRasterNoMemory;
    std::memcpy(lut, block_.data(), block_.size());
    bitmap->lut = lut;
    bitmap->lutLength = length_;
    bitmap->extended[0] = kind_;
    return kRasterOk;
}
}  // namespace talv
