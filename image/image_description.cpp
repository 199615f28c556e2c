#include "image/image_description.h"

#include <new>

#include "image/image_cache.h"

namespace talv {
DicomStatus ReadImageDescription(DicomDataSet* dataSet, DicomElement* pixelElement,
                                 ImageDescription* description, uint32_t frame, bool loadPalettes)
{
    if (dataSet == nullptr || description == nullptr) return kDicomInvalidArgument;
    *description = {};
    if (pixelElement == nullptr) return kDicomNoFrame;
    try {
        ImageRecord* record = nullptr;
        DicomStatus status = ImageCache::Of(dataSet).FindRecord(dataSet, pixelElement, loadPalettes, &record);
        if (status != kDicomOk) return status;
        FrameLocation location;
        const bool found = record->index.Locate(frame, &location);
        *description = record->description;
        description->frameElement = location.element;
        description->frameOffset = location.offset;
        return found ? kDicomOk : kDicomNoFrame;
    } catch (const std::bad_alloc&) {
        return kDicomNoMemory;
    }
}
}  // namespace talv
