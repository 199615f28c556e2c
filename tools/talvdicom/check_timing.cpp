#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/findings.h"
#include "tools/talvdicom/timing.h"

namespace talv {
namespace {
constexpr uint32_t kTagFrameIncrementPointer = 0x00280009, kTagFrameTimeVector = 0x00181065;
constexpr uint32_t kTagFirstAsked = 0x00540080;
constexpr double kSameShare = 0.01;  // frame times that differ by less agree

std::string Ms(double milliseconds)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.4g ms", milliseconds);
    return text;
}

void CheckVector(DicomDataSet* dataSet, int64_t frames, Findings* findings)
{
    DicomElement* const element = dataSet->FindFirstElement(nullptr, kTagFrameTimeVector, false);
    if (element == nullptr) return;
    const auto count = static_cast<uint32_t>(std::max(dataSet->GetValueCount(element), 0));
    const double* const times = dataSet->GetDoubles(element, 0, count);
    const std::string where = TagWords(kTagFrameTimeVector);
    if (count != frames)
        findings->push_back(
            {Grade::note, where,
             std::to_string(count) + " frame times for " + std::to_string(frames) + " frames"});
    if (times != nullptr && count > 2) {
        // The first value is 0: nothing comes before the first frame.
        const auto [least, most] = std::minmax_element(times + 1, times + count);
        if (*most - *least > kSameShare * std::abs(*most))
            findings->push_back({Grade::warning, where,
                                 "frames follow each other after " + Ms(*least) + " to " + Ms(*most) +
                                     ": the clip plays at one rate"});
    }
    dataSet->ReleaseValues(element);
}

void CheckAgreement(const FrameTimeline& timeline, const std::vector<TimingTag>& tags, Findings* findings)
{
    for (const TimingTag& tag : tags) {
        if (tag.chosen || tag.milliseconds <= 0) continue;
        const double plays = timeline.effectiveFrameTime;
        if (std::abs(tag.milliseconds - plays) <= kSameShare * plays) continue;
        findings->push_back(
            {Grade::warning, TagWords(tag.tag),
             tag.name + " asks for " + Ms(tag.milliseconds) + " a frame, the clip plays with " + Ms(plays)});
    }
}
}  // namespace

void CheckTiming(OpenedFile* opened, Findings* findings)
{
    const FrameTimeline& timeline = opened->timeline;
    if (timeline.frameCount <= 1) return;
    DicomDataSet* const dataSet = opened->source.dataSet;
    const std::vector<TimingTag> tags = ListTimingTags(dataSet);
    const auto chosen = std::find_if(tags.begin(), tags.end(), [](const TimingTag& t) { return t.chosen; });
    double told = 0;
    const bool found = FindFrameTime(dataSet, &told);
    const std::string plays = ": the clip plays with " + Ms(timeline.effectiveFrameTime) + " a frame";
    if (chosen == tags.end()) {
        findings->push_back({Grade::warning, "timing", "the file tells no frame time" + plays});
    } else if (!found) {
        findings->push_back({Grade::warning, TagWords(chosen->tag), chosen->name + " holds no time" + plays});
    } else if (std::abs(told - timeline.effectiveFrameTime) > 1e-9) {
        findings->push_back(
            {Grade::warning, TagWords(chosen->tag),
             Ms(told) + " is not between " + Ms(kMinFrameTime) + " and " + Ms(kMaxFrameTime) + plays});
    }
    if (chosen != tags.end() && chosen->tag == kTagFirstAsked)
        findings->push_back(
            {Grade::warning, TagWords(kTagFirstAsked), "Slice Vector is taken for a frame time"});
    const auto pointer = std::find_if(tags.begin(), tags.end(),
                                      [](const TimingTag& t) { return t.tag == kTagFrameIncrementPointer; });
    const bool followed = std::any_of(tags.begin(), tags.end(), [](const TimingTag& t) { return t.pointed; });
    if (pointer != tags.end() && !followed)
        findings->push_back({Grade::warning, TagWords(kTagFrameIncrementPointer),
                             "names " + pointer->value + ", which is not there"});
    CheckVector(dataSet, timeline.frameCount, findings);
    CheckAgreement(timeline, tags, findings);
}
}  // namespace talv
