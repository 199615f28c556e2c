#include "filter/media_format.h"

#include <algorithm>
#include <new>

#include "filter/block_fields.h"
#include "filter/frame_source.h"

namespace talv {
namespace {
// Both blocks begin alike: source and target rectangle, bit rate, bit error rate (all zero), then:
constexpr size_t kAverageTime = 40;  // 64 bits
constexpr size_t kHeader = 48;       // bitmap header of 40 bytes
constexpr size_t kHeaderEnd = 88;    // colours of a VIDEOINFO block, extension of a grey-scale block

constexpr uint32_t kRgbHeaderSize = 40;
constexpr uint32_t kGreyHeaderSize = 96;  // the extension up to the palette counts as part of the header
constexpr size_t kGreyPalette = 144;
constexpr size_t kMaxGreyPalette = (kGreyFormatSize - kGreyPalette) / 4;

VideoSubtype SubtypeOf(uint32_t bitsPerPixel)
{
    switch (bitsPerPixel) {
        case 1:
            return VideoSubtype::rgb1;
        case 4:
            return VideoSubtype::rgb4;
        case 8:
            return VideoSubtype::rgb8;
        case 12:
        case 16:
            return VideoSubtype::grey;
        case 24:
            return VideoSubtype::rgb24;
        case 32:
            return VideoSubtype::rgb32;
        default:
            return VideoSubtype::none;
    }
}

void PutBitmapHeader(uint8_t* header, const FrameSource& source, uint32_t headerSize, uint32_t compression)
{
    PutU32(header, headerSize);
    PutU32(header + 4, static_cast<uint32_t>(source.width));
    PutU32(header + 8, static_cast<uint32_t>(source.height));  // positive: the last row comes first
    PutU16(header + 12, 1);                                    // planes
    PutU16(header + 14, static_cast<uint16_t>(source.bitsPerPixel));
    PutU32(header + 16, compression);
    PutU32(header + 20, static_cast<uint32_t>(source.SampleSize()));
    PutU32(header + 32, static_cast<uint32_t>(source.palette.size()));  // colours used
}

void PutPalette(uint8_t* bytes, const PaletteEntry* entries, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const uint8_t entry[4] = {entries[i].blue, entries[i].green, entries[i].red, entries[i].reserved};
        std::copy_n(entry, 4, bytes + 4 * i);
    }
}

void FillVideoInfo(uint8_t* block, const FrameSource& source)
{
    PutBitmapHeader(block + kHeader, source, kRgbHeaderSize, 0);
    if (source.bitsPerPixel == 8) PutPalette(block + kHeaderEnd, source.palette8, 256);
    if (source.bitsPerPixel == 1) PutPalette(block + kHeaderEnd, source.palette8, 2);
}

void FillGreyFormat(uint8_t* block, const FrameSource& source)
{
    PutBitmapHeader(block + kHeader, source, kGreyHeaderSize, kTgryFourCc);
    const int32_t values[] = {source.lowBit,        source.highBit,     source.minPixelValue,
                              source.maxPixelValue, source.windowWidth, source.windowCenter};
    uint8_t* at = block + kHeaderEnd;
    for (const int32_t value : values) {
        PutU32(at, static_cast<uint32_t>(value));
        at += 4;
    }
    PutDouble(at, source.rescaleIntercept);
    PutDouble(at + 8, source.rescaleSlope);
    // Kept: only the 12-bit block tells where its window came from, where one would expect the same of both
    // depths. Pinned by MediaFormat.OnlyTheTwelveBitBlockCarriesImageFlags.
    if (source.bitsPerPixel == 12) PutU32(at + 16, source.imageFlags);
    PutPalette(block + kGreyPalette, source.palette.data(), std::min(source.palette.size(), kMaxGreyPalette));
}
}  // namespace

bool BuildMediaFormat(const FrameSource& source, MediaFormat* format)
{
    const VideoSubtype subtype = SubtypeOf(source.bitsPerPixel);
    const int64_t sampleSize = source.SampleSize();
    *format = MediaFormat{};
    if (subtype == VideoSubtype::none || sampleSize <= 0 || sampleSize > UINT32_MAX) return true;
    try {
        format->block.resize(subtype == VideoSubtype::grey ? kGreyFormatSize : kVideoInfoSize);
    } catch (const std::bad_alloc&) {
        return false;
    }
    format->subtype = subtype;
    format->sampleSize = static_cast<uint32_t>(sampleSize);
    uint8_t* block = format->block.data();
    PutU64(block + kAverageTime, static_cast<uint64_t>(source.frameTime));
    if (subtype == VideoSubtype::grey)
        FillGreyFormat(block, source);
    else
        FillVideoInfo(block, source);
    return true;
}

bool ReadFormatBlock(const uint8_t* block, size_t size, ProposedFormat* proposed)
{
    if (block == nullptr || size < kHeaderEnd) return false;
    const uint8_t* header = block + kHeader;
    proposed->width = static_cast<int32_t>(GetU32(header + 4));
    proposed->height = static_cast<int32_t>(GetU32(header + 8));
    proposed->bitCount = GetU16(header + 14);
    proposed->compression = GetU32(header + 16);
    return true;
}

bool AcceptsFormat(const FrameSource& source, const ProposedFormat& proposed)
{
    if (!proposed.isVideo || !proposed.fixedSize || !proposed.videoInfo || proposed.temporalCompression)
        return false;
    if (int64_t{proposed.sampleSize} != source.SampleSize()) return false;
    if (proposed.subtype == VideoSubtype::none) return false;
    if (proposed.subtype == VideoSubtype::grey &&
        (proposed.compression != kTgryFourCc || (proposed.bitCount != 12 && proposed.bitCount != 16)))
        return false;
    return (proposed.compression == 0 || proposed.compression == kTgryFourCc) && proposed.height >= 0;
}

bool MatchesImage(const FrameSource& source, const ProposedFormat& proposed)
{
    return proposed.width == source.width && proposed.height == source.height;
}
}  // namespace talv
