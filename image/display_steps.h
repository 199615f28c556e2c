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

/// What the file says about the way from stored values to grey levels.
struct DisplaySteps
{
    double slope = 1, intercept = 0;
    DisplayTable modality;
    bool hasWindow = false;
    double center = 0, width = 0;
    DisplayTable voi;
    bool inverted = false;  ///< small values are white

    bool HasRescale() const { return slope != 1 || intercept != 0; }
};

/// The lut that the steps gave the first frame; the others get a copy.
struct RememberedLut
{
    KeptLut lut;
    uint32_t options = 0;
};

DisplaySteps ReadDisplaySteps(const AttributeReader& reader, const ImageDescription& description);

/// Applies the steps that `options` asks for to a grey bitmap of more than 8 bits; others are left alone.
/// Either the pixels are rewritten or, in the second mode, the bitmap's lut is built. kDicomNoRemapOperation
/// when the data set lacks the operation, kDicomNoMemory, kDicomNoFrame.
DicomStatus ApplyDisplaySteps(DicomDataSet* dataSet, const DisplaySteps& steps, uint32_t options,
                              ImageBitmap* bitmap, RememberedLut* remembered);
}  // namespace talv
