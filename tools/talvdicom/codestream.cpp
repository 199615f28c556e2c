#include "tools/talvdicom/codestream.h"

#include <algorithm>
#include <cctype>

#include "dicom/reader.h"
#include "image/frame_bytes.h"

namespace talv {
namespace {
/// Big-endian reading of a frame's bytes; zeros behind the end.
class ByteView
{
  public:
    explicit ByteView(const EncodedFrame& frame) : bytes_(frame.bytes.get()), count_(frame.count) {}
    size_t Count() const { return count_; }
    uint32_t U8(size_t at) const { return at < count_ ? bytes_[at] : 0; }
    uint32_t U16(size_t at) const { return U8(at) << 8 | U8(at + 1); }
    uint32_t U32(size_t at) const { return U16(at) << 16 | U16(at + 2); }
    bool Holds(size_t at, std::string_view text) const
    {
        for (size_t i = 0; i < text.size(); ++i)
            if (std::tolower(static_cast<int>(U8(at + i))) != text[i]) return false;
        return true;
    }

  private:
    const uint8_t* bytes_;
    size_t count_;
};

/// Process of a JPEG frame by its SOF marker (T.81 Table B.1).
const char* JpegProcess(uint32_t marker)
{
    switch (marker) {
        case 0xC0:
            return "baseline";
        case 0xC1:
            return "extended sequential";
        case 0xC2:
            return "progressive";
        case 0xC3:
            return "lossless";
        case 0xF7:
            return "LS";
        default:
            return marker >= 0xC9 ? "arithmetic" : "hierarchical";
    }
}

bool IsFrameHeader(uint32_t marker)
{
    return marker == 0xF7 ||
           (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC);
}

void ReadFrameHeader(const ByteView& view, size_t at, uint32_t marker, Codestream* stream)
{
    stream->coding = marker == 0xF7 ? Codestream::Coding::jpegLs : Codestream::Coding::jpeg;
    stream->process = JpegProcess(marker);
    stream->lossless = marker == 0xC3;
    stream->precision = static_cast<int32_t>(view.U8(at + 2));
    stream->height = static_cast<int32_t>(view.U16(at + 3));
    stream->width = static_cast<int32_t>(view.U16(at + 5));
    stream->components = static_cast<int32_t>(view.U8(at + 7));
    for (int32_t i = 0; i < std::min(stream->components, 4); ++i) {
        const uint32_t factors = view.U8(at + 9 + 3 * static_cast<size_t>(i));
        stream->sampling +=
            (i > 0 ? " " : "") + std::to_string(factors >> 4) + "x" + std::to_string(factors & 15);
    }
}

/// How the component tells red, green and blue from luminance and chrominance.
void JudgeJpegColour(const ByteView& view, size_t frameHeader, int adobeTransform, bool jfif,
                     Codestream* stream)
{
    if (stream->components != 3) return;
    const auto id = [&](size_t i) { return view.U8(frameHeader + 8 + 3 * i); };
    if (stream->lossless) {
        stream->isRgb = true;
        stream->reason = "lossless components are not transformed";
    } else if (adobeTransform >= 0) {
        stream->isRgb = adobeTransform == 0;
        stream->reason = "Adobe marker with transform " + std::to_string(adobeTransform);
    } else if (id(0) == 'R' && id(1) == 'G' && id(2) == 'B') {
        stream->isRgb = true;
        stream->reason = "components are named R, G, B";
    } else {
        stream->reason = jfif ? "JFIF" : "no marker tells otherwise";
    }
}

void ReadJpeg(const ByteView& view, Codestream* stream)
{
    int adobeTransform = -1;
    bool jfif = false;
    size_t at = 2;
    while (at + 4 <= view.Count() && view.U8(at) == 0xFF) {
        const uint32_t marker = view.U8(at + 1);
        if (marker == 0xFF) {
            ++at;
            continue;
        }
        const size_t segment = at + 2;
        if (marker == 0xDA || marker == 0xD9) break;
        if (marker == 0xEE && view.U16(segment) >= 14 && view.Holds(segment + 2, "adobe"))
            adobeTransform = static_cast<int>(view.U8(segment + 13));
        if (marker == 0xE0 && view.Holds(segment + 2, "jfif")) jfif = true;
        if (IsFrameHeader(marker)) {
            ReadFrameHeader(view, segment, marker, stream);
            JudgeJpegColour(view, segment, adobeTransform, jfif, stream);
        }
        at = segment + std::max<size_t>(view.U16(segment), 2);
    }
}

/// Main header of a JPEG 2000 codestream (T.800 A.5, A.6).
void ReadJpeg2000(const ByteView& view, Codestream* stream)
{
    stream->coding = Codestream::Coding::jpeg2000;
    for (size_t at = 2; at + 4 <= view.Count();) {
        const uint32_t marker = view.U16(at);
        const size_t segment = at + 2;
        if (marker == 0xFF90) break;  // the first tile
        if (marker == 0xFF51) {
            stream->width = static_cast<int32_t>(view.U32(segment + 4) - view.U32(segment + 12));
            stream->height = static_cast<int32_t>(view.U32(segment + 8) - view.U32(segment + 16));
            stream->components = static_cast<int32_t>(view.U16(segment + 36));
            stream->precision = static_cast<int32_t>((view.U8(segment + 38) & 0x7F) + 1);
        }
        if (marker == 0xFF52) {
            stream->lossless = view.U8(segment + 11) == 1;
            stream->process = stream->lossless ? "reversible" : "irreversible";
            const bool transformed = view.U8(segment + 6) != 0;
            stream->isRgb = !transformed;
            stream->reason = transformed ? "with the component transform" : "without component transform";
        }
        at = segment + std::max<size_t>(view.U16(segment), 2);
    }
}

void ReadRle(const ByteView& view, Codestream* stream)
{
    if (view.Count() < 64) return;
    stream->coding = Codestream::Coding::rle;
    stream->lossless = true;
    // The header is little endian (PS3.5 G.5).
    stream->rleSegments = static_cast<int32_t>(view.U8(0) | view.U8(1) << 8);
}

bool EndsWithMark(const ByteView& view)
{
    for (size_t back = 2; back <= 3 && back <= view.Count(); ++back)
        if (view.U16(view.Count() - back) == 0xFFD9) return true;
    return false;
}
}  // namespace

Codestream ReadCodestream(DicomDataSet* dataSet, const FrameMap& map, int64_t frame)
{
    Codestream stream;
    FrameLocation location;
    EncodedFrame encoded;
    if (map.Description().compression == kCompressionNone || !map.Locate(frame, &location) ||
        ReadEncodedFrame(dataSet, location, &encoded) != kDicomOk)
        return stream;
    const ByteView view(encoded);
    if (map.Description().compression == kCompressionRle) {
        ReadRle(view, &stream);
        return stream;
    }
    if (view.U16(0) == 0xFFD8) ReadJpeg(view, &stream);
    if (view.U32(0) == 0xFF4FFF51) ReadJpeg2000(view, &stream);
    stream.endsWithMark = EndsWithMark(view);
    return stream;
}

std::string CodestreamWords(const Codestream& stream)
{
    static constexpr const char* kNames[] = {"not recognised", "RLE", "JPEG", "JPEG", "JPEG 2000"};
    std::string words = kNames[static_cast<int>(stream.coding)];
    if (stream.coding == Codestream::Coding::unknown) return words;
    if (stream.coding == Codestream::Coding::rle)
        return words + ", " + std::to_string(stream.rleSegments) +
               (stream.rleSegments == 1 ? " segment" : " segments");
    if (!stream.process.empty()) words += " " + stream.process;
    words += ", " + std::to_string(stream.width) + " x " + std::to_string(stream.height) + ", " +
             std::to_string(stream.precision) + " bits, " + std::to_string(stream.components) +
             (stream.components == 1 ? " component" : " components");
    if (stream.components != 3) return words;
    if (!stream.sampling.empty()) words += " " + stream.sampling;
    return words + ": " +
           (stream.isRgb                                ? "RGB"
            : stream.coding == Codestream::Coding::jpeg ? "YCbCr"
                                                        : "YCC") +
           (stream.reason.empty() ? "" : ", " + stream.reason);
}
}  // namespace talv
