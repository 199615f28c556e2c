#include "dicom/reader.h"
#include "image/attribute_reader.h"
#include "tools/talvdicom/element_text.h"
#include "tools/talvdicom/findings.h"

namespace talv {
namespace {
constexpr uint32_t kTagSamples = 0x00280002, kTagPhotometric = 0x00280004, kTagPlanar = 0x00280006;
constexpr uint32_t kTagBitsAllocated = 0x00280100, kTagBitsStored = 0x00280101, kTagHighBit = 0x00280102;
constexpr uint32_t kTagRepresentation = 0x00280103;
constexpr uint32_t kTagSmallest = 0x00280106, kTagLargest = 0x00280107;
constexpr uint32_t kTagWindowCenter = 0x00281050, kTagWindowWidth = 0x00281051;
constexpr uint32_t kTagIntercept = 0x00281052, kTagSlope = 0x00281053;
constexpr uint32_t kTagRedDescriptor = 0x00281101, kTagRedTable = 0x00281201, kTagRedSegmented = 0x00281221;

/// Adds findings about the attributes that one reader sees.
class ImageChecks
{
  public:
    ImageChecks(const AttributeReader& reader, const ImageDescription& description, Findings* findings)
        : reader_(reader), description_(description), findings_(findings)
    {}

    void Bits();
    void Colour();
    void Window();
    void Palettes();

  private:
    bool Has(uint32_t tag) const { return reader_.Find(tag) != nullptr; }
    void Add(Grade grade, uint32_t tag, const std::string& what)
    {
        findings_->push_back({grade, TagWords(tag), what});
    }

    const AttributeReader& reader_;
    const ImageDescription& description_;
    Findings* findings_;
};

/// The numbers as the file has them; the description holds what they were clamped to.
void ImageChecks::Bits()
{
    int32_t allocated = 0, stored = 0, high = 0;
    const bool hasAllocated = reader_.Integer(kTagBitsAllocated, 0, &allocated);
    const bool hasStored = reader_.Integer(kTagBitsStored, 0, &stored);
    const bool hasHigh = reader_.Integer(kTagHighBit, 0, &high);
    if (!hasAllocated || !hasStored || !hasHigh)
        Add(Grade::warning, kTagBitsAllocated, "Bits Allocated, Bits Stored and High Bit are not all there");
    if (hasAllocated && allocated != 1 && allocated != 8 && allocated != 16 && allocated != 32)
        Add(Grade::note, kTagBitsAllocated, std::to_string(allocated) + " bits allocated is unusual");
    if (hasAllocated && hasStored && stored > allocated)
        Add(Grade::error, kTagBitsStored,
            std::to_string(stored) + " bits stored in " + std::to_string(allocated) + " allocated");
    if (hasStored && hasHigh && high != stored - 1)
        Add(Grade::warning, kTagHighBit,
            "high bit " + std::to_string(high) + " with " + std::to_string(stored) + " bits stored");
    if (!Has(kTagRepresentation)) Add(Grade::note, kTagRepresentation, "no Pixel Representation: unsigned");
    int32_t smallest = 0, largest = 0;
    if (reader_.Integer(kTagSmallest, 0, &smallest) && reader_.Integer(kTagLargest, 0, &largest) &&
        description_.smallestValue > description_.largestValue)
        Add(Grade::warning, kTagSmallest, "the smallest pixel value is above the largest");
}

void ImageChecks::Colour()
{
    const uint32_t samples = description_.samplesPerPixel, code = description_.photometricCode;
    if (!Has(kTagPhotometric))
        Add(Grade::warning, kTagPhotometric, "no Photometric Interpretation: shown as inverted grey");
    if (!Has(kTagSamples)) Add(Grade::note, kTagSamples, "no Samples per Pixel: 1");
    const uint32_t wanted = code == kMonochrome1 || code == kMonochrome2 || code == kPaletteColor ? 1
                            : code == kArgb || code == kCmyk                                      ? 4
                                                                                                  : 3;
    if (samples != wanted)
        Add(Grade::warning, kTagSamples,
            std::to_string(samples) + " samples a pixel do not go with " + description_.photometricText);
    if (samples > 1 && !Has(kTagPlanar))
        Add(Grade::warning, kTagPlanar, "no Planar Configuration: samples taken as interleaved");
    if (code == kYbrFull422 && description_.compression == kCompressionNone)
        Add(Grade::error, kTagPhotometric, "uncompressed YBR_FULL_422 is not unpacked: the picture is wrong");
}

void ImageChecks::Window()
{
    double width = 0;
    const bool hasWidth = reader_.Real(kTagWindowWidth, 0, &width), hasCenter = Has(kTagWindowCenter);
    if (hasWidth != hasCenter)
        Add(Grade::warning, kTagWindowCenter, "a window of which only one half is there is not used");
    if (hasWidth && hasCenter && width < 1)
        Add(Grade::warning, kTagWindowWidth, "a window without width shows the whole range");
    double slope = 1, intercept = 0;
    const bool hasSlope = reader_.Real(kTagSlope, 0, &slope);
    if (hasSlope != reader_.Real(kTagIntercept, 0, &intercept))
        Add(Grade::warning, kTagSlope, "a rescale of which only one half is there is not used");
    if (hasSlope && slope == 0) Add(Grade::warning, kTagSlope, "a rescale slope of 0 is not used");
}

void ImageChecks::Palettes()
{
    if (description_.photometricCode != kPaletteColor) return;
    static constexpr const char* kColours[] = {"red", "green", "blue"};
    const ColourTable* const tables[] = {&description_.red, &description_.green, &description_.blue};
    for (uint32_t i = 0; i < 3; ++i) {
        const std::string colour = kColours[i];
        if (tables[i]->entryCount == 0) {
            Add(Grade::error, kTagRedDescriptor + i, "no descriptor of the " + colour + " palette");
            continue;
        }
        const DicomElement* const plain = reader_.Find(kTagRedTable + i);
        if (plain == nullptr && !Has(kTagRedSegmented + i))
            Add(Grade::error, kTagRedTable + i, "no " + colour + " palette");
        const uint64_t bytes = plain != nullptr ? BytesPresent(plain) : UINT64_MAX;
        if (bytes < tables[i]->entryCount * (tables[i]->bitsPerEntry > 8 ? uint64_t{2} : uint64_t{1}))
            Add(Grade::warning, kTagRedTable + i,
                "the " + colour + " palette is shorter than its descriptor says");
    }
}
}  // namespace

void CheckImage(OpenedFile* opened, Findings* findings)
{
    DicomElement* const pixels = opened->source.pixelDataElement;
    const AttributeReader reader(opened->source.dataSet, pixels);
    ImageChecks checks(reader, opened->Frames().Description(), findings);
    checks.Bits();
    checks.Colour();
    checks.Window();
    checks.Palettes();
    if (pixels->parent != nullptr)
        findings->push_back({Grade::warning, PathWords(*pixels) + TagWords(pixels->tag),
                             "the only Pixel Data is inside a sequence"});
    else if (opened->source.dataSet->FindFirstElement(nullptr, pixels->tag, false) != pixels ||
             opened->source.dataSet->FindNextElement(pixels, false) != nullptr)
        findings->push_back({Grade::note, TagWords(pixels->tag),
                             "there is more Pixel Data inside sequences (an icon); it is not played"});
}
}  // namespace talv
