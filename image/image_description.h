#pragma once

#include <cstdint>
#include <vector>

#include "dicom/data_set.h"

namespace talv {
enum PhotometricCode : uint32_t
{
    kMonochrome1 = 0,
    kMonochrome2 = 1,
    kPaletteColor = 2,
    kRgb = 3,
    kArgb = 4,
    kCmyk = 5,
    kYbrFull422 = 6,
    kYbrFull = 7,
    kYbrRct = 8,
    kYbrIct = 9,
};

/// One colour's palette: descriptor and, when asked for, its entries.
struct ColourTable
{
    uint32_t entryCount = 0;  ///< 65536 for a stored 0; 0 when there is no descriptor
    int32_t firstMapped = 0;
    uint32_t bitsPerEntry = 0;
    std::vector<uint16_t> entries;
};

/// The image attributes of one Pixel Data element and where one frame's bytes lie.
struct ImageDescription
{
    uint32_t samplesPerPixel = 1;
    char photometricText[31] = {};
    uint32_t photometricCode = kMonochrome1;
    uint32_t rows = 0;
    uint32_t columns = 0;
    uint32_t bitsAllocated = 0;
    uint32_t bitsStored = 0;
    uint32_t highBit = 0;
    uint32_t pixelRepresentation = 0;
    uint32_t planarConfiguration = 0;
    int32_t xResolution = 0;  ///< dots per inch
    int32_t yResolution = 0;
    int32_t smallestValue = 0;
    int32_t largestValue = 0;
    bool hasSmallest = false;
    bool hasLargest = false;
    ColourTable red, green, blue;
    uint32_t paletteEntries = 0;  ///< largest of the three counts
    int32_t paletteFirst = 0;     ///< smallest of the three first mapped values
    uint32_t outputBits = 0;      ///< 1, 8, 16 or 24
    uint32_t layoutCode = 1;
    int32_t compression = 0;  ///< CompressionKind
    uint32_t greyLevel = 0;
    uint32_t colorOrder = 0;
    uint32_t frameCount = 0;               ///< frames found in this element
    uint64_t frameSize = 0;                ///< bytes of one native frame
    uint64_t frameOffset = 0;              ///< of the frame inside the element's value (native data)
    DicomElement* frameElement = nullptr;  ///< the Pixel Data element or one of its items
};

/// Reads the attributes and locates `frame` (from 0). kDicomNoGeometry, kDicomUnknownPhotometric,
/// kDicomNoFrame, kDicomNoMemory. What belongs to the file is remembered with the data set until it changes.
DicomStatus ReadImageDescription(DicomDataSet* dataSet, DicomElement* pixelElement,
                                 ImageDescription* description, uint32_t frame, bool loadPalettes);

/// Name of a compression kind: "None", "Run Length", "JPEG Lossless", ...
const char* CompressionName(int32_t compression);
}  // namespace talv
