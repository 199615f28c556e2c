#include <algorithm>
#include <new>

#include "filter/frame_source.h"
#include "filter/frame_source_state.h"
#include "image/attribute_reader.h"
#include "image/functional_groups.h"
#include "image/get_image.h"

// What the first frame and the attributes beside it tell: geometry, bit range, window, rescale, palettes,
// frame count.
namespace talv {
namespace {
constexpr uint32_t kTagNumberOfFrames = 0x00280008;
constexpr uint32_t kTagWindowCenter = 0x00281050;
constexpr uint32_t kTagWindowWidth = 0x00281051;
constexpr uint32_t kTagRescaleIntercept = 0x00281052;
constexpr uint32_t kTagRescaleSlope = 0x00281053;
constexpr uint32_t kMaxPaletteEntries = 65536;

/// An attribute of the top level or, in an enhanced multi-frame object, of the first frame.
bool ReadImageReal(DicomDataSet* dataSet, const FunctionalGroups& groups, uint32_t tag, double* value)
{
    DicomElement* element = dataSet->FindFirstElement(nullptr, tag, true);
    if (element == nullptr) element = groups.Find(dataSet, 0, tag);
    return element != nullptr && dataSet->GetReal(element, 0, value);
}

/// Kept: the integer part, its sign lost: 0.5 becomes 0.0 and -1024 becomes 4294966272.0, where one would
/// expect the value itself. Pinned by FrameSourceLoad.RescaleValuesLoseFractionAndSign.
double TruncateToUnsigned(double value)
{
    return static_cast<uint32_t>(TruncateToInt32(value));
}

/// Up to 8 bits: a grey ramp, over which the bitmap's own palette is laid.
void TakeDisplayPalette(const ImageBitmap& bitmap, PaletteEntry (&palette)[256])
{
    for (int i = 0; i < 256; ++i) {
        const auto level = static_cast<uint8_t>(i);
        palette[i] = {level, level, level, 0};
    }
    if (bitmap.bitsPerPixel <= 8 && bitmap.palette != nullptr)
        std::copy_n(bitmap.palette, std::min<uint32_t>(bitmap.colorCount, 256), palette);
}
}  // namespace

PixelDataChoice ChoosePixelData(FrameSource* source, DicomDataSet* dataSet, bool wholeTree)
{
    PixelDataChoice choice;
    choice.first = dataSet->FindFirstElement(nullptr, kTagPixelData, true);
    if (choice.first == nullptr && wholeTree)
        choice.first = dataSet->FindFirstElement(nullptr, kTagPixelData, false);
    if (choice.first == nullptr) return choice;

    ++source->pixelDataCounter;
    choice.stoppedAt = choice.first;
    while (choice.stoppedAt != nullptr && source->pixelDataCounter != source->pixelDataTarget) {
        choice.stoppedAt = dataSet->FindNextElement(choice.stoppedAt, true);
        if (choice.stoppedAt != nullptr) ++source->pixelDataCounter;
    }
    return choice;
}

/// Decodes the first frame and stores what its bitmap and the attributes beside it say. `flags` receives the
/// window bits of imageFlags. Nothing is stored when the frame cannot be decoded.
DicomStatus FrameSource::TakeImage(DicomDataSet* from, DicomElement* pixelData, uint32_t* flags)
{
    ImageBitmap bitmap = {};
    const DicomStatus status =
        GetImage(from, pixelData, &bitmap, kBitmapStructSize, 0, 0, 4, kPlayerImageOptions, nullptr, nullptr);
    if (status != kDicomOk) return status;
    ForgetLastFrame();
    width = bitmap.width;
    height = bitmap.height;
    bitsPerPixel = static_cast<uint32_t>(bitmap.bitsPerPixel);
    lowBit = bitmap.lowBit;
    highBit = bitmap.highBit;
    minPixelValue = bitmap.minValue;
    maxPixelValue = bitmap.maxValue;
    TakeWindow(from, flags);
    TakeDisplayPalette(bitmap, palette8);
    palette.clear();
    try {
        if (bitmap.lut != nullptr)
            palette.assign(bitmap.lut, bitmap.lut + std::min(bitmap.lutLength, kMaxPaletteEntries));
    } catch (const std::bad_alloc&) {
        FreeBitmap(&bitmap);
        return kDicomNoMemory;
    }
    FreeBitmap(&bitmap);
    return kDicomOk;
}

/// Window and rescale values. The rescale pair is looked at only when the file has both window values, and
/// the slope only when it has an intercept; an intercept without a slope does not count.
void FrameSource::TakeWindow(DicomDataSet* from, uint32_t* flags)
{
    double center = 0.0, extent = 0.0, intercept = 0.0, slope = 1.0;
    const FunctionalGroups groups = FindFunctionalGroups(from);
    if (ReadImageReal(from, groups, kTagWindowWidth, &extent) &&
        ReadImageReal(from, groups, kTagWindowCenter, &center)) {
        if (ReadImageReal(from, groups, kTagRescaleIntercept, &intercept)) {
            *flags |= kImageWindowFromFile;
            if (!ReadImageReal(from, groups, kTagRescaleSlope, &slope)) {
                slope = 1.0;
                intercept = 0.0;
            }
        }
    } else {
        extent = static_cast<double>(int64_t{maxPixelValue} - minPixelValue);
        center = static_cast<double>((int64_t{maxPixelValue} + minPixelValue) / 2);
        *flags |= kImageWindowComputed;
    }
    windowCenter = TruncateToInt32(center);
    windowWidth = TruncateToInt32(extent);
    rescaleSlope = TruncateToUnsigned(slope);
    rescaleIntercept = TruncateToUnsigned(intercept);
}

void FrameSource::TakeFrameCount()
{
    int32_t frames = 1;
    DicomElement* element =
        dataSet != nullptr ? dataSet->FindFirstElement(nullptr, kTagNumberOfFrames, true) : nullptr;
    if (element != nullptr && !dataSet->GetInteger(element, 0, &frames)) frames = 1;
    timeline->frameCount = frames;
    timeline->stopFrame = frames;
    // A position sought in the file before means nothing in this one.
    timeline->currentFrame = 0;
    timeline->positionsSet = false;
}
}  // namespace talv
