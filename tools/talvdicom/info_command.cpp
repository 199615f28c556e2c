#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "image/get_image.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr uint32_t kTagFrameTime = 0x00181063;
constexpr uint32_t kTagFrameTimeVector = 0x00181065;
constexpr uint32_t kTagFrameIncrementPointer = 0x00280009;
constexpr uint32_t kTagNumberOfFrames = 0x00280008;
constexpr uint32_t kTagPhotometric = 0x00280004;
constexpr uint32_t kTagRows = 0x00280010;
constexpr uint32_t kTagColumns = 0x00280011;
constexpr uint32_t kTagRescaleIntercept = 0x00281052;
constexpr uint32_t kTagRescaleSlope = 0x00281053;
constexpr uint32_t kTagFirstTimed =
    0x00540080;  // Number of Slices: asked for before all others, as the player does

/// What is printed, gathered from the loaded file.
struct FileFacts
{
    std::string transferSyntax, photometric;
    int32_t compression = 0;
    int32_t columns = 0, rows = 0;
    uint32_t bytesPerLine = 0, colorOrder = 0;
    int64_t framesHeld = 0;
};

uint16_t TagWord(DicomDataSet* dataSet, uint32_t tag)
{
    uint16_t value = 0;
    dataSet->GetTagValue(nullptr, tag, &value, 0, 1, 1);
    return value;
}

void GatherStreamFacts(OpenedFile* opened, FileFacts* facts)
{
    DicomDataSet* dataSet = opened->source.dataSet;
    facts->columns = TagWord(dataSet, kTagColumns);
    facts->rows = TagWord(dataSet, kTagRows);
    opened->source.RecomputeFrameTime();
    DicomElement* frames = dataSet->FindFirstElement(nullptr, kTagNumberOfFrames, true);
    int32_t count = 1;
    if (frames != nullptr) dataSet->GetInteger(frames, 0, &count);
    opened->timeline.frameCount = count;
}

FileFacts GatherFacts(OpenedFile* opened)
{
    FrameSource& source = opened->source;
    FileFacts facts;
    facts.transferSyntax = TagText(source.dataSet, kTagTransferSyntaxUid);
    facts.photometric = TagText(source.dataSet, kTagPhotometric);
    facts.compression = GetTransferSyntaxClass(source.dataSet);
    if (source.pixelDataElement == nullptr) {
        GatherStreamFacts(opened, &facts);
        return facts;
    }
    facts.columns = source.width;
    facts.rows = source.height;
    facts.framesHeld = opened->FramesToDecode();
    ImageBitmap bitmap = {};
    if (GetImage(source.dataSet, source.pixelDataElement, &bitmap, kBitmapStructSize, 0, 0, 0,
                 kPlayerImageOptions, nullptr, nullptr) == kDicomOk) {
        facts.bytesPerLine = bitmap.bytesPerLine;
        facts.colorOrder = bitmap.colorOrder;
        FreeBitmap(&bitmap);
    }
    return facts;
}

nlohmann::ordered_json JsonFacts(const OpenedFile& opened, const FileFacts& facts)
{
    const FrameSource& source = opened.source;
    const FrameTimeline& timeline = opened.timeline;
    return {
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
    };
}

/// The element that FindFrameTime takes the time from, in words; empty when there is none. Its order of
/// search is repeated here.
std::string FrameTimeOrigin(DicomDataSet* dataSet)
{
    const auto present = [&](uint32_t tag) { return dataSet->FindFirstElement(nullptr, tag, false); };
    const bool firstTimed = present(kTagFirstTimed) != nullptr;
    DicomElement* pointer = present(kTagFrameIncrementPointer);
    if (!firstTimed && pointer != nullptr) {
        const int32_t* value = dataSet->GetLongs(pointer, 0, 1);
        uint16_t halves[2] = {};
        if (value != nullptr) std::memcpy(halves, value, sizeof halves);
        if (value != nullptr && present(MakeTag(halves[0], halves[1])) != nullptr) {
            const uint32_t tag = MakeTag(halves[0], halves[1]);
            const ElementEntry* entry = FindElementEntry(tag);
            char text[96];
            std::snprintf(text, sizeof text, "%.48s (%04X,%04X), by Frame Increment Pointer",
                          entry != nullptr ? entry->name : "element", halves[0], halves[1]);
            return text;
        }
    }
    if (present(kTagFrameTime) != nullptr) return "Frame Time (0018,1063)";
    if (present(kTagFrameTimeVector) != nullptr) return "the first of Frame Time Vector (0018,1065)";
    return firstTimed ? "element (0054,0080)" : "";
}

std::string PixelWords(const FrameSource& source, uint32_t colorOrder)
{
    const std::string bits = std::to_string(source.bitsPerPixel) + "-bit ";
    if (colorOrder == kOrderGrey)
        return bits + "grey, significant bits " + std::to_string(source.lowBit) + " to " +
               std::to_string(source.highBit) + ", values " + std::to_string(source.minPixelValue) + " to " +
               std::to_string(source.maxPixelValue);
    return bits + (source.bitsPerPixel <= 8 ? "indices" : "colour");
}

void PrintImageLines(OpenedFile* opened, const FileFacts& facts)
{
    const FrameSource& source = opened->source;
    std::printf("  pixels     %s, %u bytes a row\n", PixelWords(source, facts.colorOrder).c_str(),
                facts.bytesPerLine);
    const bool windowComputed = (source.imageFlags & kImageWindowComputed) != 0;
    if (facts.colorOrder == kOrderGrey || !windowComputed)
        std::printf("  window     center %d, width %d, %s\n", source.windowCenter, source.windowWidth,
                    windowComputed ? "from the pixel range" : "from the file");

    double slope = 1.0, intercept = 0.0;
    const bool rescaled = TagReal(source.dataSet, kTagRescaleSlope, &slope) |
                          TagReal(source.dataSet, kTagRescaleIntercept, &intercept);
    if (rescaled)
        std::printf("  rescale    slope %g, intercept %g (handed on as %.0f and %.0f)\n", slope, intercept,
                    source.rescaleSlope, source.rescaleIntercept);
    if (!source.palette.empty()) std::printf("  lut        %zu entries\n", source.palette.size());
}

void PrintFacts(const std::string& file, OpenedFile* opened, const FileFacts& facts)
{
    const FrameTimeline& timeline = opened->timeline;
    const bool hasImage = opened->source.pixelDataElement != nullptr;
    std::printf("%s\n", PrintableText(file).c_str());
    std::printf("  picture    %d x %d, %s\n", facts.columns, facts.rows,
                facts.photometric.empty() ? "no photometric interpretation: inverted grey"
                                          : PrintableText(facts.photometric).c_str());
    if (hasImage) PrintImageLines(opened, facts);

    std::printf("  frames     %" PRId64, timeline.frameCount);
    if (hasImage && facts.framesHeld < timeline.frameCount)
        std::printf(", but the pixel data hold only %" PRId64, facts.framesHeld);
    std::printf(", %.4g s in all\n", static_cast<double>(timeline.frameCount) *
                                         static_cast<double>(timeline.frameTimeUnits) / 1e7);
    const std::string origin = FrameTimeOrigin(opened->source.dataSet);
    std::printf("  timing     %.6g ms a frame (%.4g a second), %s%s\n", timeline.effectiveFrameTime,
                1000.0 / timeline.effectiveFrameTime, origin.empty() ? "the file tells none" : "from ",
                origin.c_str());

    std::printf("  coding     %s", PrintableText(TransferSyntaxName(facts.transferSyntax)).c_str());
    if (!facts.transferSyntax.empty()) std::printf(" (%s)", PrintableText(facts.transferSyntax).c_str());
    std::printf("\n");
    if (opened->source.isMpeg2Stream)
        std::printf("  stream     MPEG-2, %" PRId64 " bytes, handed on as it is\n",
                    opened->source.streamReader.Length());
    else if (!hasImage)
        std::printf("  stream     nothing to play: the MPEG-2 stream is missing\n");
}
}  // namespace

int RunInfo(const std::string& file, bool json)
{
    OpenedFile opened;
    if (!opened.Open(file)) return Complain(file, opened.refusal);
    const FileFacts facts = GatherFacts(&opened);
    if (json)
        std::printf("%s\n", JsonFacts(opened, facts).dump(2).c_str());
    else
        PrintFacts(file, &opened, facts);
    return kDone;
}
}  // namespace talv
