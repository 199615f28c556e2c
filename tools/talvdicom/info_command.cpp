#include <algorithm>
#include <cstdio>

#include "dicom/reader.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/file_facts.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr uint32_t kTagRescaleIntercept = 0x00281052, kTagRescaleSlope = 0x00281053;
constexpr size_t kShownTags = 5, kShownFindings = 5;  // info is one screen

void PrintLine(const char* label, const std::string& text)
{
    PrintFact("  ", OutputStyle().tag, label, 11, text);
}

std::string Number(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string Rate(double perSecond)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.4g", perSecond);
    return text;
}

std::string FileWords(const DicomDataSet& dataSet, int64_t bytes)
{
    std::string words = (dataSet.mode & kModePreamble) != 0 ? "with preamble" : "bare data set";
    words += (dataSet.mode & kModeExplicitVr) != 0 ? ", explicit VR" : ", implicit VR";
    words += (dataSet.mode & kModeBigEndian) != 0 ? ", big endian, " : ", little endian, ";
    if (bytes < 10'000) return words + std::to_string(bytes) + " bytes";
    return words + (bytes < 10'000'000 ? std::to_string((bytes + 500) / 1000) + " kB"
                                       : std::to_string((bytes + 500'000) / 1'000'000) + " MB");
}

std::string PictureWords(const FileFacts& facts)
{
    std::string words = std::to_string(facts.columns) + " x " + std::to_string(facts.rows) + ", ";
    if (facts.photometric.empty()) return words + "no photometric interpretation: inverted grey";
    words += facts.photometric;
    const ImageDescription& description = facts.description;
    if (description.rows == 0) return words;
    if (description.samplesPerPixel > 1)
        words += ", " + std::to_string(description.samplesPerPixel) + " samples";
    words += ", " + std::to_string(description.bitsStored) + " of " +
             std::to_string(description.bitsAllocated) + " bits";
    return words + (description.pixelRepresentation == 1 ? ", signed" : "");
}

/// What goes downstream, and what made it so.
std::string PlaysWords(const FrameSource& source, const FileFacts& facts)
{
    if (source.isMpeg2Stream)
        return "as it is: an MPEG-2 stream of " + std::to_string(source.streamReader.Length()) +
               " bytes for a decoder downstream";
    if (source.pixelDataElement == nullptr) return "nothing: the MPEG-2 stream is missing";
    std::string words =
        "as " + MediaName(source) + ", " + std::to_string(facts.bytesPerLine) + " bytes a row: ";
    if (facts.colorOrder == kOrderGrey)
        return words + "grey of more than 8 bits, bits " + std::to_string(source.lowBit) + " to " +
               std::to_string(source.highBit) + ", values " + std::to_string(source.minPixelValue) + " to " +
               std::to_string(source.maxPixelValue);
    if (source.bitsPerPixel == 1) return words + "black and white";
    if (source.bitsPerPixel > 8) return words + "colour";
    return words + (facts.description.greyLevel != 0 ? "grey through a palette that holds the window"
                                                     : "indices of a colour palette");
}

std::string StreamWords(const FileFacts& facts)
{
    std::string words = CodestreamWords(facts.stream);
    const bool odd = std::any_of(facts.findings.begin(), facts.findings.end(), [](const Finding& finding) {
        return finding.where == TagWords(0x00280004) && finding.what.rfind("labelled ", 0) == 0;
    });
    if (facts.stream.components == 3) words += odd ? "; the label differs" : "; as labelled";
    return words;
}

void PrintWindow(const FrameSource& source, const FileFacts& facts)
{
    const bool computed = (source.imageFlags & kImageWindowComputed) != 0;
    if (facts.colorOrder == kOrderGrey || !computed)
        PrintLine("window",
                  "center " + std::to_string(source.windowCenter) + ", width " +
                      std::to_string(source.windowWidth) +
                      (computed ? ", from the range of values of the first frame" : ", from the file"));
    double slope = 1.0, intercept = 0.0;
    const bool rescaled = TagReal(source.dataSet, kTagRescaleSlope, &slope) |
                          TagReal(source.dataSet, kTagRescaleIntercept, &intercept);
    if (rescaled)
        PrintLine("rescale",
                  "slope " + Number(slope) + ", intercept " + Number(intercept) +
                      " (in the media type: " + std::to_string(static_cast<uint32_t>(source.rescaleSlope)) +
                      " and " + std::to_string(static_cast<uint32_t>(source.rescaleIntercept)) + ")");
    if (!source.palette.empty()) PrintLine("lut", std::to_string(source.palette.size()) + " entries");
}

std::string FrameWordsOf(const FrameTimeline& timeline, const FileFacts& facts, bool hasImage)
{
    std::string words =
        facts.framesDeclared ? std::to_string(timeline.frameCount) + " declared" : "none declared";
    if (hasImage)
        words += ", " + std::to_string(facts.framesFound) + " found, " + std::to_string(facts.framesWhole) +
                 " whole";
    const double seconds = static_cast<double>(std::max<int64_t>(timeline.frameCount, 1)) *
                           static_cast<double>(timeline.frameTimeUnits) / 1e7;
    char length[40];
    std::snprintf(length, sizeof length, seconds < 1000 ? "; %.3g s" : "; %.0f s", seconds);
    return words + length;
}

void PrintTiming(const FrameTimeline& timeline, const FileFacts& facts)
{
    PrintLine("speed", Rate(1e7 / static_cast<double>(timeline.frameTimeUnits)) + " frames a second, " +
                           Number(timeline.effectiveFrameTime) + " ms each: " + facts.timingReason);
    std::vector<const TimingTag*> shown;
    for (const TimingTag& tag : facts.timing) shown.push_back(&tag);
    // The chosen one is always among those there is room for.
    std::stable_partition(shown.begin(), shown.end(), [](const TimingTag* tag) { return tag->chosen; });
    for (size_t i = 0; i < std::min(shown.size(), kShownTags); ++i)
        PrintLine(i == 0 ? "timing" : "", std::string(shown[i]->chosen ? "* " : "  ") +
                                              TagWords(shown[i]->tag) + " " + shown[i]->name + ": " +
                                              shown[i]->value);
    if (shown.size() > kShownTags)
        PrintLine("", "  and " + std::to_string(shown.size() - kShownTags) + " more (--json)");
}

void PrintFindings(const Findings& findings)
{
    PrintLine("oddities", CountFindings(findings));
    for (size_t i = 0; i < std::min(findings.size(), kShownFindings); ++i)
        PrintLine(GradeName(findings[i].grade), findings[i].where + ": " + findings[i].what);
    if (findings.size() > kShownFindings) PrintLine("", "talvdicom check lists them all");
}

void PrintFacts(const std::string& file, const OpenedFile& opened, const FileFacts& facts)
{
    const FrameSource& source = opened.source;
    const bool hasImage = source.pixelDataElement != nullptr;
    Print("%s%s%s\n", OutputStyle().name, PrintableText(file).c_str(), OutputStyle().plain);
    PrintLine("file", FileWords(*source.dataSet, facts.fileBytes));
    PrintLine("coding", TransferSyntaxName(facts.transferSyntax) +
                            (facts.transferSyntax.empty() ? "" : " (" + facts.transferSyntax + ")"));
    if (facts.stream.coding != Codestream::Coding::unknown) PrintLine("stream", StreamWords(facts));
    PrintLine("picture", PictureWords(facts));
    PrintLine("plays", PlaysWords(source, facts));
    if (hasImage) PrintWindow(source, facts);
    PrintLine("frames", FrameWordsOf(opened.timeline, facts, hasImage));
    PrintTiming(opened.timeline, facts);
    PrintFindings(facts.findings);
}
}  // namespace

int RunInfo(const std::string& file, bool json)
{
    OpenedFile opened;
    if (!opened.Open(file)) return Complain(file, opened.refusal);
    const FileFacts facts = GatherFacts(&opened);
    if (json)
        WriteOutput(FactsAsJson(opened, facts) + "\n");
    else
        PrintFacts(file, opened, facts);
    return kDone;
}
}  // namespace talv
