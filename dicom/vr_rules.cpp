#include "dicom/vr_rules.h"

#include <new>

#include "dicom/dictionary.h"
#include "dicom/element_header.h"
#include "dicom/level_index.h"
#include "dicom/value_class.h"

namespace talv {
namespace {
constexpr uint16_t kOB = MakeVr('O', 'B');
constexpr uint16_t kOW = MakeVr('O', 'W');
constexpr uint16_t kSQ = MakeVr('S', 'Q');
constexpr uint16_t kUL = MakeVr('U', 'L');
constexpr uint16_t kUN = MakeVr('U', 'N');
constexpr uint16_t kUS = MakeVr('U', 'S');

uint16_t CurveVr(uint16_t representation)
{
    constexpr uint16_t kByRepresentation[] = {kUS, MakeVr('S', 'S'), MakeVr('F', 'L'), MakeVr('F', 'D'),
                                              MakeVr('S', 'L')};
    return representation < 5 ? kByRepresentation[representation] : kUS;
}

bool IsWaveformValue(uint32_t tag)
{
    const uint16_t element = TagElement(tag);
    return (tag & 0xFF000000) == 0x54000000 &&
           (element == 0x1010 || element == 0x100A || element == 0x0110 || element == 0x0112);
}
}  // namespace

uint16_t VrRules::OfItem(uint16_t parentVr)
{
    return parentVr == 0 || parentVr == kSQ ? kOB : parentVr;
}

bool VrRules::ReadWord(DicomElement* parent, uint32_t tag, uint16_t* value)
{
    DicomElement* element = nullptr;
    try {
        element = dataSet_->FindInLevel(parent, tag).existing;
    } catch (const std::bad_alloc&) {
    }
    uint8_t bytes[2];
    if (element == nullptr || dataSet_->ReadValueBytes(element, 0, bytes, 2) != 2) return false;
    *value = Load16(bytes, !IsStoredBigEndian(dataSet_, element));
    return true;
}

uint16_t VrRules::OfPixelData()
{
    if (!ofPixelData_) {
        TransferSyntax syntax;
        ClassifyTransferSyntax(dataSet_, nullptr, &syntax);
        ofPixelData_ = syntax.compression > kCompressionNone ? kOB : kOW;
    }
    return *ofPixelData_;
}

uint16_t VrRules::OfElement(DicomElement* parent, uint32_t tag)
{
    if (TagElement(tag) == 0) return kUL;
    if (tag == kTagPixelData) return OfPixelData();
    const uint32_t group = tag & 0xFFFF0000;
    uint16_t word = 0;
    if ((tag & 0xFF00FFFF) == 0x5000200C)  // Audio Sample Data, by Audio Sample Format
        return ReadWord(parent, group | 0x2002, &word) && word <= 8 ? kOB : kOW;
    if ((tag & 0xFF00FFFF) == 0x50003000)  // Curve Data, by Data Value Representation
        return ReadWord(parent, group | 0x0103, &word) ? CurveVr(word) : kUS;
    if (IsWaveformValue(tag)) {  // by Waveform Bits Allocated
        const bool isBytes = ReadWord(parent, 0x54001004, &word) && word < 9;
        return isBytes && (dataSet_->mode & kModeExplicitVr) != 0 ? kOB : kOW;
    }
    const ElementEntry* const entry = FindElementEntry(tag);
    return entry != nullptr ? entry->vr : kUN;
}

uint16_t DetermineVr(DicomDataSet* dataSet, DicomElement* elementOrParent, uint32_t tag)
{
    if (tag == kTagItem) return VrRules::OfItem(elementOrParent != nullptr ? elementOrParent->vr : 0);
    return VrRules(dataSet).OfElement(elementOrParent != nullptr ? elementOrParent->parent : nullptr, tag);
}
}  // namespace talv
