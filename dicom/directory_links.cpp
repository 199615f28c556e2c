#include "dicom/directory_links.h"

#include <unordered_map>
#include <vector>

#include "dicom/dictionary.h"
#include "dicom/level_index.h"

namespace talv {
namespace {
constexpr uint32_t kDirectoryRecordSequence = 0x00041220;
constexpr uint32_t kReferencedFileId = 0x00041500;
constexpr uint32_t kRecordOffset = 0x00041504;
// A file ID has at most eight components of eight characters (PS3.10 8.2). A long one, which a million
// records may point at, is not multiplied.
constexpr uint32_t kLongestFileId = 1024;

struct Link
{
    DicomElement* record;
    uint32_t offset;
};
}  // namespace

DicomElement* DirectoryLinker::Child(DicomElement* record, uint32_t tag)
{
    return record->firstChild != nullptr ? dataSet_->FindInLevel(record, tag).existing : nullptr;
}

void DirectoryLinker::Run()
{
    DicomElement* const sequence = dataSet_->FindInLevel(nullptr, kDirectoryRecordSequence).existing;
    if (sequence == nullptr) return;

    std::unordered_map<uint32_t, DicomElement*> recordAt;
    std::vector<Link> links;
    for (DicomElement* record = sequence->firstChild; record != nullptr; record = record->nextSibling) {
        if (record->tag != kTagItem || record->streamOffset == 0) continue;
        recordAt.try_emplace(record->streamOffset, record);
        if (DicomElement* const offset = Child(record, kRecordOffset))
            links.push_back({record, offset->streamOffset});
    }
    for (const Link& link : links) dataSet_->RemoveSubtree(Child(link.record, kRecordOffset));
    if (!links.empty()) dataSet_->ForgetRemovedRecords();

    for (const Link& link : links) {
        const auto target = recordAt.find(link.offset);
        if (target != recordAt.end()) CopyFileId(target->second, link.record);
    }
}

void DirectoryLinker::CopyFileId(DicomElement* from, DicomElement* to)
{
    const DicomElement* const source = Child(from, kReferencedFileId);
    if (source == nullptr || source->length == kUndefinedLength || source->length == 0) return;
    if (source->length > kLongestFileId) return;
    std::vector<uint8_t> fileId(source->length);
    if (dataSet_->ReadValueBytes(source, 0, fileId.data(), fileId.size()) != fileId.size()) return;
    DicomElement* copy = Child(to, kReferencedFileId);
    if (copy == nullptr) copy = dataSet_->InsertElement(to, true, kReferencedFileId, 0, false, 0xFFFFFFFF);
    if (copy != nullptr && copy != source)
        dataSet_->SetRawValue(copy, fileId.data(), static_cast<uint32_t>(fileId.size()));
}
}  // namespace talv
