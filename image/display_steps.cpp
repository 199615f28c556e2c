#include "image/display_steps.h"

#include <algorithm>
#include <cmath>

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
    if (steps.HasRescale())
        return operations.remapLinear(bitmap, steps.numbers.slope, steps.numbers.intercept, mode);
    if (!steps.modality.entries.empty()) return RemapThroughTable(operations, steps.modality, mode, bitmap);
    return kRasterOk;
}

/// The window that shows the smallest result of the modality step for `span` black and the largest white.
void WindowOfSpan(const DisplaySteps& steps, bool modality, ValueSpan span, double* center, double* width)
{
    double smallest = span.smallest, largest = span.largest;
    if (modality && steps.HasRescale()) {
        smallest = smallest * steps.numbers.slope + steps.numbers.intercept;
        largest = largest * steps.numbers.slope + steps.numbers.intercept;
    } else if (modality) {
        const std::vector<uint16_t>& entries = steps.modality.entries;
        const auto entryOf = [&](int32_t value) {
            const int64_t place = int64_t{value} - steps.modality.firstMapped;
            return entries.begin() + std::clamp<int64_t>(place, 0, static_cast<int64_t>(entries.size()) - 1);
        };
        const auto mask = static_cast<uint16_t>((1u << steps.modality.bitsPerEntry) - 1);
        smallest = largest = *entryOf(span.smallest) & mask;
        for (auto entry = entryOf(span.smallest); entry <= entryOf(span.largest); ++entry) {
            smallest = std::min<double>(smallest, *entry & mask);
            largest = std::max<double>(largest, *entry & mask);
        }
    }
    // The linear window function (PS3.3 C.11.2.1.2.1) is black up to center - 0.5 - (width - 1) / 2.
    *center = (smallest + largest) / 2 + 0.5;
    *width = std::abs(largest - smallest) + 1;
}

// Rewritten pixels keep their polarity, which the photometric interpretation tells; a lut is what the eye is
// to see.
int32_t ApplyVoi(const ImageOperations& operations, const DisplaySteps& steps, int32_t mode,
                 ImageBitmap* bitmap)
{
    const bool invert = steps.inverted && mode == kRemapLut;
    if (steps.numbers.hasWindow)
        return RemapWindow(bitmap, steps.numbers.center, steps.numbers.width, invert, mode);
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
    ReadStepNumbers(reader, &steps);
    steps.modality = ReadTable(reader, kTagModalityTables, isSigned);
    // After a modality step values may be negative whatever the pixels are.
    const bool voiIsSigned = isSigned || steps.HasRescale();
    steps.voi = ReadTable(reader, kTagVoiTables, voiIsSigned);
    steps.inverted = description.photometricCode == kMonochrome1;
    return steps;
}

void ReadStepNumbers(const AttributeReader& reader, DisplaySteps* steps)
{
    StepNumbers numbers;
    double slope = 1, intercept = 0;
    if (reader.Real(kTagSlope, 0, &slope) && reader.Real(kTagIntercept, 0, &intercept) && slope != 0)
        numbers.slope = slope, numbers.intercept = intercept;
    numbers.hasWindow =
        reader.Real(kTagWindowCenter, 0, &numbers.center) && reader.Real(kTagWindowWidth, 0, &numbers.width);
    steps->numbers = numbers;
}

bool NeedsValueSpan(const DisplaySteps& steps, uint32_t options)
{
    constexpr uint32_t kNeeded = kImageVoi | kImageSecondMode;
    if ((options & kNeeded) != kNeeded || (options & kImageRowsOnly) != 0) return false;
    if (steps.numbers.hasWindow || !steps.voi.entries.empty()) return false;
    return steps.inverted || ((options & kImageModality) != 0 && steps.HasModality());
}

DicomStatus ApplyDisplaySteps(DicomDataSet* dataSet, const DisplaySteps& steps, const ValueSpan* span,
                              uint32_t options, ImageBitmap* bitmap, RememberedLut* remembered)
{
    if (bitmap->colorOrder != kOrderGrey) return kDicomOk;
    const int32_t mode = (options & kImageSecondMode) != 0 ? kRemapLut : kRemapPixels;
    const bool modality = (options & kImageModality) != 0 && steps.HasModality();
    const bool voi = (options & kImageVoi) != 0 && (steps.numbers.hasWindow || !steps.voi.entries.empty() ||
                                                    NeedsValueSpan(steps, options));
    if (!modality && !voi) return kDicomOk;
    const ImageOperations& operations = dataSet->tables.images;
    if (operations.remapLinear == nullptr || operations.remapTable == nullptr) return kDicomNoRemapOperation;
    if (mode == kRemapLut && (options & kImageRowsOnly) != 0) return kDicomOk;

    const uint32_t wanted = options & kStepOptions;
    if (mode == kRemapLut && !remembered->lut.IsEmpty() && remembered->options == wanted &&
        remembered->numbers == steps.numbers)
        return DicomFromRaster(remembered->lut.InstallIn(bitmap));

    int32_t status = modality ? ApplyModality(operations, steps, mode, bitmap) : int32_t{kRasterOk};
    if (status >= 0 && voi && span != nullptr && NeedsValueSpan(steps, options)) {
        double center = 0, width = 0;
        WindowOfSpan(steps, modality, *span, &center, &width);
        status = RemapWindow(bitmap, center, width > 1 ? width : 0, steps.inverted, mode);
    } else if (status >= 0 && voi) {
        status = ApplyVoi(operations, steps, mode, bitmap);
    }
    if (status >= 0 && mode == kRemapLut) {
        remembered->lut.KeepFrom(*bitmap);
        remembered->numbers = steps.numbers;
        remembered->options = wanted;
    }
    return DicomFromRaster(status);
}
}  // namespace talv
