#include "image/image_cache.h"

#include "image/image_attributes.h"
#include "image/palette_tables.h"
#include "image/window_palette.h"

namespace talv {
namespace {
constexpr uint32_t kTagManufacturer = 0x00080070;
// Files of this maker carry a value range that their pixels do not keep to.
constexpr const char* kUntrustedRangeMaker = "Toshiba";

/// The grey palette that the window gives 8-bit frames.
void MakeGreyPalette(ImageRecord* record)
{
    const StepNumbers& numbers = record->display.numbers;
    record->greyPalette.resize(256);
    MakeWindowPalette(numbers.hasWindow ? numbers.center : kIdentityCenter,
                      numbers.hasWindow ? numbers.width : kIdentityWidth, record->display.inverted,
                      record->greyPalette.data(), 256);
}

/// The tables that a palette image's samples are looked up in.
DicomStatus MakeSampleTables(ImageRecord* record)
{
    const ImageDescription& description = record->description;
    const DicomStatus status = record->mapping.Build(description);
    const PixelLayout layout = MakePixelLayout(description);
    if (status != kDicomOk || layout.bytesPerSample > 2) return status;
    if (description.outputBits == 8)
        record->mapping.MakeIndexTable(layout, &record->indexTable);
    else
        record->mapping.MakeColorTable(layout, &record->colorTable);
    return kDicomOk;
}
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
    auto found = records_.find(pixelElement);
    if (found == records_.end()) {
        if (pixelElement == nullptr || pixelElement->tag != kTagPixelData) return kDicomNoFrame;
        auto made = std::make_unique<ImageRecord>();
        if (pixelElement->parent == nullptr) made->groups = FindFunctionalGroups(dataSet);
        const AttributeReader reader(dataSet, pixelElement, &made->groups);
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
        const AttributeReader reader(dataSet, pixelElement);
        if (DicomStatus status = LoadPaletteTables(reader, &(*record)->description); status != kDicomOk)
            return status;
        (*record)->palettesLoaded = true;
    }
    return kDicomOk;
}

DicomStatus PrepareRecord(DicomDataSet* dataSet, DicomElement* pixelElement, uint32_t frame,
                          ImageRecord* record)
{
    if (record->prepared && !record->groups.VaryByFrame()) return record->preparedStatus;
    const ImageDescription& description = record->description;
    const AttributeReader reader(dataSet, pixelElement, &record->groups, frame);
    if (!record->prepared) {
        record->display = ReadDisplaySteps(reader, description);
        if (description.photometricCode == kPaletteColor) record->preparedStatus = MakeSampleTables(record);
    } else {
        ReadStepNumbers(reader, &record->display);
    }
    if (description.photometricCode != kPaletteColor && description.outputBits == 8) MakeGreyPalette(record);
    record->prepared = true;
    return record->preparedStatus;
}
}  // namespace talv
