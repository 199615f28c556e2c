#include "dicom/element_header.h"

#include "dicom/dictionary.h"

namespace talv {
namespace {
constexpr uint16_t kVrOB = MakeVr('O', 'B');
constexpr uint16_t kVrUT = MakeVr('U', 'T');

/// VRs with two reserved bytes and a 4-byte length (PS3.5 7.1.2). Kept: VRs of later editions (OD, OL, OV,
/// SV, UC, UR, UV) are not among them, so their headers read as the short form. Pinned by
/// ReadElementHeader.HasALongFormForSixVrsOnly.
bool IsLongForm(uint16_t vr)
{
    switch (vr) {
        case kVrOB:
        case kVrUT:
        case MakeVr('O', 'W'):
        case MakeVr('O', 'F'):
        case MakeVr('S', 'Q'):
        case MakeVr('U', 'N'):
            return true;
        default:
            return false;
    }
}
}  // namespace

bool NamesVr(const uint8_t* letters)
{
    return FindVrEntry(Load16(letters, false)) != nullptr;
}

DicomStatus DecodeElementHeader(const uint8_t* bytes, size_t available, bool littleEndian, bool explicitVr,
                                ElementHeader* header)
{
    *header = {};
    if (available < 2) return kDicomEndOfStream;
    uint16_t group = Load16(bytes, littleEndian);
    if (littleEndian ? group == kMetaGroup : group == 0x0200) {
        // The meta group is explicit VR little endian whatever follows it (PS3.10 7.1).
        group = kMetaGroup;
        littleEndian = explicitVr = true;
    }
    if (available < 4) return kDicomShortRead;
    header->littleEndian = littleEndian;
    header->tag = MakeTag(group, Load16(bytes + 2, littleEndian));
    header->headerBytes = 8;

    if (group == kMetaGroup) {
        if (available < 6) return kDicomShortRead;
        explicitVr = NamesVr(bytes + 4);  // some writers left the VRs out
    }
    if (available < 8) return kDicomShortRead;
    if (header->tag == kTagItem || IsDelimiter(header->tag)) {
        header->vr = kVrOB;
        header->length = header->tag == kTagItem ? Load32(bytes + 4, littleEndian) : 0;
    } else if (!explicitVr) {
        header->vr = kVrUnknownYet;
        header->length = Load32(bytes + 4, littleEndian);
    } else {
        header->vr = Load16(bytes + 4, false);
        const uint16_t reserved = Load16(bytes + 6, littleEndian);
        if (IsLongForm(header->vr) && !(header->vr == kVrUT && reserved != 0)) {
            if (available < kLargestHeader) return kDicomShortRead;
            header->length = Load32(bytes + 8, littleEndian);
            header->headerBytes = 12;
        } else {
            header->length = reserved;  // the short form, in which old writers put UT as well
        }
    }
    return kDicomOk;
}

DicomStatus ToleratesLength(DicomDataSet* dataSet, uint32_t length)
{
    if (length == kUndefinedLength || (length & 1) == 0) return kDicomOk;
    if ((dataSet->mode & kModePreamble) == 0 || dataSet->warningCount >= kMaxWarnings) return kDicomNotDicom;
    dataSet->warnings[dataSet->warningCount++] = {kWarningOddLength, nullptr, 1};
    return kDicomOk;
}

DicomStatus ReadElementHeader(DicomDataSet* dataSet, DicomStream* stream, bool littleEndian, bool explicitVr,
                              ElementHeader* header)
{
    if (dataSet == nullptr || stream == nullptr || header == nullptr) return kDicomInvalidArgument;
    const uint64_t start = stream->Tell();
    uint8_t bytes[kLargestHeader] = {};
    const size_t available = stream->ReadAt(start, bytes, sizeof bytes);
    const DicomStatus status = DecodeElementHeader(bytes, available, littleEndian, explicitVr, header);
    if (status != kDicomOk) return status;
    if (!stream->Seek(static_cast<int64_t>(start + header->headerBytes), 0)) return kDicomSeekFailed;
    return ToleratesLength(dataSet, header->length);
}
}  // namespace talv
