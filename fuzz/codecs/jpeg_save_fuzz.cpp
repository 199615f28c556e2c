// From bytes to the arguments of the encoder and rows of samples. What must hold is checked here and aborts
// when it does not: a documented status, a source that stays as it was, no byte written beyond the room, the
// size told when the room was too small, and a stream that the decoder reads back in the size it was given -
// to the bit when it is lossless.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codecs/codec_status.h"
#include "codecs/entry_points.h"

namespace {
using namespace talv;
using Bytes = std::vector<uint8_t>;

void Require(bool holds)
{
    if (!holds) std::abort();
}

/// The arguments, one byte or two each.
struct Input
{
    const uint8_t* next;
    const uint8_t* end;

    uint32_t Byte() { return next < end ? *next++ : 0; }
    uint32_t Word() { return Byte() | Byte() << 8; }
};

size_t Stride(const BitmapHeader& header)
{
    return (static_cast<size_t>(header.width) * header.bitsPerPixel + 31) / 32 * 4;
}

int Components(uint32_t colourMode)
{
    return colourMode == 0 || (colourMode >= 8 && colourMode <= 11) ? 1 : colourMode == 7 ? 4 : 3;
}

void ReadBack(const Bytes& stream, const Bytes& source, const BitmapHeader& header, uint32_t colourMode,
              bool cmp, uint32_t options)
{
    const int width = header.width, height = std::abs(header.height);
    const bool wide = header.compression == 0 && (header.bitsPerPixel == 12 || header.bitsPerPixel == 16);
    const bool lossless = !cmp && (wide || (options & kSaveLossless) != 0);
    // One field alone is half of the picture it is read back as.
    const bool field = (options & kSaveMotionFrame) != 0 &&
                       (options & (kSaveFirstField | kSaveSecondField)) != 0 && (options & kSaveFields) == 0;
    const int components = Components(colourMode);
    const uint32_t bits = wide && !cmp && components == 1 ? 16 : 8 * static_cast<uint32_t>(components);
    const size_t stride = (static_cast<size_t>(width) * bits + 31) / 32 * 4;
    Bytes rows(stride * static_cast<size_t>(height));
    // Rows of a positive height come last row first.
    Require(fltLoadBufferCMP(stream.data(), static_cast<uint32_t>(stream.size()), rows.data(), 0, width,
                             header.height > 0 ? -height : height, bits, nullptr, 0) == kCodecOk);
    const bool comparable = lossless && !field && header.compression == 0 && header.bitsPerPixel == bits &&
                            (bits != 8 || colourMode == 0 || colourMode == 11);
    if (!comparable) return;
    for (int y = 0; y < height; ++y)
        Require(std::memcmp(&rows[static_cast<size_t>(y) * stride], &source[static_cast<size_t>(y) * stride],
                            static_cast<size_t>(width) * bits / 8) == 0);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static constexpr uint16_t kDepths[] = {8, 12, 16, 24, 32, 15};
    static constexpr uint32_t kCompressions[] = {0, 0, 0, 0x32595559, 0x59565955, 0x59524754};
    static constexpr int32_t kKinds[] = {0, 5, 10, 165};
    Input input{data, data + size};
    BitmapHeader header{};
    header.size = sizeof header;
    header.width = static_cast<int32_t>(1 + input.Byte() % 70);
    const auto rowCount = static_cast<int32_t>(1 + input.Byte() % 50);
    const uint32_t choice = input.Byte();
    header.height = (choice & 1) != 0 ? rowCount : -rowCount;
    header.compression = kCompressions[choice / 2 % 6];
    header.bitsPerPixel = kDepths[input.Byte() % 6];
    const bool packed = header.compression == kCompressions[3] || header.compression == kCompressions[4];
    if (packed) header.bitsPerPixel = 16;
    const uint32_t options = input.Byte();
    const int32_t kind = kKinds[input.Byte() % 4];
    const uint32_t quality = input.Byte(), colourMode = input.Byte() % 15, restart = input.Word() % 400;
    const uint32_t limit = input.Byte() == 7 ? 1 : 0;
    SaveExtras extras{};
    const Bytes text(input.Word(), 'x');
    extras.size = sizeof extras;
    extras.exif = extras.comment = extras.thumbnail = text.data();
    extras.exifLength = extras.commentLength = static_cast<uint32_t>(text.size());
    extras.thumbnailWidth = static_cast<uint32_t>(std::min<size_t>(text.size() / 3, 300));
    extras.thumbnailHeight = 1;

    Bytes source(Stride(header) * static_cast<size_t>(rowCount));
    for (uint8_t& byte : source) byte = static_cast<uint8_t>(input.Byte());
    const Bytes before(source);
    // A room that may be too small, and what is behind it.
    const auto room = static_cast<uint32_t>(choice % 3 == 0 ? 2 * text.size() : 400000);
    Bytes output(room + 64, 0x5A);
    uint32_t written = room;
    const int32_t status =
        fltSaveBufferCMP(source.data(), &header, output.data(), &written, limit, options, kind,
                         quality | colourMode << 8 | restart << 16, choice % 5 == 0 ? nullptr : &extras);
    Require(source == before);
    Require(std::count(output.begin() + room, output.end(), 0x5A) == 64);
    switch (status) {
        case kCodecOk:
            Require(written <= room);
            output.resize(written);
            if (packed) header.height = -header.height;  // positive is first row first there
            if (header.compression == kCompressions[5]) header.height = -header.height;
            ReadBack(output, source, header, colourMode, kind == 5 || kind == 165, options);
            break;
        case kCodecInvalidParameter:
            Require(written > room);
            break;
        default:
            Require(status == kCodecBadDepth || status == kCodecSixteenBits || status == kCodecBadColourMode);
    }
    return 0;
}
