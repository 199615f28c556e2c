#include <cstdio>
#include <nlohmann/json.hpp>

#include "dicom/reader.h"
#include "image/get_image.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/decoded_frame.h"
#include "tools/talvdicom/findings.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/printable.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
constexpr size_t kListedFrames = 20;

/// Decodes every frame and adds those that fail.
void CheckDecoding(OpenedFile* opened, Findings* findings)
{
    const int64_t count = opened->FramesToDecode();
    Progress progress("decoding frame", count);
    size_t failed = 0;
    for (int64_t frame = 0; frame < count && !Interrupted(); ++frame) {
        progress.Show(frame);
        const DicomStatus status = DecodedFrame(opened->source, frame).Status();
        if (status == kDicomOk || ++failed > kListedFrames) continue;
        findings->insert(findings->begin(), {Grade::error, FrameWords(frame),
                                             "cannot be decoded: " + (opened->Frames().IsWhole(frame)
                                                                          ? StatusWords(status)
                                                                          : "the file ends before it does")});
    }
    if (failed > kListedFrames)
        findings->insert(findings->begin(), {Grade::error, "frames",
                                             std::to_string(failed) + " of " + std::to_string(count) +
                                                 " cannot be decoded; the first " +
                                                 std::to_string(kListedFrames) + " are listed"});
}

/// What can be said about a file that is refused: it is read as a data set, no more.
Findings CheckRefusedFile(OpenedFile* opened)
{
    Findings findings = {{Grade::error, "file", opened->refusal}};
    CheckStructure(opened->source.dataSet, &findings);
    return findings;
}

void PrintFindings(const std::string& file, const Findings& findings)
{
    const TextStyle& style = OutputStyle();
    for (const Finding& finding : findings) {
        const char* const colour = finding.grade == Grade::error     ? style.error
                                   : finding.grade == Grade::warning ? style.warning
                                                                     : style.good;
        PrintFact("", colour, GradeName(finding.grade), 9, finding.where + ": " + finding.what);
    }
    Print("%s: %s\n", PrintableText(file).c_str(), CountFindings(findings).c_str());
}

void PrintJson(const Findings& findings, bool playable)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings)
        list.push_back({{"grade", GradeName(finding.grade)},
                        {"where", PrintableText(finding.where)},
                        {"what", PrintableText(finding.what)}});
    const nlohmann::ordered_json answer = {
        {"playable", playable},
        {"worst", findings.empty() ? "none" : GradeName(WorstGrade(findings))},
        {"findings", list},
    };
    Print("%s\n", answer.dump(2).c_str());
}
}  // namespace

int RunCheck(const std::string& file, const CheckOptions& options)
{
    OpenedFile opened;
    opened.isCheck = true;
    const bool playable = opened.Open(file);
    if (!playable && !opened.HasDataSet()) return Complain(file, opened.refusal);
    Findings findings;
    if (playable) {
        if (opened.source.pixelDataElement == nullptr) opened.ReadStreamTiming();
        findings = CheckOpenedFile(&opened);
        if (opened.source.pixelDataElement != nullptr && !options.quick) CheckDecoding(&opened, &findings);
    } else {
        findings = CheckRefusedFile(&opened);
    }
    if (Interrupted()) return kInterrupted;
    if (options.json)
        PrintJson(findings, playable);
    else
        PrintFindings(file, findings);
    if (!playable) return Complain(file, opened.refusal);
    const Grade worst = WorstGrade(findings);
    return worst == Grade::error ? kErrorsFound : worst == Grade::warning ? kWarningsFound : kDone;
}
}  // namespace talv
