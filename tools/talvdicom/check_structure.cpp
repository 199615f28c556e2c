#include <algorithm>
#include <cstring>

#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/findings.h"

namespace talv {
namespace {
constexpr size_t kListed = 5;  // places that one finding names
constexpr uint32_t kTagSopClass = 0x00080016, kTagMediaSopClass = 0x00020002;

/// One kind of oddity that many elements may share.
struct Group
{
    Grade grade;
    std::string what;
    size_t count = 0;
    std::string where{};

    void Add(const DicomElement& element, const std::string& more = {})
    {
        if (++count <= kListed) where += (count > 1 ? ", " : "") + PlaceWords(element) + more;
    }
    void Report(Findings* findings) const
    {
        if (count == 0) return;
        const std::string rest = count > kListed ? " and " + std::to_string(count - kListed) + " more" : "";
        findings->push_back({grade, where + rest, what});
    }
};

void CheckPreamble(const DicomDataSet& dataSet, Findings* findings)
{
    if ((dataSet.mode & kModePreamble) == 0) {
        findings->push_back(
            {Grade::note, "file", "no preamble: a bare data set, told by its elements alone"});
        return;
    }
    // A preamble may make the file a TIFF picture as well (PS3.10 7.1); a program is another matter.
    // clang-format off
    static constexpr struct
    {
        std::string_view start;
        Grade grade;
        const char* name;
    } kStarts[] = {
        {"MZ",             Grade::warning, "a Windows program"},
        {"\177ELF",        Grade::warning, "a program"},
        {"#!",             Grade::warning, "a script"},
        {"%PDF",           Grade::warning, "a PDF document"},
        {"PK\3\4",         Grade::warning, "a ZIP archive"},
        {{"II*\0", 4},     Grade::note,    "a TIFF picture"},
        {{"MM\0*", 4},     Grade::note,    "a TIFF picture"},
    };
    // clang-format on
    const std::string_view preamble(reinterpret_cast<const char*>(dataSet.preamble), sizeof dataSet.preamble);
    for (const auto& row : kStarts)
        if (preamble.starts_with(row.start))
            findings->push_back({row.grade, "preamble",
                                 std::string("begins like ") + row.name + "; the file may be taken for one"});
}

void CheckEncoding(DicomDataSet* dataSet, Findings* findings)
{
    const std::string uid = TagText(dataSet, kTagTransferSyntaxUid);
    if (uid.empty()) {
        if ((dataSet->mode & kModePreamble) != 0)
            findings->push_back({Grade::warning, TagWords(kTagTransferSyntaxUid),
                                 "no transfer syntax; the encoding was found by trying"});
        return;
    }
    const UidEntry* const entry = FindUidEntry(uid.c_str());
    const bool isSyntax = entry != nullptr && (entry->type == kUidNativeTransferSyntax ||
                                               entry->type == kUidEncapsulatedTransferSyntax);
    if (!isSyntax && GetTransferSyntaxClass(dataSet) == kCompressionNone)
        findings->push_back({Grade::warning, TagWords(kTagTransferSyntaxUid),
                             "\"" + uid + "\" is no transfer syntax that is known; read as uncompressed"});
    TransferSyntax syntax;
    ClassifyTransferSyntax(dataSet, nullptr, &syntax);
    if (((syntax.encoding ^ dataSet->mode) & kModeEncodingMask) != 0)
        findings->push_back({Grade::warning, TagWords(kTagTransferSyntaxUid),
                             "the data set is not encoded as its transfer syntax says"});
}

bool IsText(uint16_t vr)
{
    const VrEntry* const entry = FindVrEntry(vr);
    return entry != nullptr && (entry->flags & (kVrSplitText | kVrFreeText)) != 0;
}

/// True when an element with this VR in the dictionary may be written with the other one.
bool MayStandFor(uint16_t known, uint16_t written)
{
    const auto isWord = [](uint16_t vr) {
        return vr == MakeVr('U', 'S') || vr == MakeVr('S', 'S') || vr == MakeVr('O', 'W') ||
               vr == MakeVr('O', 'B');
    };
    return known == written || (isWord(known) && isWord(written));
}

/// VRs against the dictionary, lengths, and whether the bytes are there.
class ElementWalk
{
  public:
    void Visit(DicomDataSet* dataSet, const DicomElement& element)
    {
        const bool isItem = element.tag == kTagItem;
        if (!isItem && element.storedVr != 0) CheckVr(element);
        if (element.length == kUndefinedLength) return;
        // A value of odd length that could be read was stored again, padded.
        if (element.valueStream == &dataSet->ownStream || (element.length & 1) != 0) odd_.Add(element);
        if (element.valueStream != &dataSet->fileStream) return;
        const uint64_t end = element.valuePosition + element.length, size = dataSet->fileStream.Size();
        if (end > size)
            cut_.Add(element,
                     ", " + std::to_string(end - size) + " of " + std::to_string(element.length) + " bytes");
        lastEnd_ = std::max(lastEnd_, std::min(end, size));
        if (!isItem && element.prevSibling != nullptr &&
            element.prevSibling->valueStream == element.valueStream &&
            element.prevSibling->length != kUndefinedLength &&
            element.prevSibling->valuePosition > element.valuePosition)
            unordered_.Add(element);
    }

    void Report(DicomDataSet* dataSet, Findings* findings) const
    {
        for (const Group& group : {cut_, unknownVr_, wrongVr_, odd_, unordered_, unnamed_})
            group.Report(findings);
        ReportTail(dataSet, findings);
    }

  private:
    void CheckVr(const DicomElement& element)
    {
        if (FindVrEntry(element.storedVr) == nullptr) return unknownVr_.Add(element);
        const ElementEntry* const entry = FindElementEntry(element.tag);
        const bool isPrivate = (TagGroup(element.tag) & 1) != 0;
        if (entry == nullptr || isPrivate || TagElement(element.tag) == 0) return;
        if (element.storedVr == MakeVr('U', 'N')) return unnamed_.Add(element);
        if (MayStandFor(entry->vr, element.storedVr)) return;
        const bool bothText = IsText(entry->vr) && IsText(element.storedVr);
        if (bothText && entry->vr != MakeVr('D', 'S') && entry->vr != MakeVr('I', 'S')) return;
        char known[3], written[3];
        talv::VrText(entry->vr, known);
        talv::VrText(element.storedVr, written);
        wrongVr_.Add(element, std::string(" ") + written + " for " + known);
    }

    /// Delimiters that close what was open may follow the last value; what comes after them is no element.
    void ReportTail(DicomDataSet* dataSet, Findings* findings) const
    {
        const uint64_t size = dataSet->fileStream.Size();
        uint64_t end = lastEnd_;
        for (uint8_t bytes[8]; end + sizeof bytes <= size; end += sizeof bytes) {
            if (dataSet->fileStream.ReadAt(end, bytes, sizeof bytes) != sizeof bytes) break;
            const bool big = (dataSet->mode & kModeBigEndian) != 0;
            const bool delimiter = big ? bytes[0] == 0xFF && bytes[1] == 0xFE && bytes[2] == 0xE0
                                       : bytes[0] == 0xFE && bytes[1] == 0xFF && bytes[3] == 0xE0;
            if (std::memcmp(bytes, big ? "\xff\xfc\xff\xfc" : "\xfc\xff\xfc\xff", 4) == 0) return;  // padding
            if (!delimiter) break;
        }
        if (lastEnd_ > 0 && end < size)
            findings->push_back(
                {Grade::note, "byte " + std::to_string(end),
                 std::to_string(size - end) + " bytes behind the last element are no element"});
    }

    Group cut_{Grade::error, "the file ends before the value does"};
    Group unknownVr_{Grade::warning, "a VR that does not exist"};
    Group wrongVr_{Grade::warning, "another VR than the dictionary has"};
    Group odd_{Grade::warning, "odd length"};
    Group unordered_{Grade::note, "tags do not ascend in the file"};
    Group unnamed_{Grade::note, "VR UN for an element that the dictionary knows"};
    uint64_t lastEnd_ = 0;
};
}  // namespace

void CheckStructure(DicomDataSet* dataSet, Findings* findings)
{
    CheckPreamble(*dataSet, findings);
    CheckEncoding(dataSet, findings);
    ElementWalk walk;
    for (DicomElement* element = dataSet->GetFirstElement(nullptr, false, true); element != nullptr;
         element = dataSet->GetNextElement(element, false, true))
        walk.Visit(dataSet, *element);
    walk.Report(dataSet, findings);

    const std::string sopClass = TagText(dataSet, kTagSopClass);
    const std::string mediaClass = TagText(dataSet, kTagMediaSopClass);
    if (sopClass.empty())
        findings->push_back({Grade::note, TagWords(kTagSopClass), "no SOP Class UID"});
    else if (!mediaClass.empty() && mediaClass != sopClass)
        findings->push_back({Grade::warning, TagWords(kTagMediaSopClass),
                             "another class than the data set's own SOP Class UID"});
}
}  // namespace talv
