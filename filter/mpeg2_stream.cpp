#include "dicom/data_set.h"
#include "filter/frame_source.h"
#include "filter/frame_source_state.h"
#include "image/attribute_reader.h"
#include "platform/clock.h"
#include "platform/memory.h"

// An MPEG-2 stream is not decoded: its bytes are read once into a global block and offered to whoever parses
// them.
namespace talv {
namespace {
bool IsItemOfKnownLength(const DicomElement* element)
{
    return element != nullptr && element->tag == kTagItem && element->length != kUndefinedLength;
}

/// The fragment with the stream (PS3.5 A.4): the item after the offset table. Null when there is none.
DicomElement* FindStreamItem(DicomDataSet* dataSet)
{
    DicomElement* pixelData = dataSet->FindFirstElement(nullptr, kTagPixelData, true);
    if (pixelData == nullptr || pixelData->length != kUndefinedLength) return nullptr;
    DicomElement* offsetTable = dataSet->GetChildElement(pixelData, true);
    if (!IsItemOfKnownLength(offsetTable)) return nullptr;
    DicomElement* stream = dataSet->GetNextElement(offsetTable, true, true);
    return IsItemOfKnownLength(stream) ? stream : nullptr;
}
}  // namespace

int32_t FrameSource::LoadMpeg2Stream()
{
    DicomElement* item = FindStreamItem(dataSet);
    if (item == nullptr) return kLoadOk;
    FreeMpeg2Stream();
    if (item->length == 0) return kLoadOk;
    // A length beyond the file's end must fail in the read; so it does before any memory is asked for.
    if (item->length > BytesPresent(item)) return kLoadRefused;

    state_->streamHandle = AllocateMovable(item->length);
    if (state_->streamHandle == nullptr) return kLoadOk;
    auto* bytes = static_cast<uint8_t*>(LockMovable(state_->streamHandle));
    if (bytes == nullptr) {
        FreeMovable(state_->streamHandle);
        state_->streamHandle = nullptr;
        return kLoadOk;
    }
    if (dataSet->ReadValueBytes(item, 0, bytes, item->length) != item->length) {
        FreeMpeg2Stream();
        return kLoadRefused;
    }
    isMpeg2Stream = true;
    streamReader.Attach(bytes, item->length);
    streamReader.rateLimit = 0xFFFFFFFF;
    streamReader.attachedAt = TickCount();
    return kLoadOk;
}

void FrameSource::FreeMpeg2Stream()
{
    streamReader.Detach();
    if (state_->streamHandle == nullptr) return;
    UnlockMovable(state_->streamHandle);
    FreeMovable(state_->streamHandle);
    state_->streamHandle = nullptr;
}
}  // namespace talv
