#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "codecs/codec_status.h"
#include "codecs/entry_points.h"
#include "tests/support/byte_writer.h"

namespace talv {
/// Decodes into rows between guard bytes and checks that neither they nor the source change.
struct Decoded
{
    int32_t status = 0;
    size_t stride = 0;
    ByteVector rows;
    bool guardsHold = false;
    bool sourceHolds = false;

    int At(int x, int y, int samples = 1, int sample = 0) const
    {
        return rows[static_cast<size_t>(y) * stride + static_cast<size_t>(x * samples + sample)];
    }
};

struct DecodeArguments
{
    int width;
    int height;  ///< negative: last row first
    uint32_t bits;
    int32_t format = 0;
    uint32_t flags = 0;
    uint8_t fill = 0xA5;
    void* tables = nullptr;
};

inline Decoded DecodeStream(const ByteVector& stream, const DecodeArguments& a)
{
    constexpr size_t kGuard = 64;
    Decoded result;
    result.stride = (static_cast<size_t>(a.width) * a.bits + 31) / 32 * 4;
    const size_t bytes = result.stride * static_cast<size_t>(std::abs(a.height));
    ByteVector memory(bytes + 2 * kGuard, 0x5A);
    std::fill_n(memory.begin() + kGuard, bytes, a.fill);
    ByteVector source(stream);
    source.shrink_to_fit();
    result.status =
        fltLoadBufferCMP(source.data(), static_cast<uint32_t>(source.size()), memory.data() + kGuard,
                         a.format, a.width, a.height, a.bits, a.tables, a.flags);
    result.sourceHolds = source == stream;
    result.guardsHold = true;
    for (size_t i = 0; i < kGuard; ++i)
        result.guardsHold = result.guardsHold && memory[i] == 0x5A && memory[memory.size() - 1 - i] == 0x5A;
    result.rows.assign(memory.begin() + kGuard, memory.end() - kGuard);
    return result;
}

/// A picture in the layout of a bitmap header, first row first.
struct Source
{
    BitmapHeader header{};
    ByteVector rows;

    Source(int width, int height, int bits, uint32_t compression = 0)
    {
        header.size = sizeof header;
        header.width = width;
        header.height = height;
        header.planes = 1;
        header.bitsPerPixel = static_cast<uint16_t>(bits);
        header.compression = compression;
        rows.resize(Stride() * static_cast<size_t>(height));
    }
    size_t Stride() const { return (static_cast<size_t>(header.width) * header.bitsPerPixel + 31) / 32 * 4; }
    uint8_t* Row(int y) { return &rows[static_cast<size_t>(y) * Stride()]; }

    /// Slow waves in every byte, so that lossy coding and subsampling change little.
    Source& Waves(int bytesPerPixel)
    {
        for (int y = 0; y < header.height; ++y)
            for (int i = 0; i < header.width * bytesPerPixel; ++i)
                Row(y)[i] = static_cast<uint8_t>(
                    128 + 60 * Triangle(i / bytesPerPixel + 9 * (i % bytesPerPixel)) / 16 +
                    40 * Triangle(y + 5) / 16);
        return *this;
    }
    Source& Noise(uint32_t seed, uint32_t mask = 0xFF)
    {
        std::mt19937 random(seed);
        for (uint8_t& byte : rows) byte = static_cast<uint8_t>(random() & mask);
        return *this;
    }

  private:
    static int Triangle(int t) { return std::abs(t % 64 - 32) - 16; }
};

struct EncodeArguments
{
    uint32_t colourMode = 0;
    uint32_t quality = 95;
    uint32_t restart = 0;
    uint32_t options = 0;
    int32_t kind = 0;
    bool topFirst = true;
    const SaveExtras* extras = nullptr;
};

inline int32_t EncodeInto(Source source, const EncodeArguments& a, ByteVector* stream,
                          uint32_t room = 4u << 20)
{
    const bool packed = source.header.compression != 0;
    if (a.topFirst != packed) source.header.height = -source.header.height;
    stream->assign(room, 0);
    uint32_t size = room;
    const int32_t status =
        fltSaveBufferCMP(source.rows.data(), &source.header, stream->data(), &size, 0, a.options, a.kind,
                         a.quality | a.colourMode << 8 | a.restart << 16, a.extras);
    stream->resize(status == kCodecOk ? size : 0);
    return status;
}

inline ByteVector Encode(const Source& source, const EncodeArguments& a)
{
    ByteVector stream;
    EncodeInto(source, a, &stream);
    return stream;
}

/// Position of the payload of the first segment with this marker, 0 for none.
inline size_t FindSegment(const ByteVector& stream, int marker)
{
    for (size_t at = 2; at + 4 <= stream.size();) {
        if (stream[at + 1] == marker) return at + 4;
        at += 2 + (static_cast<size_t>(stream[at + 2]) << 8 | stream[at + 3]);
    }
    return 0;
}

/// Without the first segment of this kind.
inline ByteVector WithoutSegment(ByteVector stream, int marker)
{
    const size_t at = FindSegment(stream, marker);
    const size_t size = static_cast<size_t>(stream[at - 2]) << 8 | stream[at - 1];
    stream.erase(stream.begin() + static_cast<ptrdiff_t>(at) - 4,
                 stream.begin() + static_cast<ptrdiff_t>(at - 2 + size));
    return stream;
}
}  // namespace talv
