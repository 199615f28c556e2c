#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/dicom_builder.h"

// Generated clips of a few frames for the benches of the whole road.
namespace talv {
constexpr size_t kClipFrames = 16;

/// Smooth ground with a little noise on it and a burnt-in label of black and white, as pictures have; another
/// one for each `seed`.
inline ByteVector MakeSamples(size_t count, uint32_t seed)
{
    ByteVector bytes(count);
    uint32_t state = seed * 2654435761u + 1;
    for (size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        const size_t ground = i / 97 + seed * 5;
        bytes[i] = static_cast<uint8_t>((ground & 0x40) != 0 ? 0 : ground % 200 + (state >> 28));
        if (i / 8 < 16) bytes[i] = i / 4 % 2 != 0 ? 255 : 0;
    }
    return bytes;
}

/// One RLE segment (PS3.5 G.3.1): runs of three and more are replicated.
inline ByteVector EncodeSegment(const ByteVector& plane)
{
    ByteVector out;
    for (size_t i = 0; i < plane.size();) {
        size_t run = 1;
        while (run < 128 && i + run < plane.size() && plane[i + run] == plane[i]) ++run;
        if (run >= 3) {
            out.insert(out.end(), {static_cast<uint8_t>(257 - run), plane[i]});
            i += run;
            continue;
        }
        const size_t start = i;
        const auto runStarts = [&](size_t at) {
            return at + 2 < plane.size() && plane[at] == plane[at + 1] && plane[at] == plane[at + 2];
        };
        while (i < plane.size() && i - start < 128 && !runStarts(i)) ++i;
        out.push_back(static_cast<uint8_t>(i - start - 1));
        out.insert(out.end(), plane.begin() + static_cast<ptrdiff_t>(start),
                   plane.begin() + static_cast<ptrdiff_t>(i));
    }
    if (out.size() % 2 != 0) out.push_back(0);
    return out;
}

inline ByteVector EncodeRleFrame(const ImageAttributes& image, uint32_t seed)
{
    const uint32_t segments = image.samplesPerPixel * (image.bitsAllocated / 8u);
    ByteWriter header, body;
    header.U32le(segments);
    for (uint32_t i = 0; i < segments; ++i) {
        header.U32le(static_cast<uint32_t>(64 + body.Size()));
        body.Bytes(EncodeSegment(MakeSamples(size_t{image.rows} * image.columns, seed + i)));
    }
    return header.Zeros(64 - header.Size()).Bytes(body.Content());
}

/// Bytes of one frame in the file: whole bytes a sample, but for 1-bit rows. Packed 12-bit samples are
/// counted so too.
inline size_t FrameBytes(const ImageAttributes& image)
{
    if (image.bitsAllocated == 1) return (image.columns + size_t{7}) / 8 * image.rows;
    return size_t{image.columns} * image.rows * image.samplesPerPixel * ((image.bitsAllocated + 7u) / 8);
}

inline ByteVector NativePixels(const ImageAttributes& image)
{
    ByteVector pixels;
    for (uint32_t frame = 0; frame < kClipFrames; ++frame) {
        const ByteVector bytes = MakeSamples(FrameBytes(image), frame);
        pixels.insert(pixels.end(), bytes.begin(), bytes.end());
    }
    return pixels;
}

inline ByteVector NativeFile(const ImageAttributes& image)
{
    return PreambleFile().ExplicitLittle().Image(image).NativePixels(NativePixels(image)).Bytes();
}

inline ByteVector RescaledFile(const ImageAttributes& image)
{
    return PreambleFile()
        .ExplicitLittle()
        .Image(image)
        .Ds(0x00281050, "40")
        .Ds(0x00281051, "400")
        .Ds(0x00281052, "-1024")
        .Ds(0x00281053, "1")
        .NativePixels(NativePixels(image))
        .Bytes();
}

inline ByteVector PaletteFile(const ImageAttributes& image)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    std::vector<uint16_t> ramp(256);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint16_t>(i * 257);
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Us(0x00281101 + colour, {256, 0, 16});
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Ow(0x00281201 + colour, ramp);
    return builder.NativePixels(NativePixels(image)).Bytes();
}

inline ByteVector RleFile(const ImageAttributes& image)
{
    std::vector<ByteVector> fragments;
    for (uint32_t frame = 0; frame < kClipFrames; ++frame) fragments.push_back(EncodeRleFrame(image, frame));
    return PreambleFile().ExplicitLittle("1.2.840.10008.1.2.5").Image(image).Encapsulated(fragments).Bytes();
}

inline ImageAttributes Grey(uint16_t columns, uint16_t rows, uint16_t allocated, uint16_t stored,
                            uint16_t isSigned = 0)
{
    return {.rows = rows,
            .columns = columns,
            .bitsAllocated = allocated,
            .bitsStored = stored,
            .highBit = static_cast<uint16_t>(stored - 1),
            .pixelRepresentation = isSigned};
}

inline ImageAttributes Colour(const char* photometric, uint16_t bits, uint16_t planar)
{
    return {.rows = 480,
            .columns = 640,
            .bitsAllocated = bits,
            .bitsStored = bits,
            .highBit = static_cast<uint16_t>(bits - 1),
            .samplesPerPixel = 3,
            .photometric = photometric,
            .planarConfiguration = planar};
}
}  // namespace talv
