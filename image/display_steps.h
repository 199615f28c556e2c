#pragma once

#include <cstdint>
#include <vector>

#include "image/attribute_reader.h"
#include "image/image_description.h"
#include "raster/remap.h"

namespace talv {
/// A modality or VOI look-up table (PS3.3 C.11.1, C.11.2).
struct DisplayTable
{
    std::vector<uint16_t> entries;  ///< empty: none
    int32_t firstMapped = 0;
    uint32_t bitsPerEntry = 16;
};

/// The numbers among the steps, which may be another frame's own.
struct StepNumbers
{
    double slope = 1, intercept = 0, center = 0, width = 0;
    bool hasWindow = false;

    bool operator==(const StepNumbers&) const = default;
};

/// What the file says about the way from stored values to grey levels.
struct DisplaySteps
{
    StepNumbers numbers;
    DisplayTable modality;
    DisplayTable voi;
    bool inverted = false;  ///< small values are white

    bool HasRescale() const { return numbers.slope != 1 || numbers.intercept != 0; }
    bool HasModality() const { return HasRescale() || !modality.entries.empty(); }
};

/// The values, before the modality step, that a clip's first frame has.
struct ValueSpan
{
    int32_t smallest = 0, largest = 0;
};

/// The lut that the steps gave one frame; others with the same steps get a copy.
struct RememberedLut
{
    KeptLut lut;
    StepNumbers numbers;
    uint32_t options = 0;
};

DisplaySteps ReadDisplaySteps(const AttributeReader& reader, const ImageDescription& description);
/// Reads the numbers again, for the frame that `reader` is made for.
void ReadStepNumbers(const AttributeReader& reader, DisplaySteps* steps);

/// True when the lut that `options` asks for spreads the values of the first frame, because the file gives
/// neither window nor table: one over the whole significant range would leave little contrast.
bool NeedsValueSpan(const DisplaySteps& steps, uint32_t options);

/// Applies the steps that `options` asks for to a grey bitmap of more than 8 bits; others are left alone.
/// Either the pixels are rewritten or, in the second mode, the bitmap's lut is built. `span` is needed where
/// NeedsValueSpan says so; null there spreads the whole range. kDicomNoRemapOperation when the data set lacks
/// the operation, kDicomNoMemory, kDicomNoFrame.
DicomStatus ApplyDisplaySteps(DicomDataSet* dataSet, const DisplaySteps& steps, const ValueSpan* span,
                              uint32_t options, ImageBitmap* bitmap, RememberedLut* remembered);
}  // namespace talv
