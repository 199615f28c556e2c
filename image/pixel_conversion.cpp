#include "image/pixel_conversion.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "image/image_kernels.h"
#include "raster/row_kernels.h"

namespace talv {
namespace {
/// Calls build(source row, target row) for every row; `usedBytes` of a target row are filled.
template <class Build>
void ForEachRow(const PixelLayout& layout, const uint8_t* frame, size_t usedBytes, BitmapRowWriter* rows,
                Build build)
{
    for (uint32_t y = 0; y < layout.rows; ++y) {
        const auto row = static_cast<int32_t>(y);
        build(frame + layout.rowStride * y, rows->Begin(row));
        if (!rows->Deliver(row, usedBytes)) return;
    }
}

constexpr std::array<uint8_t, 256> MakeReversedBits()
{
    std::array<uint8_t, 256> reversed{};
    for (unsigned value = 0; value < 256; ++value)
        for (unsigned bit = 0; bit < 8; ++bit)
            if ((value >> bit & 1) != 0) reversed[value] |= static_cast<uint8_t>(0x80 >> bit);
    return reversed;
}
constexpr std::array<uint8_t, 256> kReversedBits = MakeReversedBits();
static_assert(kReversedBits[0x01] == 0x80 && kReversedBits[0x0F] == 0xF0);

/// Bit `x` of a row of packed 1-bit samples.
uint32_t BitAt(const uint8_t* row, uint32_t x)
{
    return row[x / 8] >> (x % 8) & 1;
}

/// A row of one or more bytes a pixel: up to two bytes of the pixel's first sample.
template <class Store>
void ForEachWord(const PixelLayout& layout, const uint8_t* source, Store store)
{
    if (layout.bytesPerSample == 1)
        for (uint32_t x = 0; x < layout.columns; ++x) store(x, source[x * layout.pixelStride]);
    else
        for (uint32_t x = 0; x < layout.columns; ++x)
            store(x, LoadSample(source + x * layout.pixelStride, 2));
}

void StoreWord(uint8_t* target, uint32_t word)
{
    target[0] = static_cast<uint8_t>(word);
    target[1] = static_cast<uint8_t>(word >> 8);
}

bool IsPackedBits(const PixelLayout& layout)
{
    return layout.pixelStride == 0 && layout.bitsAllocated == 1;
}

/// True for a table of 256 places that maps every sample to itself, as palettes of 256 entries do.
bool IsIdentity(const std::vector<uint8_t>& table)
{
    for (size_t raw = 0; raw < table.size(); ++raw)
        if (table[raw] != raw) return false;
    return table.size() == 256;
}

/// Calls store(x, sample) for the first sample of every pixel.
template <class Store>
void ForEachSample(const PixelLayout& layout, const uint8_t* source, Store store)
{
    if (IsPackedBits(layout))
        for (uint32_t x = 0; x < layout.columns; ++x) store(x, BitAt(source, x));
    else
        for (uint32_t x = 0; x < layout.columns; ++x)
            store(x, LoadSample(source + x * layout.pixelStride, layout.bytesPerSample));
}

void ConvertCmykRow(const PixelLayout& layout, const ByteScale& scale, const uint8_t* source, uint8_t* target)
{
    const auto level = [&](const uint8_t* pixel, size_t sample) {
        return uint32_t{scale.At(LoadSample(pixel + sample * layout.sampleStride, layout.bytesPerSample))};
    };
    for (uint32_t x = 0; x < layout.columns; ++x) {
        const uint8_t* const pixel = source + x * layout.pixelStride;
        const uint32_t black = level(pixel, 3);
        for (size_t sample = 0; sample < 3; ++sample)
            target[4 * size_t{x} + 2 - sample] =
                static_cast<uint8_t>(255 - std::min(255u, level(pixel, sample) + black));
        target[4 * size_t{x} + 3] = 0;
    }
}

template <uint32_t bytesPerSample>
void ScaleRow(const PixelLayout& layout, const ByteScale& scale, bool blueFirst, const uint8_t* source,
              uint8_t* target)
{
    const size_t redAt = blueFirst ? 2 * layout.sampleStride : 0, blueAt = 2 * layout.sampleStride - redAt;
    for (uint32_t x = 0; x < layout.columns; ++x, source += layout.pixelStride, target += 3) {
        const uint8_t red = scale.At(LoadSample(source + redAt, bytesPerSample));
        const uint8_t green = scale.At(LoadSample(source + layout.sampleStride, bytesPerSample));
        const uint8_t blue = scale.At(LoadSample(source + blueAt, bytesPerSample));
        target[0] = blue;
        target[1] = green;
        target[2] = red;
    }
}

void ScaleRowOfAnyWidth(const PixelLayout& layout, const ByteScale& scale, bool blueFirst,
                        const uint8_t* source, uint8_t* target)
{
    switch (layout.bytesPerSample) {
        case 1:
            return ScaleRow<1>(layout, scale, blueFirst, source, target);
        case 2:
            return ScaleRow<2>(layout, scale, blueFirst, source, target);
        case 3:
            return ScaleRow<3>(layout, scale, blueFirst, source, target);
        default:
            return ScaleRow<4>(layout, scale, blueFirst, source, target);
    }
}
}  // namespace

void ConvertOneBit(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows)
{
    const size_t rowBytes = (size_t{layout.columns} + 7) / 8;
    ForEachRow(layout, frame, rowBytes, rows, [&](const uint8_t* source, uint8_t* target) {
        if (!layout.fromCodec) {
            for (size_t i = 0; i < rowBytes; ++i) target[i] = kReversedBits[source[i]];
            return;
        }
        std::memset(target, 0, rowBytes);
        for (uint32_t x = 0; x < layout.columns; ++x)
            if (source[x] != 0) target[x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
    });
}

void ConvertGrey8(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows)
{
    const size_t columns = layout.columns;
    ForEachRow(layout, frame, columns, rows, [&](const uint8_t* source, uint8_t* target) {
        if (IsPackedBits(layout))  // black and white, so that the window palette shows them apart
            for (uint32_t x = 0; x < columns; ++x) target[x] = BitAt(source, x) != 0 ? 255 : 0;
        else if (layout.pixelStride == 1) {
            if (target != source) std::memmove(target, source, columns);
        } else
            for (size_t x = 0; x < columns; ++x) target[x] = source[x * layout.pixelStride];
    });
}

void ConvertGrey16(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows)
{
    const auto flip = static_cast<uint16_t>(layout.signOffset);
    const size_t rowBytes = size_t{layout.columns} * 2;
    ForEachRow(layout, frame, rowBytes, rows, [&](const uint8_t* source, uint8_t* target) {
        if (layout.pixelStride != 2)
            ForEachWord(layout, source,
                        [&](uint32_t x, uint32_t word) { StoreWord(target + 2 * size_t{x}, word ^ flip); });
        else if (flip != 0)
            BestImageKernels().flipWords(source, target, layout.columns, flip);
        else if (target != source)
            std::memmove(target, source, rowBytes);
    });
}

void ConvertPacked12(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows)
{
    const size_t pairs = layout.columns / 2;
    const uint32_t flip = layout.signOffset;
    ForEachRow(layout, frame, size_t{layout.columns} * 2, rows, [&](const uint8_t* source, uint8_t* target) {
        BestRowKernels().widen12(source, target, pairs);
        if (layout.columns % 2 != 0)
            StoreWord(target + 4 * pairs, source[3 * pairs] | (source[3 * pairs + 1] & 15u) << 8);
        if (flip != 0)
            BestImageKernels().flipWords(target, target, layout.columns, static_cast<uint16_t>(flip));
    });
}

void ConvertLongs(const PixelLayout& layout, ValueRange range, const uint8_t* frame, BitmapRowWriter* rows)
{
    const uint32_t flip = LongFlip(layout);
    ForEachRow(layout, frame, size_t{layout.columns} * 2, rows, [&](const uint8_t* source, uint8_t* target) {
        for (size_t x = 0; x < layout.columns; ++x)
            StoreWord(target + 2 * x,
                      ScaleLong(LoadSample(source + x * layout.pixelStride, 4) ^ flip, range));
    });
}

void ConvertPaletteIndices(const PixelLayout& layout, const PaletteMapping& mapping,
                           const std::vector<uint8_t>& table, const uint8_t* frame, BitmapRowWriter* rows)
{
    const uint32_t zero = ZeroValue(layout);
    const bool asStored = layout.pixelStride == 1 && IsIdentity(table);
    ForEachRow(layout, frame, layout.columns, rows, [&](const uint8_t* source, uint8_t* target) {
        if (asStored) {
            if (target != source) std::memmove(target, source, layout.columns);
        } else if (!table.empty() && !IsPackedBits(layout)) {
            ForEachWord(layout, source, [&](uint32_t x, uint32_t raw) { target[x] = table[raw]; });
        } else {
            ForEachSample(layout, source, [&](uint32_t x, uint32_t raw) {
                target[x] = mapping.IndexOf(layout.ValueOf(raw), zero);
            });
        }
    });
}

void ConvertPaletteColors(const PixelLayout& layout, const PaletteMapping& mapping,
                          const std::vector<PaletteEntry>& table, const uint8_t* frame, BitmapRowWriter* rows)
{
    const uint32_t zero = ZeroValue(layout);
    const auto store = [](uint8_t* target, PaletteEntry color) {
        target[0] = color.blue;
        target[1] = color.green;
        target[2] = color.red;
    };
    ForEachRow(layout, frame, size_t{layout.columns} * 3, rows, [&](const uint8_t* source, uint8_t* target) {
        if (!table.empty() && !IsPackedBits(layout))
            ForEachWord(layout, source,
                        [&](uint32_t x, uint32_t raw) { store(target + 3 * size_t{x}, table[raw]); });
        else
            ForEachSample(layout, source, [&](uint32_t x, uint32_t raw) {
                store(target + 3 * size_t{x}, mapping.ColorOf(layout.ValueOf(raw), zero));
            });
    });
}

void ConvertColors(const PixelLayout& layout, const ByteScale& scale, ColorSamples* samples,
                   BitmapRowWriter* rows)
{
    // Kept: a CMYK row is built with 4 bytes a pixel although the bitmap's pixels have 3, and its first
    // bytesPerLine bytes become the bitmap row. Pinned by ColorFrame.CmykStepsFourBytesAPixel.
    if (layout.photometricCode == kCmyk)
        return ForEachRow(
            layout, samples->bytes(), CmykRowBytes(layout), rows,
            [&](const uint8_t* source, uint8_t* target) { ConvertCmykRow(layout, scale, source, target); });

    const size_t columns = layout.columns;
    const bool planes = layout.pixelStride == 1, pixels = layout.sampleStride == 1 && layout.pixelStride == 3;
    const bool blueFirst = samples->blueFirst();
    std::vector<uint8_t> scaled(scale.IsOfBytes() && !scale.IsIdentity() && planes ? 3 * columns : 0);
    ForEachRow(layout, samples->bytes(), 3 * columns, rows, [&](const uint8_t* source, uint8_t* target) {
        samples->Need(static_cast<size_t>(source - samples->bytes()) + layout.rowStride);
        if (!scale.IsOfBytes() || (!planes && !pixels)) {
            ScaleRowOfAnyWidth(layout, scale, blueFirst, source, target);
        } else if (pixels) {
            if (!scale.IsIdentity()) {
                scale.ScaleBytes(source, target, 3 * columns);
                source = target;
            }
            if (!blueFirst)
                BestImageKernels().swapRgb(source, target, columns);
            else if (target != source)
                std::memmove(target, source, 3 * columns);
        } else {
            const uint8_t* plane[3];
            for (size_t k = 0; k < 3; ++k) {
                plane[k] = source + k * layout.sampleStride;
                if (scaled.empty()) continue;
                scale.ScaleBytes(plane[k], &scaled[k * columns], columns);
                plane[k] = &scaled[k * columns];
            }
            BestImageKernels().interleave3(plane[2], plane[1], plane[0], target, columns);
        }
    });
}

void CopyCodecColors(const PixelLayout& layout, const uint8_t* frame, BitmapRowWriter* rows)
{
    const size_t rowBytes = size_t{layout.columns} * 3;
    ForEachRow(layout, frame, rowBytes, rows, [&](const uint8_t* source, uint8_t* target) {
        if (target != source) std::memmove(target, source, rowBytes);
    });
}
}  // namespace talv
