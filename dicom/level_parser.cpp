#include "dicom/level_parser.h"

#include <algorithm>
#include <cstring>

#include "dicom/element_header.h"
#include "dicom/value_class.h"

namespace talv {
namespace {
constexpr size_t kMaxLevels =
    2 * size_t{kMaxNesting} + 1;              // each sequence opens one level, each item another
constexpr uint64_t kSmallestRead = 2;         // the first field of a header
constexpr size_t kTransferSyntaxBytes = 512;  // a UID has 64 characters; the rest is room for stray padding

bool IsDirectoryOffset(uint32_t tag)
{
    return tag == 0x00041200 || tag == 0x00041202 || tag == 0x00041400 || tag == 0x00041420 ||
           tag == 0x00041504;
}
}  // namespace

DicomStatus LevelParser::Run()
{
    levels_.assign(1, Level());
    levels_.back().explicitVr = (dataSet_->mode & kModeExplicitVr) != 0;
    while (!levels_.empty()) {
        ElementHeader header;
        DicomStatus status = ReadHeader(&header);
        // The end of the stream at an element boundary ends every open level.
        if (status == kDicomEndOfStream) return kDicomOk;
        if (status == kDicomOk) status = HandleElement(header);
        if (status != kDicomOk) return status;
        CloseLevels(IsDelimiter(header.tag));
    }
    return kDicomOk;
}

DicomStatus LevelParser::ReadHeader(ElementHeader* header)
{
    size_t available = 0;
    const uint8_t* const bytes = window_.Peek(position_, kLargestHeader, &available);
    const DicomStatus status = DecodeElementHeader(
        bytes, available, (dataSet_->mode & kModeLittleEndian) != 0, levels_.back().explicitVr, header);
    // Nothing read although the stream goes on is a read error, not the end.
    if (status == kDicomEndOfStream && position_ + kSmallestRead <= stream_->Size()) return kDicomShortRead;
    return status == kDicomOk ? ToleratesLength(dataSet_, header->length) : status;
}

DicomStatus LevelParser::HandleElement(const ElementHeader& header)
{
    if (ContradictsAttempt(header)) return kDicomNotDicom;
    Level& level = levels_.back();
    if (level.parentTag == kTagPixelData && header.tag != kTagItem && header.tag != kTagSequenceDelimiter)
        return kDicomEndOfStream;  // the list of fragments is broken

    const uint16_t vr = VrOf(header, level);
    // An item of a sequence holds a nested data set also when its length is given (PS3.5 7.5.1).
    const bool isContainer = vr == kVrSQ || header.length == kUndefinedLength ||
                             (header.tag == kTagItem && level.parentVr == kVrSQ);
    DicomElement* element = nullptr;
    const DicomStatus status = Create(header, level, vr, isContainer, &element);
    if (status != kDicomOk) return status;

    position_ += header.headerBytes;
    level.byteCount += header.headerBytes;
    if (isContainer) return OpenLevel(header, vr, element);
    level.byteCount += header.length;
    return TakeValue(header, element);
}

uint16_t LevelParser::VrOf(const ElementHeader& header, const Level& level)
{
    if (header.tag == kTagItem) return VrRules::OfItem(level.parentVr);
    if (header.vr != kVrUnknownYet && header.tag != kTagPixelData) return header.vr;
    return rules_.OfElement(level.parent, header.tag);
}

DicomStatus LevelParser::Create(const ElementHeader& header, const Level& level, uint16_t vr,
                                bool isContainer, DicomElement** element)
{
    if (level.isDiscarded) return kDicomOk;
    const DicomStatus status =
        dataSet_->CreateElement(level.parent, header.tag, vr, isContainer, 0xFFFFFFFF, element);
    if (*element == nullptr) return status;
    if (header.tag == kTagItem)
        (*element)->streamOffset = static_cast<uint32_t>(position_);
    else if (header.vr != kVrUnknownYet)
        (*element)->storedVr = header.vr;
    if ((dataSet_->mode & kModeRecordElements) != 0)
        dataSet_->records.push_back({*element, header.littleEndian});
    return kDicomOk;
}

/// Where no known transfer syntax vouches for implicit VR, a first length that spells a VR tells against it:
/// such a length would lead far into the file or past its end, which looks like a good end of the parse.
bool LevelParser::ContradictsAttempt(const ElementHeader& header)
{
    if (isBehindMeta_ || TagGroup(header.tag) == kMetaGroup) return false;
    isBehindMeta_ = true;
    const uint8_t letters[] = {static_cast<uint8_t>(header.length), static_cast<uint8_t>(header.length >> 8)};
    return !hasKnownSyntax_ && header.vr == kVrUnknownYet && NamesVr(letters);
}

/// VR style of an item's content. A sequence whose VR somebody lost is UN of undefined length, with implicit
/// VR below it whatever the rest has (PS3.5 6.2.2); writers that kept explicit VR there are understood too.
bool LevelParser::HoldsExplicitVr(const ElementHeader& item, const Level& outer)
{
    if (!outer.explicitVr || item.tag != kTagItem || outer.parentVr != kVrUN) return outer.explicitVr;
    size_t available = 0;
    const uint8_t* const bytes = window_.Peek(position_, kLargestHeader, &available);
    return available < kLargestHeader || NamesVr(bytes + 4);
}

DicomStatus LevelParser::OpenLevel(const ElementHeader& header, uint16_t vr, DicomElement* element)
{
    if (levels_.size() >= kMaxLevels) return kDicomNotDicom;
    const bool explicitVr = HoldsExplicitVr(header, levels_.back());
    levels_.push_back({element, header.tag, vr, element == nullptr, header.length, 0, explicitVr});
    return kDicomOk;
}

DicomStatus LevelParser::TakeValue(const ElementHeader& header, DicomElement* element)
{
    const uint64_t valuePosition = position_;
    position_ += header.length;
    if (element == nullptr) return kDicomOk;  // refused by the tree: its bytes are stepped over

    element->length = header.length;
    element->valueStream = stream_;
    element->valuePosition = valuePosition;
    element->valueLength = header.length;
    if ((header.length & 1) != 0) dataSet_->warnings[dataSet_->warningCount - 1].element = element;

    if (header.tag == kTagTransferSyntaxUid && element->parent == nullptr && header.length != 0) {
        const DicomStatus status = CheckTransferSyntax(header.length);
        if (status != kDicomOk) return status;
    }
    if (IsDirectoryOffset(header.tag)) TakeDirectoryOffset(element, header.length);
    if ((dataSet_->mode & kModeValuesCopied) == 0) return kDicomOk;
    return dataSet_->CopyValue(element, stream_, valuePosition, header.length);
}

/// An encoding that is not the one the file declares is given up at once.
DicomStatus LevelParser::CheckTransferSyntax(uint32_t length)
{
    char value[kTransferSyntaxBytes + 1] = {};
    const size_t count = std::min<size_t>(length, kTransferSyntaxBytes);
    if (stream_->ReadAt(position_ - length, value, count) != count) return kDicomShortRead;
    const char* first = value;
    while (*first == ' ') ++first;
    char* end = value + std::strlen(value);
    while (end > first && end[-1] == ' ') --end;
    *end = '\0';
    rules_.NoteTransferSyntax();
    hasKnownSyntax_ = FindTransferSyntax(first) != nullptr;
    TransferSyntax syntax;
    ClassifyTransferSyntax(nullptr, first, &syntax);
    return ((syntax.encoding ^ dataSet_->mode) & kModeEncodingMask) != 0 ? kDicomNotDicom : kDicomOk;
}

void LevelParser::TakeDirectoryOffset(DicomElement* element, uint32_t length)
{
    uint8_t bytes[4];
    if (length < 4 || stream_->ReadAt(element->valuePosition, bytes, 4) != 4) return;
    element->streamOffset = Load32(bytes, (dataSet_->mode & kModeLittleEndian) != 0);
}

/// Closes the innermost level at a delimiter, and every level that now has all its bytes.
void LevelParser::CloseLevels(bool atDelimiter)
{
    while (!levels_.empty()) {
        const Level& level = levels_.back();
        const bool isFull =
            level.expectedLength != kUndefinedLength && level.byteCount == level.expectedLength;
        if (!atDelimiter && !isFull) return;
        const uint64_t consumed = level.byteCount;
        levels_.pop_back();
        if (!levels_.empty()) levels_.back().byteCount += consumed;
        atDelimiter = false;
    }
}
}  // namespace talv
