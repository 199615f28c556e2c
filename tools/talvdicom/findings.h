#pragma once

#include <string>
#include <vector>

#include "tools/talvdicom/opened_file.h"

namespace talv {
/// How grave a finding is.
enum class Grade
{
    note,     ///< worth knowing; every reader copes
    warning,  ///< shown, but perhaps not as it was meant; other readers may stumble
    error,    ///< something is missing or cannot be shown
};
const char* GradeName(Grade grade);

/// One oddity of a file.
struct Finding
{
    Grade grade = Grade::note;
    std::string where;  ///< an element, a frame, a place in the file
    std::string what;
};
using Findings = std::vector<Finding>;

/// The file and its elements: preamble, encoding, VRs, lengths, order, what is missing at the end.
void CheckStructure(DicomDataSet* dataSet, Findings* findings);
/// The attributes of the picture against each other.
void CheckImage(OpenedFile* opened, Findings* findings);
/// Frames declared, found and whole; offset tables and fragments; the headers inside the first frame against
/// the label around it.
void CheckFrames(OpenedFile* opened, Findings* findings);
/// What tells the speed.
void CheckTiming(OpenedFile* opened, Findings* findings);
/// All of them, the gravest first. Nothing is decoded.
Findings CheckOpenedFile(OpenedFile* opened);

Grade WorstGrade(const Findings& findings);
/// "1 error, 2 warnings, 3 notes".
std::string CountFindings(const Findings& findings);
}  // namespace talv
