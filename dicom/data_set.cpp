// Construction, walking, changing and copying of data sets; the value operations are in values_*.cpp.

#include "dicom/data_set.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "dicom/data_set_arena.h"
#include "dicom/dictionary.h"

namespace talv {
namespace {
constexpr uint16_t kVrSQ = MakeVr('S', 'Q');
constexpr size_t kCopyPiece = 1024;

/// Tags that writers recompute or emit by themselves: group lengths, delimiters and trailing padding.
bool IsNeverStored(uint32_t tag)
{
    return TagElement(tag) == 0 || tag == kTagItemDelimiter || tag == kTagSequenceDelimiter ||
           tag == kTagTrailingPadding;
}

DicomElement* DeepestLast(DicomElement* element)
{
    while (element->lastChild != nullptr) element = element->lastChild;
    return element;
}
}  // namespace

DicomDataSet::DicomDataSet(const DataSetTables& tablesIn)
    : currentStream(&fileStream), tables(tablesIn), arena_(std::make_unique<Arena>())
{
    ownStream.Open("", kStreamOwnFlags);
}

DicomDataSet::~DicomDataSet()
{
    magic = 0;
}

// --- walking
// ---------------------------------------------------------------------------------------------------------

bool DicomDataSet::ExistsElement(const DicomElement* element) const
{
    for (const DicomElement* node = tree.first; node != nullptr; node = NextInPreOrder(node))
        if (node == element) return true;
    return false;
}

bool DicomDataSet::CheckElement(const DicomElement* element)
{
    if (elementCheck == nullptr || element == nullptr || ExistsElement(element)) return true;
    elementCheck(const_cast<DicomElement*>(element), kCheckForeignElement, elementCheckUser);
    return false;
}

DicomElement* DicomDataSet::GetFirstElement(DicomElement* element, bool siblingsOnly, bool includeHidden)
{
    if (!CheckElement(element)) return nullptr;
    const bool ofLevel = siblingsOnly && element != nullptr && element->parent != nullptr;
    DicomElement* first = ofLevel ? element->parent->firstChild : tree.first;
    while (first != nullptr && !includeHidden && IsHiddenElement(first))
        first = siblingsOnly ? first->nextSibling : NextInPreOrder(first);
    return first;
}

DicomElement* DicomDataSet::GetNextElement(DicomElement* element, bool siblingsOnly, bool includeHidden)
{
    if (element == nullptr || !CheckElement(element)) return nullptr;
    do {
        element = siblingsOnly ? element->nextSibling : NextInPreOrder(element);
    } while (element != nullptr && !includeHidden && IsHiddenElement(element));
    return element;
}

DicomElement* DicomDataSet::GetPrevElement(DicomElement* element, bool siblingsOnly, bool includeHidden)
{
    if (element == nullptr || !CheckElement(element)) return nullptr;
    do {
        if (siblingsOnly)
            element = element->prevSibling;
        else
            element = element->prevSibling != nullptr ? DeepestLast(element->prevSibling) : element->parent;
    } while (element != nullptr && !includeHidden && IsHiddenElement(element));
    return element;
}

DicomElement* DicomDataSet::GetParentElement(DicomElement* element)
{
    return element != nullptr && CheckElement(element) ? element->parent : nullptr;
}

DicomElement* DicomDataSet::GetChildElement(DicomElement* element, bool includeHidden)
{
    if (element == nullptr || !CheckElement(element)) return nullptr;
    DicomElement* child = element->firstChild;
    while (child != nullptr && !includeHidden && IsHiddenElement(child)) child = child->nextSibling;
    return child;
}

DicomElement* DicomDataSet::FindFirstElement(DicomElement* element, uint32_t tag, bool siblingsOnly)
{
    if (!CheckElement(element)) return nullptr;
    const bool ofLevel = siblingsOnly && element != nullptr && element->parent != nullptr;
    DicomElement* node = ofLevel ? element->parent->firstChild : tree.first;
    while (node != nullptr && node->tag != tag)
        node = siblingsOnly ? node->nextSibling : NextInPreOrder(node);
    return node;
}

DicomElement* DicomDataSet::FindNextElement(DicomElement* element, bool siblingsOnly)
{
    if (element == nullptr || !CheckElement(element)) return nullptr;
    const uint32_t tag = element->tag;
    do {
        element = siblingsOnly ? element->nextSibling : NextInPreOrder(element);
    } while (element != nullptr && element->tag != tag);
    return element;
}

// --- changing
// --------------------------------------------------------------------------------------------------------

DicomElement* DicomDataSet::InsertElement(DicomElement* neighbour, bool asChild, uint32_t tag, uint16_t vr,
                                          bool undefinedLength, uint32_t itemIndex)
{
    if (!CheckElement(neighbour)) return nullptr;
    DicomElement* const parent = asChild || neighbour == nullptr ? neighbour : neighbour->parent;
    DicomElement* created = nullptr;
    CreateElement(parent, tag, vr, undefinedLength, itemIndex, &created);
    return created;
}

LevelPlace DicomDataSet::FindInLevel(DicomElement* parent, uint32_t tag)
{
    DicomElement* const first = parent != nullptr ? parent->firstChild : tree.first;
    DicomElement* const last = parent != nullptr ? parent->lastChild : tree.last;
    return arena_->index.Find(parent, first, last, tag);
}

DicomStatus DicomDataSet::CreateElement(DicomElement* parent, uint32_t tag, uint16_t vr, bool undefinedLength,
                                        uint32_t itemIndex, DicomElement** created)
{
    *created = nullptr;
    if (readOnly || IsNeverStored(tag)) return kDicomOk;
    if (parent != nullptr && parent->length != kUndefinedLength) return kDicomOk;
    if (vr == 0) {
        const ElementEntry* const entry = FindElementEntry(tag);
        vr = entry != nullptr ? entry->vr : 0;
    }
    try {
        DicomElement* before = nullptr;
        if (tag != kTagItem) {
            const LevelPlace place = FindInLevel(parent, tag);
            if (place.existing != nullptr) return kDicomOk;
            before = place.before;
        } else if (itemIndex != 0xFFFFFFFF) {
            before = parent != nullptr ? parent->firstChild : tree.first;
            for (uint32_t i = 0; i < itemIndex && before != nullptr; ++i) before = before->nextSibling;
        }

        DicomElement* const element = arena_->nodes.Allocate();
        if (element == nullptr) return kDicomNoMemory;
        element->tag = tag;
        element->vr = vr;
        element->length = vr == kVrSQ || undefinedLength ? kUndefinedLength : 0;
        if (before != nullptr)
            LinkNode(&tree, element, before, LinkPosition::before);
        else
            LinkNode(&tree, element, parent, LinkPosition::lastChild);
        if (tag == kTagItem && before != nullptr && before->tag < kTagItem) arena_->index.NoteScatteredItem();
        arena_->index.NoteLinked(element);
        NoteChange();
        *created = element;
        return kDicomOk;
    } catch (const std::bad_alloc&) {
        return kDicomNoMemory;
    }
}

DicomElement* DicomDataSet::DeleteElement(DicomElement* element)
{
    if (element == nullptr || readOnly || !CheckElement(element)) return nullptr;
    DicomElement* const replacement = element->nextSibling != nullptr   ? element->nextSibling
                                      : element->prevSibling != nullptr ? element->prevSibling
                                                                        : element->parent;
    RemoveSubtree(element);
    ForgetRemovedRecords();
    return replacement;
}

/// Deletes from the leaves up, without recursion, so that depth costs no stack.
void DicomDataSet::RemoveSubtree(DicomElement* element)
{
    NoteChange();
    DicomElement* node = element;
    for (;;) {
        while (node->firstChild != nullptr) node = node->firstChild;
        DicomElement* const parent = node->parent;
        for (DicomWarning& warning : warnings)
            if (warning.element == node) warning.element = nullptr;
        const bool isLast = node == element;
        arena_->index.NoteUnlinking(node);
        UnlinkNode(&tree, node);
        arena_->nodes.Free(node);
        if (isLast) return;
        node = parent;
    }
}

void DicomDataSet::ForgetRemovedRecords()
{
    std::erase_if(records, [](const ElementRecord& record) { return ElementArena::IsFree(record.element); });
}

void DicomDataSet::ResetDataSet(bool closeStream)
{
    NoteChange();
    tree = {};
    arena_->index.Clear();
    arena_->nodes.Clear();
    records.clear();
    ownStream.Truncate();
    mode = kModeInitial;
    fileName[0] = '\0';
    std::fill(std::begin(warnings), std::end(warnings), DicomWarning());
    warningCount = 0;
    if (!closeStream) return;
    if (currentStream != nullptr) currentStream->Close();
    currentStream = &fileStream;
}

// --- copying and reading
// ---------------------------------------------------------------------------------------------

DicomStatus DicomDataSet::CopyDataSet(DicomDataSet* source)
{
    if (source == nullptr || readOnly) return kDicomInvalidArgument;
    if (source == this) return kDicomOk;
    ResetDataSet(false);
    DicomStatus status = kDicomNoMemory;
    try {
        status = CopyElements(source);
    } catch (const std::bad_alloc&) {
    }
    if (status != kDicomOk) {
        ResetDataSet(false);
        return status;
    }
    mode = static_cast<uint16_t>((source->mode & ~kModeRecordElements) | kModeValuesCopied);
    std::memcpy(fileName, source->fileName, sizeof fileName);
    std::memcpy(preamble, source->preamble, sizeof preamble);
    return kDicomOk;
}

DicomStatus DicomDataSet::CopyElements(DicomDataSet* source)
{
    DicomElement* parent = nullptr;  // of the copy about to be made
    for (const DicomElement* from = source->tree.first; from != nullptr;) {
        DicomElement* const copy = arena_->nodes.Allocate();
        if (copy == nullptr) return kDicomNoMemory;
        copy->tag = from->tag;
        copy->vr = from->vr;
        copy->storedVr = from->storedVr;
        copy->length = from->length;
        copy->streamOffset = from->streamOffset;
        LinkNode(&tree, copy, parent, LinkPosition::lastChild);
        if (from->length != kUndefinedLength && from->valueLength != 0) {
            const DicomStatus status =
                CopyValue(copy, from->valueStream, from->valuePosition, from->valueLength);
            if (status != kDicomOk) return status;
        }
        // The next element in pre-order, with the copy's parent moving along.
        if (from->firstChild != nullptr) {
            parent = copy;
            from = from->firstChild;
            continue;
        }
        while (from != nullptr && from->nextSibling == nullptr) {
            from = from->parent;
            if (parent != nullptr && from != nullptr) parent = parent->parent;
        }
        if (from != nullptr) from = from->nextSibling;
    }
    if (source->arena_->index.HasScatteredItems()) arena_->index.NoteScatteredItem();
    return kDicomOk;
}

DicomStatus DicomDataSet::CopyValue(DicomElement* element, DicomStream* source, uint64_t position,
                                    uint32_t length)
{
    if (source == nullptr) return kDicomShortRead;
    if (!ownStream.IsOpen() && !ownStream.Open("", kStreamOwnFlags)) return kDicomShortWrite;
    if (!ownStream.Seek(0, 2)) return kDicomSeekFailed;
    element->valuePosition = ownStream.Tell();
    element->valueStream = &ownStream;
    element->valueLength = length;
    uint8_t piece[kCopyPiece];
    for (uint32_t done = 0; done < length;) {
        const uint32_t count = std::min<uint32_t>(kCopyPiece, length - done);
        if (source->ReadAt(position + done, piece, count) != count) return kDicomShortRead;
        if (!ownStream.Write(piece, count)) return kDicomShortWrite;
        done += count;
    }
    return kDicomOk;
}

size_t DicomDataSet::ReadValueBytes(const DicomElement* element, uint64_t offset, void* buffer, size_t count)
{
    if (element == nullptr || !CheckElement(element)) return 0;
    if (element->length == kUndefinedLength || element->valueStream == nullptr ||
        offset >= element->valueLength)
        return 0;
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(count, element->valueLength - offset));
    return element->valueStream->ReadAt(element->valuePosition + offset, buffer, wanted);
}
}  // namespace talv
