#include "tools/talvdicom/element_text.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "dicom/dictionary.h"
#include "tools/talvdicom/printable.h"

namespace talv {
namespace {
constexpr uint32_t kWholeValueLimit = 4096;  // longer values are shown by their first bytes and never loaded
constexpr size_t kHeadBytes = 32;
constexpr uint32_t kTagSpecificCharacterSet = 0x00080005;

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
}  // namespace

std::string TagWords(uint32_t tag)
{
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", TagGroup(tag), TagElement(tag));
    return text;
}

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

bool IsBinary(const DicomElement& element)
{
    return element.tag == kTagItem || element.vr == 0 || element.vr == kVrUnknownYet ||
           element.vr == MakeVr('O', 'B') || element.vr == MakeVr('O', 'W') ||
           element.vr == MakeVr('U', 'N') || element.vr == MakeVr('O', 'F');
}

std::string ValueText(DicomDataSet* dataSet, DicomElement* element, bool full)
{
    const bool binary = IsBinary(*element);
    if (element->length > kWholeValueLimit && (binary || !full))
        return HeadText(dataSet, *element, full ? kWholeValueLimit : kHeadBytes);
    if (binary) return HeadText(dataSet, *element, full ? kWholeValueLimit : kHeadBytes);

    const size_t size = dataSet->FormatValueText(element, nullptr);
    if (size == 0) return dataSet->GetValueCount(element) == 0 && element->length > 0 ? "(unreadable)" : "";
    std::vector<char> buffer(size + 1);
    dataSet->FormatValueText(element, buffer.data());
    std::string text = PrintableText(TextInUtf8(dataSet, buffer.data()));
    if (element->vr == MakeVr('U', 'I'))
        if (const char* name = FindUidName(buffer.data()); name != nullptr) text += std::string(" ") + name;
    dataSet->ReleaseValues(element);
    return text;
}

std::string TextInUtf8(DicomDataSet* dataSet, const std::string& text)
{
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::all_of(text.begin(), text.end(), isAscii)) return text;
    char characterSet[16] = {};
    dataSet->GetTagValue(nullptr, kTagSpecificCharacterSet, characterSet, 0, sizeof characterSet - 1, 0);
    if (std::string_view(characterSet) != "ISO_IR 100") return text;
    std::string utf8;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isAscii(c)) {
            utf8 += c;
            continue;
        }
        utf8 += static_cast<char>(0xC0 | byte >> 6);
        utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
    return utf8;
}

int ItemNumbers::Of(const DicomElement& item)
{
    Known& known = ofParent_[item.parent];
    int steps = 1;
    const DicomElement* before = &item;
    for (; before != nullptr && before != known.item; before = before->prevSibling) ++steps;
    // Behind the item that was asked for last the way is short, else it begins at the first one.
    known = {&item, before != nullptr ? known.number + steps - 1 : steps - 1};
    return known.number;
}

std::string PathWords(const DicomElement& element, ItemNumbers* numbers)
{
    ItemNumbers own;
    if (numbers == nullptr) numbers = &own;
    std::string path, number;
    for (const DicomElement* around = element.parent; around != nullptr; around = around->parent) {
        if (around->tag != kTagItem) {
            path.insert(0, TagWords(around->tag) + number + ".");
            number.clear();
            continue;
        }
        number = "[" + std::to_string(numbers->Of(*around)) + "]";
    }
    return path;
}

std::string PlaceWords(const DicomElement& element)
{
    const DicomElement* const around = element.parent;
    if (element.tag != kTagItem || around == nullptr) return PathWords(element) + TagWords(element.tag);
    const std::string place = PathWords(*around) + TagWords(around->tag);
    const int number = ItemNumbers().Of(element);
    if (around->vr == MakeVr('S', 'Q')) return place + "[" + std::to_string(number) + "]";
    return number > 1 ? place + " fragment " + std::to_string(number - 1) : place + " offset table";
}
}  // namespace talv
