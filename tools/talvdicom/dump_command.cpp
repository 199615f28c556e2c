#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "image/get_image.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/input_file.h"
#include "tools/talvdicom/json_dump.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr size_t kShownCharacters = 64;  // of a value, where there is no terminal whose width says more
constexpr size_t kLeastCharacters = 6;   // of a value and of a name, however narrow the terminal
constexpr size_t kNarrowWidth = 72;      // terminals below have no columns for lengths and names
constexpr size_t kNameWidth = 32, kGap = 2;
constexpr std::string_view kCutMark = "...";  // what CutText adds

/// How lines are laid out.
struct DumpLayout
{
    bool full = false;  ///< nothing is cut
    size_t width = 0;   ///< of the terminal; 0: none
    bool Narrow() const { return width > 0 && width < kNarrowWidth; }
    size_t Indent(int depth) const
    {
        return static_cast<size_t>(Narrow() ? std::min(depth, 8) : std::min(2 * depth, 40));
    }
};

size_t Subtract(size_t whole, size_t part)
{
    return whole > part ? whole - part : 0;
}

/// `text` when it has no more than `room` characters, else its beginning and the mark of a cut in that room;
/// bytes in hexadecimal are cut between two of them.
std::string FitText(const std::string& text, size_t room, bool bytes = false)
{
    if (CutText(text, room) == text) return text;
    const size_t left = Subtract(room, kCutMark.size());
    return CutText(text, bytes ? left / 3 * 3 : left);
}

void PrintElement(DicomDataSet* dataSet, DicomElement* element, int depth, const std::string& path,
                  const DumpLayout& layout)
{
    const TextStyle& style = OutputStyle();
    const std::string indent(layout.Indent(depth), ' ');
    const std::string tag = TagWords(element->tag), vr = VrText(*element);
    char details[40];
    char length[16] = "-";
    if (element->length != kUndefinedLength)
        std::snprintf(length, sizeof length, "%" PRIu32, element->length);
    std::snprintf(details, sizeof details, layout.Narrow() ? " %-2s " : " %-2s %8s  ", vr.c_str(), length);

    std::string name = ElementName(*element), value;
    if (element->length != kUndefinedLength) value = ValueText(dataSet, element, layout.full);
    const bool binary = IsBinary(*element);
    size_t nameWidth = layout.Narrow() ? 0 : kNameWidth;
    if (layout.width > 0 && !layout.full) {
        const size_t used = indent.size() + path.size() + tag.size() + std::strlen(details);
        const size_t kept = value.empty() ? 0 : kGap + kLeastCharacters;
        const size_t nameRoom = std::max(Subtract(layout.width, used + kept), kLeastCharacters);
        name = FitText(name, nameRoom);
        nameWidth = std::max(name.size(), std::min(nameWidth, nameRoom));
        value = FitText(value, std::max(Subtract(layout.width, used + nameWidth + kGap), kLeastCharacters),
                        binary);
    } else if (!layout.full && !binary) {
        value = CutText(std::move(value), kShownCharacters);
    }
    Print("%s%s%s%s%s%s%s%s%s", indent.c_str(), path.c_str(), style.tag, tag.c_str(), style.plain, details,
          style.name, name.c_str(), style.plain);
    if (!value.empty())
        Print("%*s%s", static_cast<int>(Subtract(nameWidth, name.size()) + kGap), "", value.c_str());
    Print("\n");
}

void PrintEncoding(const DicomDataSet& dataSet)
{
    Print("# %s, %s VR, %s endian\n",
          (dataSet.mode & kModePreamble) != 0 ? "file with preamble" : "bare data set",
          (dataSet.mode & kModeExplicitVr) != 0 ? "explicit" : "implicit",
          (dataSet.mode & kModeBigEndian) != 0 ? "big" : "little");
}

/// What --find looks for: a tag, or a part of a name without its case, blanks and marks.
class ElementPattern
{
  public:
    explicit ElementPattern(const std::string& text) : letters_(Letters(text))
    {
        std::string digits;
        for (const char c : text)
            if (std::isxdigit(static_cast<unsigned char>(c)) != 0) digits += c;
        const bool isTag =
            digits.size() == 8 && text.find_first_not_of("0123456789abcdefABCDEF(), ") == std::string::npos;
        if (isTag) tag_ = static_cast<uint32_t>(std::stoul(digits, nullptr, 16));
        hasTag_ = isTag;
    }
    bool Matches(const DicomElement& element) const
    {
        if (hasTag_) return element.tag == tag_;
        return !letters_.empty() && element.tag != kTagItem &&
               Letters(ElementName(element)).find(letters_) != std::string::npos;
    }

  private:
    static std::string Letters(const std::string& text)
    {
        std::string letters;
        for (const char c : text)
            if (std::isalnum(static_cast<unsigned char>(c)) != 0)
                letters += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return letters;
    }
    std::string letters_;
    bool hasTag_ = false;
    uint32_t tag_ = 0;
};

/// Prints `element` with all below it, or the whole tree for null.
void PrintTree(DicomDataSet* dataSet, DicomElement* top, const std::string& path, const DumpLayout& layout)
{
    int depth = 0;
    const DicomElement* previous = nullptr;
    for (DicomElement* element = top != nullptr ? top : dataSet->GetFirstElement(nullptr, false, true);
         element != nullptr && !OutputEnded() && !Interrupted();
         element = dataSet->GetNextElement(element, false, true)) {
        // In pre-order the next element lies one level below the previous one, beside it, or beside one of
        // its parents.
        if (previous != nullptr && element->parent == previous)
            ++depth;
        else
            for (; previous != nullptr && previous->parent != element->parent; previous = previous->parent)
                --depth;
        if (top != nullptr && element != top && depth <= 0) return;
        PrintElement(dataSet, element, depth, element == top ? path : "", layout);
        previous = element;
    }
}

int PrintFound(DicomDataSet* dataSet, const std::string& file, const DumpOptions& options,
               const DumpLayout& layout)
{
    const ElementPattern pattern(options.find);
    std::vector<DicomElement*> found;
    for (DicomElement* element = dataSet->GetFirstElement(nullptr, false, true); element != nullptr;
         element = dataSet->GetNextElement(element, false, true))
        if (pattern.Matches(*element)) found.push_back(element);
    if (options.json) WriteOutput(ElementsAsJson(dataSet, file, found) + "\n");
    if (found.empty()) return Complain(file, "no element is named or numbered " + options.find);
    ItemNumbers numbers;
    for (DicomElement* element : found) {
        if (options.json || OutputEnded()) break;
        PrintTree(dataSet, element, PathWords(*element, &numbers), layout);
    }
    return kDone;
}
}  // namespace

int RunDump(const std::string& file, const DumpOptions& options)
{
    InputFile input;
    std::string refusal;
    if (!input.Prepare(file, &refusal)) return Complain(file, refusal);
    const auto dataSet = std::make_unique<DicomDataSet>(StandardTables());
    const DicomStatus status = LoadFile(dataSet.get(), input.Name().c_str(), 0);
    if (status != kDicomOk) return Complain(file, LoadRefusal(input.Name().c_str(), status));
    input.RemoveCopy();
    if (dataSet->tree.first == nullptr) return Complain(file, "there are no data elements in it");
    const DumpLayout layout = {options.fullValues, static_cast<size_t>(OutputWidth())};
    if (!options.find.empty()) return PrintFound(dataSet.get(), file, options, layout);
    if (options.json) {
        WriteOutput(DataSetAsJson(dataSet.get(), file) + "\n");
        return kDone;
    }
    PrintEncoding(*dataSet);
    PrintTree(dataSet.get(), nullptr, "", layout);
    return kDone;
}
}  // namespace talv
