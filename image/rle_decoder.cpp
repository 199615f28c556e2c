#include "image/rle_decoder.h"

#include <algorithm>
#include <cstring>

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

/// Expands one segment, piece by piece; runs may go on from one piece to the next.
class SegmentExpander
{
  public:
    explicit SegmentExpander(Segment segment) : in_(segment.bytes), inEnd_(segment.bytes + segment.count) {}

    /// The next `count` bytes; those behind the segment's end are zero.
    void Expand(uint8_t* target, size_t count)
    {
        uint8_t* const end = target + count;
        while (target < end && (left_ > 0 || StartRun())) {
            const auto room = static_cast<size_t>(end - target);
            const size_t length = std::min(left_, room);
            if (isLiteral_) {
                const bool slack = length <= kSlack && room >= kSlack && BytesIn() >= kSlack;
                std::memcpy(target, in_, slack ? kSlack : length);
                in_ += length;
            } else {
                std::memset(target, value_, length <= kSlack && room >= kSlack ? kSlack : length);
            }
            left_ -= length;
            target += length;
        }
        std::memset(target, 0, static_cast<size_t>(end - target));
    }

  private:
    size_t BytesIn() const { return static_cast<size_t>(inEnd_ - in_); }

    /// Takes the next run that yields bytes; false at the segment's end.
    bool StartRun()
    {
        while (in_ < inEnd_) {
            const uint32_t control = *in_++;
            if (control == 128) continue;
            if (in_ == inEnd_) return false;
            isLiteral_ = control < 128;
            left_ = isLiteral_ ? std::min(size_t{control} + 1, BytesIn()) : size_t{257} - control;
            if (!isLiteral_) value_ = *in_++;
            return true;
        }
        return false;
    }

    const uint8_t* in_;
    const uint8_t* inEnd_;
    size_t left_ = 0;  // bytes of the run that are still to come
    bool isLiteral_ = false;
    uint8_t value_ = 0;
};

/// Segment i fills bytes i, i + s, i + 2s, ... of the frame, s being the number of segments. They are
/// expanded side by side in pieces that stay in the nearest cache.
void ExpandInterleaved(SegmentExpander (&expanders)[kMaxSegments], uint32_t segments, size_t frameSize,
                       uint8_t* buffer)
{
    constexpr size_t kPiece = 4096;
    uint8_t planes[kMaxSegments][kPiece];
    for (size_t done = 0; done < frameSize;) {
        const size_t bytes = std::min(kPiece * segments, frameSize - done);
        const size_t whole = bytes / segments, rest = bytes % segments;
        for (uint32_t i = 0; i < segments; ++i) expanders[i].Expand(planes[i], whole + (i < rest ? 1 : 0));
        if (segments == 2)
            BestImageKernels().interleave2(planes[0], planes[1], buffer + done, whole);
        else
            BestImageKernels().interleave3(planes[0], planes[1], planes[2], buffer + done, whole);
        for (size_t i = 0; i < rest; ++i) buffer[done + whole * segments + i] = planes[i][whole];
        done += bytes;
    }
}
}  // namespace

DicomStatus DecodeRleItem(const uint8_t* item, size_t itemBytes, const ImageDescription& description,
                          uint8_t* buffer)
{
    if (itemBytes < kHeaderBytes) return kDicomShortRead;
    const auto frameSize = static_cast<size_t>(description.frameSize);
    const uint32_t declared = HeaderWord(item, 0);
    const uint32_t segments = std::min(declared, kMaxSegments);

    SegmentExpander expanders[kMaxSegments] = {
        SegmentExpander(FindSegment(item, itemBytes, declared, 0)),
        SegmentExpander(FindSegment(item, itemBytes, declared, 1)),
        SegmentExpander(FindSegment(item, itemBytes, declared, 2)),
    };
    if (segments == 0) {
        std::memset(buffer, 0, frameSize);
    } else if (segments == 1) {
        expanders[0].Expand(buffer, frameSize);
    } else if (description.planarConfiguration == 1) {
        const size_t plane = frameSize / segments;
        for (uint32_t i = 0; i < segments; ++i) expanders[i].Expand(buffer + plane * i, plane);
        std::memset(buffer + plane * segments, 0, frameSize - plane * segments);
    } else {
        ExpandInterleaved(expanders, segments, frameSize, buffer);
    }

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
