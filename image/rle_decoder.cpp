#include "image/rle_decoder.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "image/frame_bytes.h"
#include "image/image_kernels.h"

namespace talv {
namespace {
constexpr size_t kHeaderBytes = 64;
constexpr uint32_t kMaxSegments =
    3;  // Kept: further segments are ignored. Pinned by RleFrame.OnlyThreeSegmentsCount.
constexpr size_t kSlack = 32;  // short runs are copied in blocks of this size where there is room

uint32_t HeaderWord(const uint8_t* item, uint32_t index)
{
    const uint8_t* word = item + 4 * index;
    return uint32_t{word[0]} | uint32_t{word[1]} << 8 | uint32_t{word[2]} << 16 | uint32_t{word[3]} << 24;
}

struct Segment
{
    const uint8_t* bytes;
    size_t count;
};

/// Segment `index`; empty when its offsets make no sense.
Segment FindSegment(const uint8_t* item, size_t itemBytes, uint32_t segments, uint32_t index)
{
    const size_t start = HeaderWord(item, index + 1);
    size_t end = itemBytes;
    if (index + 2 <= segments && HeaderWord(item, index + 2) != 0) end = HeaderWord(item, index + 2);
    end = std::min(end, itemBytes);
    if (start < kHeaderBytes || start >= end) return {item, 0};
    return {item + start, end - start};
}

/// Expands `segment` into exactly `count` bytes; what it does not fill becomes zero.
void ExpandSegment(Segment segment, uint8_t* target, size_t count)
{
    const uint8_t* in = segment.bytes;
    const uint8_t* const inEnd = in + segment.count;
    uint8_t* out = target;
    uint8_t* const outEnd = target + count;
    while (in < inEnd && out < outEnd) {
        const uint32_t control = *in++;
        if (control < 128) {
            const size_t inLeft = static_cast<size_t>(inEnd - in),
                         outLeft = static_cast<size_t>(outEnd - out);
            const size_t length = std::min({size_t{control} + 1, inLeft, outLeft});
            if (length <= kSlack && inLeft >= kSlack && outLeft >= kSlack)
                std::memcpy(out, in, kSlack);
            else
                std::memcpy(out, in, length);
            in += length;
            out += length;
        } else if (control > 128) {
            if (in == inEnd) break;
            const size_t outLeft = static_cast<size_t>(outEnd - out);
            const size_t length = std::min(size_t{257} - control, outLeft);
            if (length <= kSlack && outLeft >= kSlack)
                std::memset(out, *in, kSlack);
            else
                std::memset(out, *in, length);
            ++in;
            out += length;
        }
    }
    std::memset(out, 0, static_cast<size_t>(outEnd - out));
}

/// Segment i fills bytes i, i + s, i + 2s, ... of the frame, s being the number of segments.
DicomStatus ExpandInterleaved(const uint8_t* item, size_t itemBytes, uint32_t declared, uint32_t segments,
                              size_t frameSize, uint8_t* buffer)
{
    const size_t planeBytes = frameSize / segments + 1;
    const std::unique_ptr<uint8_t[]> planes(new (std::nothrow) uint8_t[planeBytes * segments]);
    if (planes == nullptr) return kDicomNoMemory;
    for (uint32_t i = 0; i < segments; ++i)
        ExpandSegment(FindSegment(item, itemBytes, declared, i), &planes[planeBytes * i], planeBytes);

    const uint8_t* const first = planes.get();
    const size_t whole = frameSize / segments;
    if (segments == 2)
        BestImageKernels().interleave2(first, first + planeBytes, buffer, whole);
    else
        BestImageKernels().interleave3(first, first + planeBytes, first + 2 * planeBytes, buffer, whole);
    for (size_t at = whole * segments; at < frameSize; ++at)
        buffer[at] = planes[planeBytes * (at % segments) + whole];
    return kDicomOk;
}
}  // namespace

DicomStatus DecodeRleItem(const uint8_t* item, size_t itemBytes, const ImageDescription& description,
                          uint8_t* buffer)
{
    if (itemBytes < kHeaderBytes) return kDicomShortRead;
    const auto frameSize = static_cast<size_t>(description.frameSize);
    const uint32_t declared = HeaderWord(item, 0);
    const uint32_t segments = std::min(declared, kMaxSegments);

    if (segments == 0)
        std::memset(buffer, 0, frameSize);
    else if (segments == 1)
        ExpandSegment(FindSegment(item, itemBytes, declared, 0), buffer, frameSize);
    else if (description.planarConfiguration == 1) {
        const size_t plane = frameSize / segments;
        for (uint32_t i = 0; i < segments; ++i)
            ExpandSegment(FindSegment(item, itemBytes, declared, i), buffer + plane * i, plane);
        std::memset(buffer + plane * segments, 0, frameSize - plane * segments);
    } else if (DicomStatus status = ExpandInterleaved(item, itemBytes, declared, segments, frameSize, buffer);
               status != kDicomOk)
        return status;

    // Kept: only palette indices get little-endian byte order; grey words stay as the segments were
    // interleaved, most significant byte first. Pinned by RleFrame.OnlyPaletteWordsAreSwapped.
    if (description.photometricCode == kPaletteColor && description.bitsAllocated > 8)
        BestImageKernels().swapWords(buffer, frameSize / 2);
    return kDicomOk;
}

DicomStatus DecodeRleFrame(DicomDataSet* dataSet, const ImageDescription* description, uint8_t* buffer)
{
    DicomElement* const item = description->frameElement;
    EncodedFrame frame;
    if (DicomStatus status = ReadEncodedFrame(dataSet, {item, 0, {&item, 1}}, &frame); status != kDicomOk)
        return status;
    return DecodeRleItem(frame.bytes.get(), frame.count, *description, buffer);
}
}  // namespace talv
