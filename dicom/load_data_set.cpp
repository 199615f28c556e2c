#include <algorithm>
#include <cstring>
#include <new>

#include "dicom/dictionary.h"
#include "dicom/directory_links.h"
#include "dicom/element_header.h"
#include "dicom/level_parser.h"
#include "dicom/reader.h"
#include "dicom/value_block.h"
#include "dicom/value_class.h"

namespace talv {
namespace {
constexpr size_t kPreambleBytes = 128;
constexpr size_t kMagicBytes = 4;
constexpr char kMagic[] = "DICM";
constexpr uint32_t kElementsToAccept = 11;

struct Start
{
    uint16_t kind = kModeBare;
    uint64_t position = 0;
    uint8_t preamble[kPreambleBytes] = {};
};

/// Finds where the data set begins (PS3.10 7.1).
DicomStatus FindStart(DicomStream* stream, uint16_t loadFlags, Start* start)
{
    if ((loadFlags & kModeBare) != 0 && (loadFlags & kModePreamble) == 0) return kDicomOk;
    uint8_t head[kPreambleBytes + kMagicBytes] = {};
    const size_t available = stream->ReadAt(0, head, sizeof head);
    if (available == sizeof head && std::memcmp(head + kPreambleBytes, kMagic, kMagicBytes) == 0) {
        start->kind = kModePreamble;
        start->position = sizeof head;
        std::memcpy(start->preamble, head, kPreambleBytes);
        return kDicomOk;
    }
    if ((loadFlags & kModePreamble) != 0) return available < sizeof head ? kDicomShortRead : kDicomNotDicom;
    if (available >= kMagicBytes && std::memcmp(head, kMagic, kMagicBytes) == 0)
        start->position = kMagicBytes;
    return kDicomOk;
}

/// The encodings to try, in order; zeros fill the list up.
struct Candidates
{
    uint16_t encodings[3];
};

Candidates CandidatesFor(uint16_t loadFlags)
{
    if ((loadFlags & kModeLittleEndian) != 0) {
        if ((loadFlags & kModeImplicitVr) != 0) return {{kImplicitLittle}};
        if ((loadFlags & kModeExplicitVr) != 0) return {{kExplicitLittle}};
        return {{kImplicitLittle, kExplicitLittle}};
    }
    if ((loadFlags & kModeBigEndian) != 0) return {{kExplicitBig}};
    if ((loadFlags & kModeImplicitVr) != 0) return {{kImplicitLittle}};
    if ((loadFlags & kModeExplicitVr) != 0) return {{kExplicitLittle, kExplicitBig}};
    return {{kImplicitLittle, kExplicitLittle, kExplicitBig}};
}

/// Kept: a tree with pixel data and enough elements is good whatever ended the parse, so that files with a
/// damaged tail play. Pinned by LoadDataSet.AcceptsADamagedTailBehindPixelData.
bool AcceptsDamagedTail(const DicomDataSet& dataSet)
{
    uint32_t count = 0;
    bool hasPixels = false;
    for (const DicomElement* element = dataSet.tree.first; element != nullptr;
         element = NextInPreOrder(element)) {
        hasPixels |= element->tag == kTagPixelData;
        if (++count >= kElementsToAccept && hasPixels) return true;
    }
    return false;
}

/// Without a known transfer syntax nothing vouches for a data set but its elements, and bytes of any kind
/// read as some. A first element 0000,0000 that is no group length, as in a file of zeros, is told before the
/// rest is read.
bool CannotBegin(DicomStream* stream, uint64_t position, uint16_t encoding)
{
    uint8_t bytes[kLargestHeader] = {};
    ElementHeader header;
    const size_t available = stream->ReadAt(position, bytes, sizeof bytes);
    return DecodeElementHeader(bytes, available, (encoding & kModeLittleEndian) != 0,
                               (encoding & kModeExplicitVr) != 0, &header) == kDicomOk &&
           header.tag == 0 && header.length != 4;
}

/// True when `dataSet` has an element of the dictionary outside the meta group. None at all need be there in
/// a file of meta elements and in one that ends before (`isBehindMeta` clear).
bool IsDataSet(const DicomDataSet& dataSet, bool isBehindMeta)
{
    bool hasOnlyMeta = dataSet.tree.first != nullptr || !isBehindMeta;
    for (const DicomElement* element = dataSet.tree.first; element != nullptr;
         element = NextInPreOrder(element)) {
        if (TagGroup(element->tag) == kMetaGroup) continue;
        if (FindElementEntry(element->tag) != nullptr) return true;
        hasOnlyMeta = false;
    }
    return hasOnlyMeta;
}

DicomStatus TryEncodings(DicomDataSet* dataSet, DicomStream* stream, const Start& start, uint16_t loadFlags,
                         bool requireImage)
{
    for (const uint16_t encoding : CandidatesFor(loadFlags).encodings) {
        if (encoding == 0) break;
        dataSet->ResetDataSet(false);
        dataSet->mode = static_cast<uint16_t>(encoding | start.kind |
                                              (loadFlags & (kModeValuesCopied | kModeRecordElements)));
        if (!stream->Seek(static_cast<int64_t>(start.position), 0)) return kDicomSeekFailed;
        if (CannotBegin(stream, start.position, encoding)) continue;
        LevelParser parser(dataSet, stream, start.position);
        DicomStatus status = parser.Run();
        if (status == kDicomNoMemory || status == kDicomShortWrite) return status;
        if (status == kDicomOk && !parser.HasKnownSyntax() && !IsDataSet(*dataSet, parser.IsBehindMeta()))
            status = kDicomNotDicom;
        if ((status == kDicomOk && !requireImage) || AcceptsDamagedTail(*dataSet)) return kDicomOk;
    }
    return kDicomNotDicom;
}

DicomStatus Load(DicomDataSet* dataSet, DicomStream* stream, uint16_t loadFlags, bool requireImage)
{
    Start start;
    DicomStatus status = FindStart(stream, loadFlags, &start);
    if (status == kDicomOk) status = TryEncodings(dataSet, stream, start, loadFlags, requireImage);
    if (status != kDicomOk) return status;
    std::memcpy(dataSet->preamble, start.preamble, sizeof start.preamble);
    DirectoryLinker(dataSet).Run();
    return kDicomOk;
}

/// Stores the value of an element of odd length again, padded to an even one. Numbers keep their count: what
/// follows the last whole one goes. A value that the stream does not hold whole stays as it is.
DicomStatus RepairOddLength(DicomDataSet* dataSet, DicomElement* element)
{
    const uint64_t size = element->valueStream != nullptr ? element->valueStream->Size() : 0;
    const uint32_t length = element->valueLength;
    if (element->valuePosition > size || length > size - element->valuePosition) return kDicomOk;
    const ValueBlock value(uint64_t{length} + 1);
    if (!value) return kDicomNoMemory;
    if (dataSet->ReadValueBytes(element, 0, value.As<void>(), length) != length) return kDicomOk;
    const uint32_t unit = element->vr == kVrOW || element->vr == kVrOF ? 1 : GetVrUnitSize(element->vr);
    dataSet->SetRawValue(element, value.As<void>(), length > unit ? length / unit * unit : length);
    return kDicomOk;
}
}  // namespace

DicomStatus LoadDataSet(DicomDataSet* dataSet, DicomStream* stream, uint16_t loadFlags, bool requireImage)
{
    if (dataSet == nullptr || stream == nullptr || dataSet->readOnly) return kDicomInvalidArgument;
    dataSet->currentStream = stream;
    DicomStatus status = kDicomNoMemory;
    try {
        status = Load(dataSet, stream, loadFlags, requireImage);
    } catch (const std::bad_alloc&) {
    }
    if (status != kDicomOk) {
        dataSet->ResetDataSet(true);
    } else if ((loadFlags & kModeValuesCopied) != 0) {
        stream->Close();
        dataSet->currentStream = &dataSet->fileStream;
    }
    dataSet->mode |= loadFlags & kModeCallerMark;
    return status;
}

DicomStatus LoadFile(DicomDataSet* dataSet, const char* fileName, uint16_t loadFlags)
{
    if (dataSet == nullptr || fileName == nullptr || dataSet->readOnly) return kDicomInvalidArgument;
    char name[kMaxFileName] = {};  // a copy: the data set's own name goes
    const size_t nameLength = std::strlen(fileName);
    if (nameLength < kMaxFileName) std::memcpy(name, fileName, nameLength);
    // Not the current stream: it may be a caller's, gone by now.
    dataSet->ResetDataSet(false);
    dataSet->currentStream = &dataSet->fileStream;
    if (!dataSet->fileStream.Open(name, kStreamFileFlags)) return kDicomFileNotOpened;
    const DicomStatus status = LoadDataSet(dataSet, &dataSet->fileStream, loadFlags, false);
    if (status != kDicomOk) return status;
    std::memcpy(dataSet->fileName, name, sizeof name);

    DicomStatus repaired = kDicomOk;
    for (uint32_t i = 0; i < dataSet->warningCount && repaired == kDicomOk; ++i) {
        const DicomWarning& warning = dataSet->warnings[i];
        if (warning.code == kWarningOddLength && warning.inUse == 1 && warning.element != nullptr)
            repaired = RepairOddLength(dataSet, warning.element);
    }
    std::fill(std::begin(dataSet->warnings), std::end(dataSet->warnings), DicomWarning());
    dataSet->warningCount = 0;
    return repaired;
}
}  // namespace talv
