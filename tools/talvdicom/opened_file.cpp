#include "tools/talvdicom/opened_file.h"

#include <algorithm>

#include "codecs/codec_status.h"
#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "image/pixel_layout.h"
#include "platform/notice.h"
#include "platform/text.h"

namespace talv {
namespace {
constexpr uint32_t kTagNumberOfFrames = 0x00280008;
constexpr char kDeflatedSyntax[] = "1.2.840.10008.1.2.1.99";
constexpr uint64_t kMetaStart = 132;

void KeepNotice(const char* text, const char*, uint32_t, void* context)
{
    *static_cast<std::string*>(context) = text;
}

/// Notices go into `text` while this lives.
class NoticeCatcher
{
  public:
    explicit NoticeCatcher(std::string* text) { SetNoticeSink(KeepNotice, text); }
    ~NoticeCatcher() { SetNoticeSink(nullptr, nullptr); }
    NoticeCatcher(const NoticeCatcher&) = delete;
    NoticeCatcher& operator=(const NoticeCatcher&) = delete;
};

/// The Transfer Syntax UID that the meta group of a file has, whatever follows it; empty when there is none.
std::string DeclaredSyntax(const char* fileName)
{
    DicomStream stream;
    if (!stream.Open(fileName, kStreamFileFlags)) return {};
    DicomDataSet meta;
    ElementHeader header;
    uint64_t position = kMetaStart;
    for (;; position += header.headerBytes + uint64_t{header.length}) {
        stream.Seek(static_cast<int64_t>(position), 0);
        const DicomStatus status = ReadElementHeader(&meta, &stream, true, true, &header);
        if (status != kDicomOk || TagGroup(header.tag) != kMetaGroup) return {};
        if (header.tag == kTagTransferSyntaxUid) break;
    }
    char uid[65] = {};
    stream.Read(uid, std::min<size_t>(header.length, sizeof uid - 1));
    const std::string text = uid;
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool CodecMissing(const CodecEntryPoints& codecs, int32_t compression)
{
    switch (compression) {
        case kCompressionJpegLossless:
        case kCompressionJpegLossy:
            return codecs.loadBufferCmp == nullptr;
        case kCompressionJ2kLossless:
        case kCompressionJ2k:
            return codecs.j2kDecompressFrame == nullptr;
        default:
            return false;
    }
}
}  // namespace

bool OpenedFile::Open(const std::string& name)
{
    if (!input_.Prepare(name, &refusal)) return false;
    std::string notice;
    const NoticeCatcher catcher(&notice);
    const std::u16string wide = WideFromNarrow(input_.Name());
    const bool loaded = source.Load(wide.c_str(), false) == kLoadOk;
    if (!loaded) refusal = ExplainRefusal(notice);
    input_.RemoveCopy();
    return loaded;
}

bool OpenedFile::OpenForFrames(const std::string& name)
{
    if (!Open(name)) return false;
    if (source.pixelDataElement != nullptr) return true;
    refusal = source.isMpeg2Stream
                  ? "an MPEG-2 stream is handed on as it is, there are no frames to decode; give it to an "
                    "MPEG-2 decoder"
                  : "there are no frames to decode";
    return false;
}

void OpenedFile::ReadStreamTiming()
{
    source.RecomputeFrameTime();
    DicomElement* frames = source.dataSet->FindFirstElement(nullptr, kTagNumberOfFrames, true);
    int32_t count = 1;
    if (frames != nullptr) source.dataSet->GetInteger(frames, 0, &count);
    timeline.frameCount = count;
}

const FrameMap& OpenedFile::Frames()
{
    if (mapped_ != source.pixelDataElement) {
        mapped_ = source.pixelDataElement;
        frames_ = {};
        groups_ = FindFunctionalGroups(source.dataSet);
        if (mapped_ != nullptr) frames_.Build(source.dataSet, mapped_);
    }
    return frames_;
}

const FunctionalGroups& OpenedFile::Groups()
{
    Frames();
    return groups_;
}

int64_t OpenedFile::FramesToDecode()
{
    return std::min(std::max<int64_t>(timeline.frameCount, 1), std::max<int64_t>(Frames().Found(), 1));
}

std::string OpenedFile::ExplainRefusal(const std::string& notice)
{
    if (notice.empty()) return "the file cannot be played" + CheckHint();
    const auto status = static_cast<DicomStatus>(source.lastRefusal);
    if (!source.fileNameSet) {
        if (status == kDicomOk) return notice;
        return notice + ": " + LoadRefusal(input_.Name().c_str(), status);
    }
    const std::string uid = TagText(source.dataSet, kTagTransferSyntaxUid);
    const int32_t compression = GetTransferSyntaxClass(source.dataSet);
    if (CodecMissing(source.dataSet->tables.codecs, compression))
        return notice + ": this build has no decoder for " + TransferSyntaxName(uid);
    if (source.dataSet->FindFirstElement(nullptr, kTagPixelData, false) == nullptr)
        return notice + "; talvdicom dump shows what it holds";
    const std::string syntax = compression != kCompressionNone ? " (" + TransferSyntaxName(uid) + ")" : "";
    return notice + ": " + StatusWords(status) + syntax + ImageHint(status);
}

std::string OpenedFile::CheckHint() const
{
    return isCheck ? "" : "; talvdicom check tells what is wrong with the file";
}

/// What to try when an image gave `status`.
std::string OpenedFile::ImageHint(DicomStatus status)
{
    DicomElement* const pixels = source.dataSet->FindFirstElement(nullptr, kTagPixelData, false);
    FrameMap map;
    const bool mapped = map.Build(source.dataSet, pixels) == kDicomOk;
    if (status == kDicomUnsupportedCompression)
        return "; recode it with another tool, for example as JPEG 2000 or uncompressed";
    if (status == kDicomNoFrame && mapped && map.Found() > 0) {
        const uint64_t bytes = LargestFrameBytes(map.Description());
        if (bytes > MaxBitmapBytes())
            return "; a frame takes " + std::to_string(bytes >> 20) + " MiB, --max-frame raises the limit";
        if (bytes > uint64_t{64} << 20) return "; --any-size takes a frame however few bytes it is made of";
    }
    return CheckHint();
}

std::string OpenedFile::FrameRefusal(int64_t frame, DicomStatus status)
{
    std::string text = FrameWords(frame);
    const int64_t position = Frames().FilePosition(frame);
    if (position >= 0) text += " at byte " + std::to_string(position);
    text += ": ";
    if (position >= 0 && !Frames().IsWhole(frame)) return text + "the file ends before it does";
    return text + StatusWords(status) + ImageHint(status);
}

std::string TagText(DicomDataSet* dataSet, uint32_t tag)
{
    char text[128] = {};
    if (!dataSet->GetTagValue(nullptr, tag, text, 0, sizeof text - 1, 0)) return {};
    std::string trimmed = text;
    trimmed.erase(trimmed.find_last_not_of(' ') + 1);
    return trimmed;
}

std::string LoadRefusal(const char* fileName, DicomStatus status)
{
    const std::string uid = status == kDicomNotDicom ? DeclaredSyntax(fileName) : "";
    if (uid.empty() || FindTransferSyntax(uid.c_str()) != nullptr) return DicomStatusText(status);
    if (uid == kDeflatedSyntax) return "the data set is deflated; inflate it with another tool first";
    return "its transfer syntax does not play: " + TransferSyntaxName(uid) + " (" + uid + ")";
}

bool TagReal(DicomDataSet* dataSet, uint32_t tag, double* value)
{
    DicomElement* element = dataSet->FindFirstElement(nullptr, tag, true);
    return element != nullptr && dataSet->GetReal(element, 0, value);
}

std::string TransferSyntaxName(const std::string& uid)
{
    if (uid.empty()) return "no transfer syntax";
    const char* const name = FindUidName(uid.c_str());
    return name != nullptr ? name : "no name in the dictionary";
}

std::string StatusWords(DicomStatus status)
{
    const int32_t code = static_cast<int16_t>(status);
    if (code >= 0 || status == kDicomWrongStructSize) return DicomStatusText(status);
    const char* words = "its stream cannot be decoded";
    switch (code) {
        case kCodecNoMemory:
            words = "out of memory for its stream";
            break;
        case kCodecUnsupported:
            words = "its stream is damaged, or of a kind that is not decoded";
            break;
        case kCodecSixteenBits:
        case kCodecBadDepth:
            words = "its stream has another depth than the attributes say";
            break;
        case kCodecTooNarrow:
            words = "its stream is wider than the attributes say";
            break;
        case kCodecNoQuantTable:
        case kCodecNoDcTable:
        case kCodecNoAcTable:
            words = "its stream lacks a table";
            break;
        default:
            break;
    }
    return words + (" (code " + std::to_string(code) + ")");
}

std::string FrameWords(int64_t frame)
{
    return "frame " + std::to_string(frame + 1);
}
}  // namespace talv
