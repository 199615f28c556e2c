#include "image/image_attributes.h"

#include <cstring>

#include "dicom/reader.h"
#include "image/palette_tables.h"

namespace talv {
namespace {
constexpr uint32_t kTagSamplesPerPixel = 0x00280002, kTagPhotometric = 0x00280004, kTagPlanar = 0x00280006;
constexpr uint32_t kTagRows = 0x00280010, kTagColumns = 0x00280011;
constexpr uint32_t kTagBitsAllocated = 0x00280100, kTagBitsStored = 0x00280101, kTagHighBit = 0x00280102;
constexpr uint32_t kTagPixelRepresentation = 0x00280103;
constexpr uint32_t kTagSmallestValid = 0x00280104, kTagLargestValid = 0x00280105;
constexpr uint32_t kTagSmallest = 0x00280106, kTagLargest = 0x00280107;
constexpr uint32_t kTagPixelSpacing = 0x00280030, kTagImagerSpacing = 0x00181164,
                   kTagScannedSpacing = 0x00182010;

constexpr double kMillimetresPerInch = 25.4;
constexpr uint32_t kMaxBitsAllocated = 32;

// Indexed by PhotometricCode.
constexpr const char* kPhotometricNames[] = {"MONOCHROME1", "MONOCHROME2", "PALETTE COLOR", "RGB",
                                             "ARGB",        "CMYK",        "YBR_FULL_422",  "YBR_FULL",
                                             "YBR_RCT",     "YBR_ICT"};

bool ReadPhotometric(const AttributeReader& reader, ImageDescription* description)
{
    if (reader.Find(kTagPhotometric) == nullptr) return true;  // counts as MONOCHROME1
    std::string text;
    if (!reader.Text(kTagPhotometric, &text)) return false;
    std::strncpy(description->photometricText, text.c_str(), sizeof description->photometricText - 1);
    for (uint32_t code = 0; code < std::size(kPhotometricNames); ++code)
        if (text == kPhotometricNames[code]) {
            description->photometricCode = code;
            return true;
        }
    return false;
}

/// True when every pixel has the samples that its photometric interpretation takes (PS3.3 C.7.6.3.1.2).
bool SamplesFitPhotometric(const ImageDescription& description)
{
    switch (description.photometricCode) {
        case kRgb:
            return description.samplesPerPixel == 3 || description.samplesPerPixel == 4;
        case kArgb:
        case kCmyk:
            return description.samplesPerPixel == 4;
        default:
            return true;
    }
}

/// Depth and kind of the bitmap to create.
void ChooseOutput(ImageDescription* description)
{
    description->outputBits = 8;
    description->greyLevel = 1;
    switch (description->photometricCode) {
        case kMonochrome1:
            break;
        case kMonochrome2:
            if (description->bitsStored == 1 && description->bitsAllocated == 1 &&
                description->highBit == 0 && description->samplesPerPixel == 1)
                description->outputBits = 1, description->greyLevel = 0;
            break;
        case kPaletteColor:
            description->outputBits = description->paletteEntries < 257 ? 8 : 24;
            description->greyLevel = 0;
            break;
        case kRgb:
        case kArgb:
        case kCmyk:
            description->outputBits = 24;
            description->greyLevel = 0;
            break;
        default:
            if (description->samplesPerPixel == 3) description->outputBits = 24, description->greyLevel = 0;
    }
    const uint32_t allocated = description->bitsAllocated;
    if (description->outputBits == 8 && description->photometricCode != kPaletteColor &&
        (allocated == 12 || allocated == 16 || allocated == 32))
        description->outputBits = 16;
    description->colorOrder = description->outputBits == 16 ? 2 : description->outputBits == 24 ? 1 : 0;
}

bool ReadLimit(const AttributeReader& reader, uint32_t imageTag, uint32_t validTag, bool isSigned,
               int32_t* value)
{
    int32_t number = 0;
    if (!reader.Integer(imageTag, 0, &number) && !reader.Integer(validTag, 0, &number)) return false;
    // 16 bits whatever sign their VR gives them; unsigned ones of 32-bit samples may be longer.
    if (isSigned)
        *value = static_cast<int16_t>(number);
    else
        *value = number < 0 ? static_cast<uint16_t>(number) : number;
    return true;
}

void ReadResolution(const AttributeReader& reader, ImageDescription* description)
{
    for (uint32_t tag : {kTagPixelSpacing, kTagImagerSpacing, kTagScannedSpacing}) {
        double first = 0, second = 0;
        if (!reader.Real(tag, 0, &first) || !reader.Real(tag, 1, &second)) continue;
        if (first != 0) description->yResolution = TruncateToInt32(kMillimetresPerInch / first + 0.5);
        if (second != 0) description->xResolution = TruncateToInt32(kMillimetresPerInch / second + 0.5);
        return;
    }
}

/// Bytes of one native frame. Rows of 1-bit samples begin on a byte boundary. Kept: every other sample counts
/// whole bytes, packed ones of 12 bits two, where one would expect three for a pair; so a clip of them has
/// fewer frames than it says. Pinned by FrameLocation.NativeFramesAreCountedByTheirSize.
uint64_t FrameSize(const ImageDescription& description)
{
    const uint64_t rows = description.rows, columns = description.columns;
    if (description.bitsAllocated == 1 && description.samplesPerPixel == 1) return (columns + 7) / 8 * rows;
    const uint64_t rowBytes = uint64_t{(description.bitsAllocated - 1) / 8 + 1} *
                              description.samplesPerPixel * columns;  // below 2^50
    return rowBytes > UINT64_MAX / rows ? UINT64_MAX : rowBytes * rows;
}
}  // namespace

bool ClampBitAttributes(ImageDescription* description)
{
    if (description->bitsAllocated == 0) description->bitsAllocated = 8;
    if (description->bitsAllocated > kMaxBitsAllocated) return false;
    if (description->bitsStored == 0 || description->bitsStored > description->bitsAllocated)
        description->bitsStored = description->bitsAllocated;
    if (description->highBit >= description->bitsAllocated ||
        description->highBit + 1 < description->bitsStored)
        description->highBit = description->bitsStored - 1;
    return true;
}

DicomStatus ReadImageAttributes(const AttributeReader& reader, ImageDescription* description)
{
    constexpr uint32_t kMaxSide = 65535;  // Rows and Columns are 16-bit numbers
    *description = {};
    TransferSyntax syntax;
    ClassifyTransferSyntax(reader.dataSet(), nullptr, &syntax);
    description->compression = syntax.compression;

    description->rows = reader.Unsigned(kTagRows);
    description->columns = reader.Unsigned(kTagColumns);
    if (description->rows == 0 || description->columns == 0) return kDicomNoGeometry;
    if (description->rows > kMaxSide || description->columns > kMaxSide) return kDicomNoFrame;

    description->pixelRepresentation = reader.Unsigned(kTagPixelRepresentation);
    ReadPaletteDescriptors(reader, description);
    description->bitsAllocated = reader.Unsigned(kTagBitsAllocated);
    description->bitsStored = reader.Unsigned(kTagBitsStored);
    description->highBit = reader.Unsigned(kTagHighBit);
    if (!ClampBitAttributes(description)) return kDicomNoFrame;

    const bool isSigned = description->pixelRepresentation == 1;
    description->hasSmallest =
        ReadLimit(reader, kTagSmallest, kTagSmallestValid, isSigned, &description->smallestValue);
    description->hasLargest =
        ReadLimit(reader, kTagLargest, kTagLargestValid, isSigned, &description->largestValue);

    const uint32_t samples = reader.Unsigned(kTagSamplesPerPixel);
    description->samplesPerPixel = samples == 0 ? 1 : samples;
    if (description->samplesPerPixel > UINT16_MAX) return kDicomNoFrame;
    if (description->samplesPerPixel > 1) description->planarConfiguration = reader.Unsigned(kTagPlanar);
    if (!ReadPhotometric(reader, description) || !SamplesFitPhotometric(*description))
        return kDicomUnknownPhotometric;
    ChooseOutput(description);
    ReadResolution(reader, description);
    description->frameSize = FrameSize(*description);
    if (description->samplesPerPixel == 3) description->pixelRepresentation = 0;
    return kDicomOk;
}
}  // namespace talv
