// A file as a data set: loaded with several flag sets, walked, every value read in every form, copied and
// taken apart. What must hold is checked here and aborts when it does not.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dicom/reader.h"

namespace {
using namespace talv;

void Require(bool holds, int line = __builtin_LINE())
{
    if (holds) return;
    std::fprintf(stderr, "load_fuzz.cpp:%d does not hold\n", line);
    std::abort();
}

bool IsContainer(const DicomElement* element)
{
    return element->length == kUndefinedLength;
}

/// Links agree in both directions, only containers have children, and every level is in ascending order
/// without doubles, items apart. Returns the number of elements.
size_t CheckTree(const DicomDataSet& dataSet)
{
    size_t count = 0;
    for (const DicomElement* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) {
        ++count;
        const DicomElement* const last =
            node->parent != nullptr ? node->parent->lastChild : dataSet.tree.last;
        Require(node->nextSibling != nullptr ? node->nextSibling->prevSibling == node : node == last);
        Require(node->firstChild == nullptr || (IsContainer(node) && node->firstChild->parent == node));
        const DicomElement* before = node->prevSibling;
        while (before != nullptr && before->tag == kTagItem) before = before->prevSibling;
        if (node->tag != kTagItem && node->prevSibling == before && before != nullptr)
            Require(before->tag < node->tag);
    }
    return count;
}

void CheckWalks(DicomDataSet* dataSet, size_t count)
{
    size_t visible = 0, steps = 0;
    DicomElement* last = nullptr;
    for (auto* node = dataSet->GetFirstElement(nullptr, false, true); node != nullptr;
         node = dataSet->GetNextElement(node, false, true)) {
        ++steps;
        visible += !IsHiddenElement(node);
        last = node;
    }
    Require(steps == count);
    for (auto* node = last; node != nullptr; node = dataSet->GetPrevElement(node, false, true)) --steps;
    Require(steps == 0);
    for (auto* node = dataSet->GetFirstElement(nullptr, false, false); node != nullptr;
         node = dataSet->GetNextElement(node, false, false))
        --visible;
    Require(visible == 0);
}

/// Only the getter of the element's class gives values, and none beyond the last.
void CheckGetters(DicomDataSet* dataSet, DicomElement* element)
{
    const int32_t count = dataSet->GetValueCount(element);
    Require(count >= 0 && (count == 0 || !IsContainer(element)));
    constexpr uint32_t all = 0xFFFFFFFF;
    const void* const arrays[] = {dataSet->GetBytes(element, 0, all),    dataSet->GetWords(element, 0, all),
                                  dataSet->GetLongs(element, 0, all),    dataSet->GetFloats(element, 0, all),
                                  dataSet->GetDoubles(element, 0, all),  dataSet->GetAges(element, 0, all),
                                  dataSet->GetDates(element, 0, all),    dataSet->GetTimes(element, 0, all),
                                  dataSet->GetDateTimes(element, 0, all)};
    char** const strings = dataSet->GetStrings(element, 0, all);
    int given = strings != nullptr;
    for (const void* array : arrays) given += array != nullptr;
    Require(given <= 1);
    for (int32_t i = 0; strings != nullptr && i < count; ++i)
        Require(std::strlen(strings[i]) <= element->length);
    Require(dataSet->GetBytes(element, static_cast<uint32_t>(count), 1) == nullptr);

    int32_t integer = 0;
    int64_t wide = 0;
    double real = 0;
    const uint32_t end = static_cast<uint32_t>(count);
    Require(!dataSet->GetInteger(element, end, &integer) && !dataSet->GetReal(element, end, &real));
    if (dataSet->GetIntegerString64(element, 0, &wide) && dataSet->GetInteger(element, 0, &integer))
        Require(integer == (wide > INT32_MAX ? INT32_MAX : wide < INT32_MIN ? INT32_MIN : wide));
    if (dataSet->GetReal(element, 0, &real)) Require(real == real);

    char text[16];
    std::memset(text, 'x', sizeof text);
    if (dataSet->GetTagValue(element, element->tag, text, 0, 8, 0))
        Require(std::memchr(text, '\0', 8) != nullptr);
    uint16_t words[8];
    std::memset(words, 0xA5, sizeof words);
    dataSet->GetTagValue(element, element->tag, words, 1, 4, 1);
    Require(text[8] == 'x' && words[4] == 0xA5A5);
}

/// Display text of the element; the pass that counts and the one that writes must agree.
std::string TextOf(DicomDataSet* dataSet, DicomElement* element)
{
    const size_t size = dataSet->FormatValueText(element, nullptr);
    std::string text(size + 8, '~');
    Require(dataSet->FormatValueText(element, text.data()) == size);
    Require(text.compare(size, 8, "~~~~~~~~") == 0);
    Require(size == 0 || text[size - 1] == '\0');
    text.resize(size);
    return text;
}

/// Everything the data set tells, as text: what two runs, a copy and a rewritten value must share.
std::string Describe(DicomDataSet* dataSet)
{
    std::string all;
    for (auto* node = dataSet->tree.first; node != nullptr; node = NextInPreOrder(node)) {
        const uint32_t numbers[] = {node->tag, node->vr, node->length, node->streamOffset,
                                    static_cast<uint32_t>(node->parent != nullptr)};
        all.append(reinterpret_cast<const char*>(numbers), sizeof numbers);
        all += TextOf(dataSet, node);
        dataSet->ReleaseValues(node);
    }
    return all;
}

bool HoldsEveryValue(const DicomDataSet& dataSet)
{
    for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) {
        if (IsContainer(node) || node->valueLength == 0) continue;
        const uint64_t size = node->valueStream != nullptr ? node->valueStream->Size() : 0;
        if (node->valuePosition > size || node->valueLength > size - node->valuePosition) return false;
    }
    return true;
}

void CheckCopy(DicomDataSet* source, const std::string& description)
{
    DicomDataSet copy;
    const DicomStatus status = copy.CopyDataSet(source);
    Require(status == (HoldsEveryValue(*source) ? kDicomOk : kDicomShortRead));
    if (status != kDicomOk) {
        Require(copy.tree.first == nullptr && copy.ownStream.Size() == 0);
        return;
    }
    Require(Describe(&copy) == description);

    // A value stored again as it was read stays what it was.
    for (auto* node = copy.tree.first; node != nullptr; node = NextInPreOrder(node)) {
        if (IsContainer(node) || node->valueLength == 0 || (node->valueLength & 1) != 0) continue;
        std::vector<uint8_t> raw(node->valueLength);
        Require(copy.ReadValueBytes(node, 0, raw.data(), raw.size()) == raw.size());
        Require(copy.SetRawValue(node, raw.data(), node->valueLength));
    }
    Require(Describe(&copy) == description);

    // Taken apart from both ends, it stays a tree.
    size_t left = CheckTree(copy);
    while (copy.tree.first != nullptr) {
        DicomElement* const victim = (left & 1) != 0 ? copy.tree.first : copy.tree.last;
        copy.DeleteElement(victim->firstChild != nullptr && (left & 2) != 0 ? victim->firstChild : victim);
        const size_t now = left < 64 ? CheckTree(copy) : left - 1;
        Require(now < left);
        left = now;
    }
}

/// Loads the bytes, checks what must hold and returns the description of the tree.
std::string LoadAndCheck(const uint8_t* data, size_t size, uint16_t flags, bool requireImage)
{
    DicomStream stream;
    DicomDataSet dataSet;
    Require(stream.OpenMemory(data, size));
    const DicomStatus status = LoadDataSet(&dataSet, &stream, flags, requireImage);
    Require((dataSet.mode & kModeCallerMark) == (flags & kModeCallerMark));
    if (status != kDicomOk) {
        Require(status == kDicomNotDicom || (status == kDicomShortRead && (flags & kModePreamble) != 0));
        Require(dataSet.tree.first == nullptr && dataSet.warningCount == 0 && dataSet.records.empty());
        Require(dataSet.ownStream.Size() == 0);
        return std::string(1, static_cast<char>(status));
    }
    const size_t count = CheckTree(dataSet);
    Require((flags & kModeRecordElements) == 0 || dataSet.records.size() >= count);
    CheckWalks(&dataSet, count);
    for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) {
        CheckGetters(&dataSet, node);
        dataSet.ReleaseValues(node);
    }
    std::string description = Describe(&dataSet);
    CheckCopy(&dataSet, description);
    return description;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string description = LoadAndCheck(data, size, 0, false);
    Require(LoadAndCheck(data, size, kModeCallerMark, false) == description);

    static constexpr uint16_t kFlagSets[] = {kModePreamble,
                                             kModeBare | kImplicitLittle,
                                             kModeBare | kExplicitLittle,
                                             kModeBare | kExplicitBig,
                                             kModeLittleEndian,
                                             kModeExplicitVr};
    uint32_t choice = static_cast<uint32_t>(size);
    for (size_t i = 0; i < size; i += 1 + size / 64) choice = choice * 31 + data[i];
    LoadAndCheck(data, size, kFlagSets[choice % std::size(kFlagSets)], (choice & 0x100) != 0);

    const uint16_t copied = kModeValuesCopied | kModeRecordElements;
    Require(LoadAndCheck(data, size, copied, true) == LoadAndCheck(data, size, copied, true));
    return 0;
}
