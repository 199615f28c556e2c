#include "tools/talvdicom/timing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr size_t kShownCharacters = 40;

enum class Meaning
{
    other,
    frameTime,  ///< milliseconds a frame
    frameRate,  ///< frames a second
};

struct TimingRow
{
    uint32_t tag;
    Meaning meaning;
};

/// The first four are those that the component asks for, in that order.
constexpr TimingRow kRows[] = {
    {0x00540080, Meaning::other},      // Slice Vector, taken for a frame time
    {0x00280009, Meaning::other},      // Frame Increment Pointer
    {0x00181063, Meaning::frameTime},  // Frame Time
    {0x00181065, Meaning::frameTime},  // Frame Time Vector
    {0x00180040, Meaning::frameRate},  // Cine Rate
    {0x00082144, Meaning::frameRate},  // Recommended Display Frame Rate
    {0x00181242, Meaning::other},      // Actual Frame Duration
    {0x00189220, Meaning::other},      // Frame Acquisition Duration
    {0x00181066, Meaning::other},      // Frame Delay
    {0x00181067, Meaning::other},      // Image Trigger Delay
    {0x00180072, Meaning::other},      // Effective Duration
    {0x00082142, Meaning::other},      // Start Trim
    {0x00082143, Meaning::other},      // Stop Trim
    {0x00181244, Meaning::other},      // Preferred Playback Sequencing
};
constexpr uint32_t kTagFrameIncrementPointer = 0x00280009;

uint32_t PointedTag(DicomDataSet* dataSet)
{
    DicomElement* const pointer = dataSet->FindFirstElement(nullptr, kTagFrameIncrementPointer, false);
    const int32_t* const value = pointer != nullptr ? dataSet->GetLongs(pointer, 0, 1) : nullptr;
    if (value == nullptr) return 0;
    DicomTag tag;
    std::memcpy(&tag, value, sizeof tag);
    return MakeTag(tag.group, tag.element);
}

double Milliseconds(DicomDataSet* dataSet, DicomElement* element, Meaning meaning)
{
    double value = 0;
    if (meaning == Meaning::other || !dataSet->GetReal(element, 0, &value)) {
        int32_t integer = 0;
        if (meaning == Meaning::other || !dataSet->GetInteger(element, 0, &integer)) return 0;
        value = integer;
    }
    if (!std::isfinite(value) || value <= 0) return 0;
    return meaning == Meaning::frameRate ? 1000 / value : value;
}

/// The value in a few words: of many numbers their count and the first ones.
std::string ShortValue(DicomDataSet* dataSet, DicomElement* element)
{
    const int32_t count = dataSet->GetValueCount(element);
    std::string text = CutText(ValueText(dataSet, element, false), kShownCharacters);
    if (text.empty()) return "(empty)";
    return count > 1 ? std::to_string(count) + " values: " + text : text;
}

void AddTag(DicomDataSet* dataSet, uint32_t tag, Meaning meaning, const DicomElement* origin,
            std::vector<TimingTag>* tags)
{
    DicomElement* const element = dataSet->FindFirstElement(nullptr, tag, false);
    if (element == nullptr || element->length == kUndefinedLength) return;
    TimingTag entry;
    entry.tag = tag;
    entry.name = ElementName(*element);
    entry.value = ShortValue(dataSet, element);
    if (tag == kTagFrameIncrementPointer) entry.value = TagWords(PointedTag(dataSet));
    entry.chosen = element == origin;
    entry.pointed = tag == PointedTag(dataSet);
    entry.milliseconds = Milliseconds(dataSet, element, meaning);
    tags->push_back(std::move(entry));
}
}  // namespace

std::vector<TimingTag> ListTimingTags(DicomDataSet* dataSet)
{
    double ignored = 0;
    DicomElement* origin = nullptr;
    FindFrameTime(dataSet, &ignored, &origin);
    std::vector<TimingTag> tags;
    for (const TimingRow& row : kRows) AddTag(dataSet, row.tag, row.meaning, origin, &tags);
    // The pointer may name an element that has nothing to do with time.
    const uint32_t pointed = PointedTag(dataSet);
    const auto isPointed = [&](const TimingRow& row) { return row.tag == pointed; };
    if (pointed != 0 && std::none_of(std::begin(kRows), std::end(kRows), isPointed))
        AddTag(dataSet, pointed, Meaning::other, origin, &tags);
    return tags;
}

std::string TimingReason(DicomDataSet* dataSet, const FrameTimeline& timeline,
                         const std::vector<TimingTag>& tags)
{
    const auto chosen = std::find_if(tags.begin(), tags.end(), [](const TimingTag& t) { return t.chosen; });
    char clamped[96];
    std::snprintf(clamped, sizeof clamped, "the %s that the component takes",
                  timeline.effectiveFrameTime <= kMinFrameTime ? "shortest" : "longest");
    if (chosen == tags.end()) return std::string("the file tells no frame time, so it is ") + clamped;
    double told = 0;
    if (!FindFrameTime(dataSet, &told)) return chosen->name + " holds no time, so it is " + clamped;
    std::string reason = chosen->name + (chosen->pointed ? ", which Frame Increment Pointer names" : "");
    if (chosen->value.find(" values: ") != std::string::npos) reason = "the first value of " + reason;
    if (std::abs(told - timeline.effectiveFrameTime) > 1e-9) {
        char asked[64];
        std::snprintf(asked, sizeof asked, "%.6g ms", told);
        reason += " (it asks for " + std::string(asked) + "), but this is " + clamped;
    }
    return reason;
}
}  // namespace talv
