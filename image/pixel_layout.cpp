#include "image/pixel_layout.h"

#include <algorithm>

#include "dicom/reader.h"
#include "raster/bitmap.h"

namespace talv {
namespace {
/// Bytes from row to row of packed 12-bit samples; rows begin at multiples of 4.
uint64_t Packed12RowBytes(uint64_t columns)
{
    return ((columns * 12 + 31) / 8) & ~uint64_t{3};
}

bool IsCodec(int32_t compression)
{
    return compression != kCompressionNone && compression != kCompressionRle;
}
}  // namespace

uint32_t CodecBits(const ImageDescription& description)
{
    if (description.samplesPerPixel != 1) return 8 * description.samplesPerPixel;
    return description.bitsAllocated > 8 ? 16 : 8;
}

uint64_t LargestFrameBytes(const ImageDescription& description)
{
    const uint32_t bits = IsCodec(description.compression)
                              ? std::max(CodecBits(description), description.outputBits)
                              : description.outputBits;
    const uint64_t rowBytes = BytesPerLine(description.columns, bits);  // at most 2^16 * 2^20 / 8
    return std::max(rowBytes * description.rows, description.frameSize);
}

PixelLayout MakePixelLayout(const ImageDescription& description)
{
    PixelLayout layout{};
    layout.columns = description.columns;
    layout.rows = description.rows;
    layout.samplesPerPixel = description.samplesPerPixel;
    layout.photometricCode = description.photometricCode;
    layout.bitsAllocated = description.bitsAllocated;
    layout.bitsStored = description.bitsStored;
    layout.highBit = description.highBit;
    layout.isSigned = description.pixelRepresentation == 1;
    layout.outputBits = description.outputBits;
    layout.colorOrder = description.colorOrder;
    layout.grey = description.greyLevel != 0;
    layout.fromCodec = IsCodec(description.compression);

    if (layout.bitsAllocated == 32 &&
        layout.outputBits == 16)  // scaled to 16 bits before anything else happens
    {
        layout.bitsStored = std::min(layout.bitsStored, 16u);
        layout.highBit = std::min(layout.highBit, 15u);
    }
    layout.sampleMask = static_cast<uint32_t>((uint64_t{1} << layout.bitsStored) - 1);
    layout.sampleShift = layout.highBit + 1 - layout.bitsStored;
    layout.signOffset = layout.isSigned ? uint32_t{1} << layout.highBit : 0;

    const size_t pixels = size_t{layout.columns} * layout.rows;
    if (layout.fromCodec) {
        const uint32_t bits = CodecBits(description);
        layout.bytesPerSample = bits == 16 ? 2 : 1;
        layout.pixelStride = bits / 8;
        layout.sampleStride = 1;
        layout.rowStride = static_cast<size_t>(BytesPerLine(layout.columns, bits));
        layout.frameBytes = layout.rowStride * layout.rows;
        return layout;
    }
    layout.bytesPerSample = (layout.bitsAllocated + 7) / 8;
    layout.frameBytes = static_cast<size_t>(description.frameSize);
    if (layout.bitsAllocated == 1 && layout.samplesPerPixel == 1) {
        layout.pixelStride = layout.sampleStride = 0;  // eight pixels to a byte
        layout.rowStride = (size_t{layout.columns} + 7) / 8;
    } else if (layout.bitsAllocated == 12 && layout.outputBits == 16) {
        layout.pixelStride = layout.sampleStride = 0;  // two samples in three bytes
        layout.rowStride = static_cast<size_t>(Packed12RowBytes(layout.columns));
        layout.frameBytes = std::max(layout.frameBytes, layout.rowStride * layout.rows);
    } else {
        const bool planes = description.planarConfiguration == 1;
        layout.pixelStride = size_t{layout.bytesPerSample} * (planes ? 1 : layout.samplesPerPixel);
        layout.sampleStride = planes ? layout.bytesPerSample * pixels : layout.bytesPerSample;
        layout.rowStride = layout.pixelStride * layout.columns;
    }
    return layout;
}
}  // namespace talv
