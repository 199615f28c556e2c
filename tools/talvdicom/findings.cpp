#include "tools/talvdicom/findings.h"

#include <algorithm>

namespace talv {
const char* GradeName(Grade grade)
{
    static constexpr const char* kNames[] = {"note", "warning", "error"};
    return kNames[static_cast<int>(grade)];
}

Findings CheckOpenedFile(OpenedFile* opened)
{
    Findings findings;
    CheckStructure(opened->source.dataSet, &findings);
    if (opened->source.pixelDataElement != nullptr) {
        CheckImage(opened, &findings);
        CheckFrames(opened, &findings);
    }
    CheckTiming(opened, &findings);
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.grade > b.grade; });
    return findings;
}

Grade WorstGrade(const Findings& findings)
{
    Grade worst = Grade::note;
    for (const Finding& finding : findings) worst = std::max(worst, finding.grade);
    return worst;
}

std::string CountFindings(const Findings& findings)
{
    std::string words;
    for (const Grade grade : {Grade::error, Grade::warning, Grade::note}) {
        const auto count = std::count_if(findings.begin(), findings.end(),
                                         [&](const Finding& f) { return f.grade == grade; });
        if (count == 0) continue;
        if (!words.empty()) words += ", ";
        words += std::to_string(count) + " " + GradeName(grade) + (count > 1 ? "s" : "");
    }
    return words.empty() ? "nothing odd" : words;
}
}  // namespace talv
