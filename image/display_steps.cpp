#include "image/display_steps.h"

#include <algorithm>

#include "image/get_image.h"
#include "raster/remap.h"

namespace talv {
namespace {
constexpr uint32_t kTagWindowCenter = 0x00281050, kTagWindowWidth = 0x00281051;
constexpr uint32_t kTagIntercept = 0x00281052, kTagSlope = 0x00281053;
constexpr uint32_t kTagModalityTables = 0x00283000, kTagVoiTables = 0x00283010;
constexpr uint32_t kTagTableDescriptor = 0x00283002, kTagTableData = 0x00283006;
constexpr uint32_t kStepOptions = kImageModality | kImageVoi | kImageSecondMode;

/// The first table of a sequence of tables.
DisplayTable ReadTable(const AttributeReader& reader, uint32_t sequenceTag, bool isSigned)
{
    DicomDataSet* const dataSet = reader.dataSet();
    DisplayTable table;
    const DicomElement* sequence = reader.Find(sequenceTag);
    const DicomElement* item = sequence != nullptr ? sequence->firstChild : nullptr;
    if (item == nullptr || item->firstChild == nullptr) return table;
    DicomElement* descriptor = dataSet->FindFirstElement(item->firstChild, kTagTableDescriptor, true);
    const DicomElement* data = dataSet->FindFirstElement(item->firstChild, kTagTableData, true);
    int32_t count = 0, first = 0, bits = 0;
    if (descriptor == nullptr || data == nullptr || !dataSet->GetInteger(descriptor, 0, &count) ||
        !dataSet->GetInteger(descriptor, 1, &first) || !dataSet->GetInteger(descriptor, 2, &bits))
        return table;
    if (bits < 1 || bits > 16) return table;
    const uint32_t declared = static_cast<uint16_t>(count) == 0 ? 65536 : static_cast<uint16_t>(count);
    table.entries.resize(static_cast<size_t>(std::min<uint64_t>(declared, BytesPresent(data) / 2)));
    table.entries.resize(ReadValueWords(dataSet, data, 0, table.entries.data(), table.entries.size()));
    table.firstMapped = isSigned ? static_cast<int16_t>(first) : first;
    table.bitsPerEntry = static_cast<uint32_t>(bits);
    return table;
}

DicomStatus DicomFromRaster(int32_t rasterStatus)
{
    if (rasterStatus >= 0) return kDicomOk;
    return rasterStatus == kRasterNoMemory ? kDicomNoMemory : kDicomNoFrame;
}

int32_t RemapThroughTable(const ImageOperations& operations, const DisplayTable& table, int32_t mode,
                          ImageBitmap* bitmap)
{
    return operations.remapTable(bitmap, table.entries.data(), static_cast<uint32_t>(table.entries.size()),
                                 table.firstMapped, table.bitsPerEntry, mode);
}

int32_t ApplyModality(const ImageOperations& operations, const DisplaySteps& steps, int32_t mode,
                      ImageBitmap* bitmap)
{
    if (steps.HasRescale()) return operations.remapLinear(bitmap, steps.slope, steps.intercept, mode);
    if (!steps.modality.entries.empty()) return RemapThroughTable(operations, steps.modality, mode, bitmap);
    return kRasterOk;
}

// Rewritten pixels keep their polarity, which the photometric interpretation tells; a lut is what the eye is
// to see.
int32_t ApplyVoi(const ImageOperations& operations, const DisplaySteps& steps, int32_t mode,
                 ImageBitmap* bitmap)
{
    const bool invert = steps.inverted && mode == kRemapLut;
    if (steps.hasWindow) return RemapWindow(bitmap, steps.center, steps.width, invert, mode);
    if (!steps.voi.entries.empty())
        if (int32_t status = RemapThroughTable(operations, steps.voi, mode, bitmap); status < 0)
            return status;
    return invert ? RemapWindow(bitmap, 0, 0, true, mode) : kRasterOk;  // no width: the whole range
}
}  // namespace

DisplaySteps ReadDisplaySteps(const AttributeReader& reader, const ImageDescription& description)
{
    const bool isSigned = description.pixelRepresentation == 1;
    DisplaySteps steps;
    double slope = 1, intercept = 0;
    if (reader.Real(kTagSlope, 0, &slope) && reader.Real(kTagIntercept, 0, &intercept) && slope != 0)
        steps.slope = slope, steps.intercept = intercept;
    steps.modality = ReadTable(reader, kTagModalityTables, isSigned);
    steps.hasWindow =
        reader.Real(kTagWindowCenter, 0, &steps.center) && reader.Real(kTagWindowWidth, 0, &steps.width);
    // After a modality step values may be negative whatever the pixels are.
    const bool voiIsSigned = isSigned || steps.HasRescale();
    steps.voi = ReadTable(reader, kTagVoiTables, voiIsSigned);
    steps.inverted = description.photometricCode == kMonochrome1;
    return steps;
}

DicomStatus ApplyDisplaySteps(DicomDataSet* dataSet, const DisplaySteps& steps, uint32_t options,
                              ImageBitmap* bitmap, RememberedLut* remembered)
{
    if (bitmap->colorOrder != kOrderGrey) return kDicomOk;
    const int32_t mode = (options & kImageSecondMode) != 0 ? kRemapLut : kRemapPixels;
    const bool modality =
        (options & kImageModality) != 0 && (steps.HasRescale() || !steps.modality.entries.empty());
    const bool voi = (options & kImageVoi) != 0 &&
                     (steps.hasWindow || !steps.voi.entries.empty() || (steps.inverted && mode == kRemapLut));
    if (!modality && !voi) return kDicomOk;
    const ImageOperations& operations = dataSet->tables.images;
    if (operations.remapLinear == nullptr || operations.remapTable == nullptr) return kDicomNoRemapOperation;

    const uint32_t wanted = options & kStepOptions;
    if (mode == kRemapLut && !remembered->lut.IsEmpty() && remembered->options == wanted)
        return DicomFromRaster(remembered->lut.InstallIn(bitmap));

    int32_t status = modality ? ApplyModality(operations, steps, mode, bitmap) : int32_t{kRasterOk};
    if (status >= 0 && voi) status = ApplyVoi(operations, steps, mode, bitmap);
    if (status >= 0 && mode == kRemapLut) {
        remembered->lut.KeepFrom(*bitmap);
        remembered->options = wanted;
    }
    return DicomFromRaster(status);
}
}  // namespace talv
