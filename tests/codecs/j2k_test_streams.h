#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include "codecs/j2k/j2k_decoder.h"
#include "codecs/j2k/j2k_status.h"
#include "tests/support/byte_writer.h"

namespace talv::j2k_test {
inline ByteVector Sample(const std::string& name)
{
    std::ifstream file(std::string(TALV_TEST_DATA "/samples/codec/") + name, std::ios::binary);
    return ByteVector(std::istreambuf_iterator<char>(file), {});
}

struct Picture
{
    int32_t status = 0;
    ByteVector rows;
};

inline Picture Decode(const ByteVector& stream, uint32_t width, uint32_t height, uint32_t bits,
                      unsigned threads = 1)
{
    J2KFrameDescriptor descriptor{};
    descriptor.size = sizeof descriptor;
    descriptor.sourceLength = static_cast<uint32_t>(stream.size());
    descriptor.width = width;
    descriptor.height = height;
    descriptor.bitsPerPixel = bits;
    descriptor.bytesPerLine = width * bits / 8;
    Picture picture;
    picture.rows.assign(size_t{descriptor.bytesPerLine} * height, 0xA5);
    picture.status = DecodeJ2kFrame(stream.data(), picture.rows.data(), descriptor, threads);
    return picture;
}

/// FNV-1a of a picture's rows.
inline uint32_t Digest(const ByteVector& bytes)
{
    uint32_t hash = 2166136261u;
    for (uint8_t byte : bytes) hash = (hash ^ byte) * 16777619u;
    return hash;
}

/// The fields of a header, as a valid stream of one grey 16x16 tile has them.
struct HeaderFields
{
    uint32_t profile = 0, endX = 16, endY = 16, offsetX = 0, offsetY = 0;
    uint32_t tileWidth = 16, tileHeight = 16, tileOffsetX = 0, tileOffsetY = 0;
    uint32_t components = 1, depth = 7, stepX = 1, stepY = 1;
    int sizeLengthLie = 0;
    uint32_t order = 0, layers = 1, transform = 0, levels = 0, blockX = 4, blockY = 4, modes = 0, wavelet = 1;
    uint32_t quantization = 0x40, exponent = 8 << 3, style = 0;
};

inline ByteWriter MainHeader(const HeaderFields& h)
{
    ByteWriter w;
    w.U16be(0xFF4F).U16be(0xFF51).U16be(38 + 3 * h.components + h.sizeLengthLie).U16be(h.profile);
    w.U32be(h.endX).U32be(h.endY).U32be(h.offsetX).U32be(h.offsetY).U32be(h.tileWidth).U32be(h.tileHeight);
    w.U32be(h.tileOffsetX).U32be(h.tileOffsetY).U16be(h.components);
    for (uint32_t c = 0; c < h.components; ++c) w.U8(h.depth).U8(h.stepX).U8(h.stepY);
    w.U16be(0xFF52).U16be(12).U8(h.style).U8(h.order).U16be(h.layers).U8(h.transform).U8(h.levels);
    w.U8(h.blockX).U8(h.blockY).U8(h.modes).U8(h.wavelet);
    w.U16be(0xFF5C).U16be(4 + 3 * h.levels).U8(h.quantization);
    for (uint32_t b = 0; b < 3 * h.levels + 1; ++b) w.U8(h.exponent);
    return w;
}

/// A tile-part of `packets` behind its SOT and SOD.
inline ByteWriter TilePart(uint32_t tile, const ByteVector& packets, const ByteVector& header = {})
{
    ByteWriter w;
    w.U16be(0xFF90).U16be(10).U16be(tile).U32be(static_cast<uint32_t>(14 + header.size() + packets.size()));
    return w.U8(0).U8(1).Bytes(header).U16be(0xFF93).Bytes(packets);
}
}  // namespace talv::j2k_test
