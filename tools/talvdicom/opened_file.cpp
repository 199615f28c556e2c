#include "tools/talvdicom/opened_file.h"

#include <algorithm>

#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "image/image_description.h"
#include "platform/notice.h"
#include "platform/text.h"

namespace talv {
namespace {
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
    std::string notice;
    const NoticeCatcher catcher(&notice);
    const std::u16string wide = WideFromNarrow(name);
    if (source.Load(wide.c_str(), false) == kLoadOk) return true;
    refusal = ExplainRefusal(notice);
    return false;
}

bool OpenedFile::OpenForFrames(const std::string& name)
{
    if (!Open(name)) return false;
    if (source.pixelDataElement != nullptr) return true;
    refusal = source.isMpeg2Stream ? "an MPEG-2 stream is handed on as it is, there are no frames to decode"
                                   : "there are no frames to decode";
    return false;
}

int64_t OpenedFile::FramesToDecode()
{
    ImageDescription description;
    const DicomStatus status =
        ReadImageDescription(source.dataSet, source.pixelDataElement, &description, 0, false);
    const int64_t held = status == kDicomOk ? std::max<int64_t>(description.frameCount, 1) : 1;
    return std::min(timeline.frameCount, held);
}

std::string OpenedFile::ExplainRefusal(const std::string& notice)
{
    if (notice.empty()) return "the file cannot be played";
    const int32_t compression = source.dataSet != nullptr ? GetTransferSyntaxClass(source.dataSet) : 0;
    if (source.fileNameSet && compression != kCompressionNone) {
        const std::string syntax = TransferSyntaxName(TagText(source.dataSet, kTagTransferSyntaxUid));
        if (CodecMissing(source.dataSet->tables.codecs, compression))
            return notice + ": this build has no decoder for " + syntax;
        return notice + ": " + DicomStatusText(static_cast<DicomStatus>(source.lastRefusal)) + " (" + syntax +
               ")";
    }
    if (source.lastRefusal == kDicomOk || (source.fileNameSet && source.lastRefusal == kDicomNoFrame))
        return notice;
    return notice + ": " + DicomStatusText(static_cast<DicomStatus>(source.lastRefusal));
}

std::string TagText(DicomDataSet* dataSet, uint32_t tag)
{
    char text[128] = {};
    if (!dataSet->GetTagValue(nullptr, tag, text, 0, sizeof text - 1, 0)) return {};
    std::string trimmed = text;
    trimmed.erase(trimmed.find_last_not_of(' ') + 1);
    return trimmed;
}

bool TagReal(DicomDataSet* dataSet, uint32_t tag, double* value)
{
    DicomElement* element = dataSet->FindFirstElement(nullptr, tag, true);
    return element != nullptr && dataSet->GetReal(element, 0, value);
}

std::string TransferSyntaxName(const std::string& uid)
{
    if (uid.empty()) return "no transfer syntax";
    const UidEntry* entry = FindUidEntry(uid.c_str());
    return entry != nullptr ? entry->name : "no name in the dictionary";
}
}  // namespace talv
