#include "image/image_cache.h"

#include "image/image_attributes.h"
#include "image/palette_tables.h"
#include "image/window_palette.h"

namespace talv {
namespace {
constexpr uint32_t kTagManufacturer = 0x00080070;
// Files of this maker carry a value range that their pixels do not keep to.
constexpr const char* kUntrustedRangeMaker = "Toshiba";

}  // namespace

ImageCache& ImageCache::Of(DicomDataSet* dataSet)
{
    auto* cache = dynamic_cast<ImageCache*>(dataSet->attachment.get());
    if (cache != nullptr) return *cache;
    auto made = std::make_unique<ImageCache>();
    cache = made.get();
    dataSet->attachment = std::move(made);
    return *cache;
}

DicomStatus ImageCache::FindRecord(DicomDataSet* dataSet, DicomElement* pixelElement, bool loadPalettes,
                                   ImageRecord** record)
{
    const AttributeReader reader(dataSet, pixelElement);
    auto found = records_.find(pixelElement);
    if (found == records_.end()) {
        if (pixelElement == nullptr || pixelElement->tag != kTagPixelData) return kDicomNoFrame;
        auto made = std::make_unique<ImageRecord>();
        if (DicomStatus status = ReadImageAttributes(reader, &made->description); status != kDicomOk)
            return status;
        if (DicomStatus status = made->index.Build(reader, pixelElement, made->description);
            status != kDicomOk)
            return status;
        made->description.frameCount = made->index.frameCount();
        std::string maker;
        made->alwaysMeasureRange = reader.Text(kTagManufacturer, &maker) && maker == kUntrustedRangeMaker;
        found = records_.emplace(pixelElement, std::move(made)).first;
    }
    *record = found->second.get();
    if (loadPalettes && !(*record)->palettesLoaded) {
        if (DicomStatus status = LoadPaletteTables(reader, &(*record)->description); status != kDicomOk)
            return status;
        (*record)->palettesLoaded = true;
    }
    return kDicomOk;
}

DicomStatus PrepareRecord(DicomDataSet* dataSet, DicomElement* pixelElement, ImageRecord* record)
{
    if (record->prepared) return record->preparedStatus;
    const ImageDescription& description = record->description;
    record->display = ReadDisplaySteps(AttributeReader(dataSet, pixelElement), description);
    if (description.photometricCode == kPaletteColor) {
        record->preparedStatus = record->mapping.Build(description);
        const PixelLayout layout = MakePixelLayout(description);
        if (record->preparedStatus == kDicomOk && layout.bytesPerSample <= 2) {
            if (description.outputBits == 8)
                record->mapping.MakeIndexTable(layout, &record->indexTable);
            else
                record->mapping.MakeColorTable(layout, &record->colorTable);
        }
    } else if (description.outputBits == 8) {
        const DisplaySteps& display = record->display;
        record->greyPalette.resize(256);
        MakeWindowPalette(display.hasWindow ? display.center : kIdentityCenter,
                          display.hasWindow ? display.width : kIdentityWidth, display.inverted,
                          record->greyPalette.data(), 256);
    }
    record->prepared = true;
    return record->preparedStatus;
}
}  // namespace talv
