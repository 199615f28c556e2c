#include "tools/talvdicom/file_facts.h"

#include <nlohmann/json.hpp>

#include "dicom/reader.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr uint32_t kTagNumberOfFrames = 0x00280008, kTagPhotometric = 0x00280004;
constexpr uint32_t kTagRows = 0x00280010, kTagColumns = 0x00280011;

uint16_t TagWord(DicomDataSet* dataSet, uint32_t tag)
{
    uint16_t value = 0;
    dataSet->GetTagValue(nullptr, tag, &value, 0, 1, 1);
    return value;
}

nlohmann::ordered_json TimingAsJson(const std::vector<TimingTag>& tags)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const TimingTag& tag : tags)
        list.push_back({{"tag", TagWords(tag.tag)},
                        {"name", tag.name},
                        {"value", tag.value},
                        {"chosen", tag.chosen},
                        {"pointed", tag.pointed}});
    return list;
}

nlohmann::ordered_json FindingsAsJson(const Findings& findings)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings)
        list.push_back({{"grade", GradeName(finding.grade)},
                        {"where", PrintableText(finding.where)},
                        {"what", PrintableText(finding.what)}});
    return list;
}
}  // namespace

FileFacts GatherFacts(OpenedFile* opened)
{
    FrameSource& source = opened->source;
    DicomDataSet* const dataSet = source.dataSet;
    FileFacts facts;
    facts.transferSyntax = TagText(dataSet, kTagTransferSyntaxUid);
    facts.photometric = TagText(dataSet, kTagPhotometric);
    facts.compression = GetTransferSyntaxClass(dataSet);
    facts.fileBytes = static_cast<int64_t>(dataSet->fileStream.Size());
    int32_t declared = 0;
    DicomElement* const frames = dataSet->FindFirstElement(nullptr, kTagNumberOfFrames, true);
    facts.framesDeclared = frames != nullptr && dataSet->GetInteger(frames, 0, &declared);
    if (source.pixelDataElement == nullptr) {
        opened->ReadStreamTiming();
        facts.columns = TagWord(dataSet, kTagColumns);
        facts.rows = TagWord(dataSet, kTagRows);
    } else {
        facts.columns = source.width;
        facts.rows = source.height;
        facts.framesFound = opened->Frames().Found();
        facts.framesWhole = opened->Frames().Whole();
        facts.description = opened->Frames().Description();
        facts.stream = ReadCodestream(dataSet, opened->Frames(), 0);
        DecodedFrame first(source, 0);
        if (first.Status() == kDicomOk) {
            facts.bytesPerLine = first.Bitmap()->bytesPerLine;
            facts.colorOrder = first.Bitmap()->colorOrder;
        }
    }
    facts.timing = ListTimingTags(dataSet);
    facts.timingReason = TimingReason(dataSet, opened->timeline, facts.timing);
    facts.findings = CheckOpenedFile(opened);
    return facts;
}

std::string MediaName(const FrameSource& source)
{
    if (source.pixelDataElement == nullptr) return {};
    const uint32_t bits = source.bitsPerPixel;
    return bits == 12 || bits == 16 ? "TGRY" : "RGB" + std::to_string(bits);
}

std::string FactsAsJson(const OpenedFile& opened, const FileFacts& facts)
{
    const FrameSource& source = opened.source;
    const FrameTimeline& timeline = opened.timeline;
    nlohmann::ordered_json answer = {
        {"transferSyntax", PrintableText(facts.transferSyntax)},
        {"compression", facts.compression},
        {"columns", facts.columns},
        {"rows", facts.rows},
        {"bitsPerPixel", source.bitsPerPixel},
        {"bytesPerLine", facts.bytesPerLine},
        {"colorOrder", facts.colorOrder},
        {"photometric", PrintableText(facts.photometric)},
        {"frames", timeline.frameCount},
        {"frameTimeMs", timeline.effectiveFrameTime},
        {"frameTimeUnits", timeline.frameTimeUnits},
        {"frameTimeFound", timeline.fileFrameTimeFound},
        {"windowCenter", source.windowCenter},
        {"windowWidth", source.windowWidth},
        {"rescaleSlope", source.rescaleSlope},
        {"rescaleIntercept", source.rescaleIntercept},
        {"imageFlags", source.imageFlags},
        {"lowBit", source.lowBit},
        {"highBit", source.highBit},
        {"minValue", source.minPixelValue},
        {"maxValue", source.maxPixelValue},
        {"paletteCount", source.palette.size()},
        {"mpeg2", source.isMpeg2Stream},
        {"transferSyntaxName", TransferSyntaxName(facts.transferSyntax)},
        {"mediaSubtype", MediaName(source)},
        {"fileBytes", facts.fileBytes},
        {"samplesPerPixel", facts.description.samplesPerPixel},
        {"bitsAllocated", facts.description.bitsAllocated},
        {"bitsStored", facts.description.bitsStored},
        {"isSigned", facts.description.pixelRepresentation == 1},
        {"framesDeclared", facts.framesDeclared},
        {"framesFound", facts.framesFound},
        {"framesWhole", facts.framesWhole},
        {"framesPerSecond", 1e7 / static_cast<double>(timeline.frameTimeUnits)},
        {"timing", TimingAsJson(facts.timing)},
        {"timingReason", PrintableText(facts.timingReason)},
    };
    if (facts.stream.coding != Codestream::Coding::unknown)
        answer["stream"] = {{"words", CodestreamWords(facts.stream)},
                            {"columns", facts.stream.width},
                            {"rows", facts.stream.height},
                            {"bits", facts.stream.precision},
                            {"components", facts.stream.components},
                            {"lossless", facts.stream.lossless},
                            {"rgb", facts.stream.isRgb}};
    answer["findings"] = FindingsAsJson(facts.findings);
    return answer.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
}  // namespace talv
