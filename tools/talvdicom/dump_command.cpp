#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
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
constexpr size_t kLeastCharacters = 16;  // of a value, however narrow the terminal
constexpr size_t kCutMark = 3;           // what CutText adds
constexpr int kNameWidth = 32;
constexpr int kMaxIndent = 40;

/// How lines are laid out.
struct DumpLayout
{
    bool full = false;  ///< values are not cut
    size_t width = 0;   ///< of the terminal; 0: none
};

/// Characters of a value that fit on the terminal behind a line's first `used` characters.
size_t RoomForValue(const DumpLayout& layout, size_t used)
{
    return layout.width > used + kLeastCharacters + kCutMark ? layout.width - used - kCutMark
                                                             : kLeastCharacters;
}

std::string CutValue(std::string value, const DicomElement& element, const DumpLayout& layout, size_t used)
{
    if (layout.full) return value;
    if (layout.width > 0) return CutText(std::move(value), RoomForValue(layout, used));
    return IsBinary(element) ? value : CutText(std::move(value), kShownCharacters);
}

void PrintElement(DicomDataSet* dataSet, DicomElement* element, int depth, const std::string& path,
                  const DumpLayout& layout)
{
    const TextStyle& style = OutputStyle();
    const size_t indent = static_cast<size_t>(std::min(depth * 2, kMaxIndent));
    const std::string vr = VrText(*element);
    const std::string name = ElementName(*element);
    char length[16] = "-";
    if (element->length != kUndefinedLength)
        std::snprintf(length, sizeof length, "%" PRIu32, element->length);
    Print("%*s%s%s%s%s %-2s %8s  %s%s%s", static_cast<int>(indent), "", path.c_str(), style.tag,
          TagWords(element->tag).c_str(), style.plain, vr.c_str(), length, style.name, name.c_str(),
          style.plain);

    std::string value;
    if (element->length != kUndefinedLength) value = ValueText(dataSet, element, layout.full);
    if (!value.empty()) {
        const size_t padding = name.size() < kNameWidth ? kNameWidth - name.size() : 0;
        const size_t used = indent + path.size() + sizeof "(0000,0000) " + std::max<size_t>(vr.size(), 2) +
                            std::max<size_t>(std::char_traits<char>::length(length), 8) + name.size() +
                            padding + 4;
        value = CutValue(std::move(value), *element, layout, used);
        Print("%*s  %s", static_cast<int>(padding), "", value.c_str());
    }
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
    for (DicomElement* element : found) {
        if (options.json || OutputEnded()) break;
        PrintTree(dataSet, element, PathWords(*element), layout);
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
