#include <algorithm>
#include <new>

#include "image/get_image.h"
#include "image/image_cache.h"

namespace talv {
namespace {
/// Lists the Pixel Data elements of the top level or, when there are none, of all levels: an icon image in
/// front of the picture does not count as a frame of it.
std::vector<FrameRun> ListRuns(DicomDataSet* dataSet, ImageCache* cache)
{
    bool topLevel = true;
    DicomElement* element = dataSet->FindFirstElement(nullptr, kTagPixelData, true);
    if (element == nullptr) {
        topLevel = false;
        element = dataSet->FindFirstElement(nullptr, kTagPixelData, false);
    }
    std::vector<FrameRun> runs;
    uint64_t frames = 0;
    for (; element != nullptr; element = dataSet->FindNextElement(element, topLevel)) {
        ImageRecord* record = nullptr;
        runs.push_back({element, frames});
        if (cache->FindRecord(dataSet, element, false, &record) == kDicomOk)
            frames += record->index.frameCount();
    }
    runs.push_back({nullptr, frames});
    return runs;
}
}  // namespace

DicomStatus GetImageFromDataSet(DicomDataSet* dataSet, DicomElement* pixelElement, ImageBitmap* bitmap,
                                uint32_t structSize, uint32_t frame, int32_t reserved1, int32_t reserved2,
                                uint32_t options, RowCallback rowCallback, void* callbackData)
{
    if (structSize != kBitmapStructSize) return kDicomWrongStructSize;
    if (dataSet == nullptr || bitmap == nullptr) return kDicomInvalidArgument;
    if (pixelElement == nullptr) {
        *bitmap = {};
        bitmap->structSize = structSize;
        try {
            ImageCache& cache = ImageCache::Of(dataSet);
            if (!cache.runsKnown) {
                cache.runs = ListRuns(dataSet, &cache);
                cache.runsKnown = true;
            }
            // The last run that begins at or before the frame holds it: runs without frames share their
            // successor's first number.
            const auto after = std::upper_bound(
                cache.runs.begin(), cache.runs.end(), uint64_t{frame},
                [](uint64_t wanted, const FrameRun& run) { return wanted < run.firstFrame; });
            if (after == cache.runs.begin() || after == cache.runs.end()) return kDicomNoFrame;
            pixelElement = after[-1].pixelElement;
            frame -= static_cast<uint32_t>(after[-1].firstFrame);
        } catch (const std::bad_alloc&) {
            return kDicomNoMemory;
        }
    }
    return GetImage(dataSet, pixelElement, bitmap, structSize, frame, reserved1, reserved2, options,
                    rowCallback, callbackData);
}
}  // namespace talv
