#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <vector>

#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "image/get_image.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr size_t kShownCharacters = 64;  // of a value, where there is no terminal whose width says more
constexpr size_t kLeastCharacters = 16;  // of a value, however narrow the terminal
constexpr size_t kCutMark = 3;           // what CutText adds
constexpr int kNameWidth = 32;
constexpr uint32_t kWholeValueLimit = 4096;  // longer values are shown by their first bytes and never loaded
constexpr size_t kHeadBytes = 32;
constexpr int kMaxIndent = 40;

/// How lines are laid out.
struct DumpStyle
{
    bool full = false;    ///< values are not cut
    bool colour = false;  ///< with terminal colours
    size_t width = 0;     ///< of the terminal; 0: none

    const char* Tag() const { return colour ? "\x1b[36m" : ""; }
    const char* Name() const { return colour ? "\x1b[1m" : ""; }
    const char* Plain() const { return colour ? "\x1b[0m" : ""; }
};

std::string ElementName(const DicomElement& element)
{
    if (element.tag == kTagItem)
        return element.length == kUndefinedLength ? "Item"
               : element.prevSibling == nullptr   ? "Offset Table"
                                                  : "Fragment";
    const bool isPrivate = (TagGroup(element.tag) & 1) != 0;
    const uint16_t number = TagElement(element.tag);
    if (number == 0) return "Group Length";
    if (isPrivate && number >= 0x10 && number <= 0xFF) return "Private Creator";
    if (const ElementEntry* entry = FindElementEntry(element.tag); entry != nullptr) return entry->name;
    return isPrivate ? "Private Element" : "Unknown Element";
}

std::string VrText(const DicomElement& element)
{
    if (element.tag == kTagItem) return "  ";
    const auto letters = [](uint16_t vr) {
        return PrintableText(std::string{static_cast<char>(vr >> 8), static_cast<char>(vr)});
    };
    std::string text = element.vr == 0 || element.vr == kVrUnknownYet ? "??" : letters(element.vr);
    if (element.storedVr != 0 && element.storedVr != element.vr)
        text += " (" + letters(element.storedVr) + ")";
    return text;
}

/// The first bytes of a value, in the order of the file.
std::string HeadText(DicomDataSet* dataSet, const DicomElement& element, size_t bytes)
{
    std::vector<uint8_t> head(std::min<size_t>(bytes, element.length));
    head.resize(dataSet->ReadValueBytes(&element, 0, head.data(), head.size()));
    if (head.empty()) return element.length == 0 ? "" : "(bytes missing)";
    std::string text;
    for (const uint8_t byte : head) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", byte);
        text += digits;
    }
    text.pop_back();
    return head.size() < element.length ? text + " ..." : text;
}

/// Values longer than the limit are shown by their head in every case but --full text.
std::string ValueText(DicomDataSet* dataSet, DicomElement* element, const DumpStyle& style)
{
    const bool binary = element->tag == kTagItem || element->vr == 0 || element->vr == MakeVr('O', 'B') ||
                        element->vr == MakeVr('O', 'W') || element->vr == MakeVr('U', 'N') ||
                        element->vr == MakeVr('O', 'F');
    if (element->length > kWholeValueLimit && (binary || !style.full))
        return HeadText(dataSet, *element, kHeadBytes);
    if (binary) return HeadText(dataSet, *element, style.full ? kWholeValueLimit : kHeadBytes);

    const size_t size = dataSet->FormatValueText(element, nullptr);
    if (size == 0) return dataSet->GetValueCount(element) == 0 && element->length > 0 ? "(unreadable)" : "";
    std::vector<char> buffer(size + 1);
    dataSet->FormatValueText(element, buffer.data());
    std::string text = PrintableText(buffer.data());
    if (element->vr == MakeVr('U', 'I'))
        if (const UidEntry* uid = FindUidEntry(buffer.data()); uid != nullptr)
            text += std::string(" ") + uid->name;
    dataSet->ReleaseValues(element);
    return style.full || style.width > 0 ? text : CutText(std::move(text), kShownCharacters);
}

/// Characters of a value that fit on the terminal behind a line's first `used` characters.
size_t RoomForValue(const DumpStyle& style, size_t used)
{
    return style.width > used + kLeastCharacters + kCutMark ? style.width - used - kCutMark
                                                            : kLeastCharacters;
}

void PrintElement(DicomDataSet* dataSet, DicomElement* element, int depth, const DumpStyle& style)
{
    const size_t indent = static_cast<size_t>(std::min(depth * 2, kMaxIndent));
    const std::string vr = VrText(*element);
    const std::string name = ElementName(*element);
    char length[16] = "-";
    if (element->length != kUndefinedLength)
        std::snprintf(length, sizeof length, "%" PRIu32, element->length);
    std::printf("%*s%s(%04X,%04X)%s %-2s %8s  %s%s%s", static_cast<int>(indent), "", style.Tag(),
                TagGroup(element->tag), TagElement(element->tag), style.Plain(), vr.c_str(), length,
                style.Name(), name.c_str(), style.Plain());

    std::string value;
    if (element->length != kUndefinedLength) value = ValueText(dataSet, element, style);
    if (!value.empty()) {
        const size_t padding = name.size() < kNameWidth ? kNameWidth - name.size() : 0;
        const size_t used = indent + sizeof "(0000,0000) " + std::max<size_t>(vr.size(), 2) +
                            std::max<size_t>(std::char_traits<char>::length(length), 8) + name.size() +
                            padding + 4;
        if (!style.full && style.width > 0) value = CutText(std::move(value), RoomForValue(style, used));
        std::printf("%*s  %s", static_cast<int>(padding), "", value.c_str());
    }
    std::printf("\n");
}

void PrintEncoding(const DicomDataSet& dataSet)
{
    std::printf("# %s, %s VR, %s endian",
                (dataSet.mode & kModePreamble) != 0 ? "file with preamble" : "bare data set",
                (dataSet.mode & kModeExplicitVr) != 0 ? "explicit" : "implicit",
                (dataSet.mode & kModeBigEndian) != 0 ? "big" : "little");
    if (dataSet.warningCount > 0) std::printf(", %" PRIu32 " warnings", dataSet.warningCount);
    std::printf("\n");
}
}  // namespace

int RunDump(const std::string& file, bool fullValues)
{
    const auto dataSet = std::make_unique<DicomDataSet>(StandardTables());
    const DicomStatus status = LoadFile(dataSet.get(), file.c_str(), 0);
    if (status != kDicomOk) return Complain(file, DicomStatusText(status));
    PrintEncoding(*dataSet);
    const DumpStyle style = {fullValues, OutputShowsColour(), static_cast<size_t>(OutputWidth())};

    int depth = 0;
    const DicomElement* previous = nullptr;
    for (DicomElement* element = dataSet->GetFirstElement(nullptr, false, true);
         element != nullptr && std::ferror(stdout) == 0;
         element = dataSet->GetNextElement(element, false, true)) {
        // In pre-order the next element lies one level below the previous one, beside it, or beside one of
        // its parents.
        if (previous != nullptr && element->parent == previous)
            ++depth;
        else
            for (; previous != nullptr && previous->parent != element->parent; previous = previous->parent)
                --depth;
        PrintElement(dataSet.get(), element, depth, style);
        previous = element;
    }
    return kDone;
}
}  // namespace talv
