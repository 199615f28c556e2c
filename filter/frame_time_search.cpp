#include <cstring>

#include "dicom/reader.h"
#include "dicom/value_records.h"
#include "filter/frame_source.h"

// Where a data set says how fast its frames follow each other, and which transfer syntax they are in.
namespace talv {
namespace {
constexpr uint32_t kTagFrameIncrementPointer = 0x00280009;
constexpr uint32_t kTagFrameTime = 0x00181063;
constexpr uint32_t kTagFrameTimeVector = 0x00181065;
// Kept: Number of Slices where one would expect a tag of frame timing; the two times override it.
// Pinned by FrameTimeSearch.TagsInOrderOfPrecedence.
constexpr uint32_t kTagFirstChoice = 0x00540080;

/// The element's first value, as an integer where its VR holds integers, else as a real. Other VRs hold no
/// times, and their values (pixel data among them) are not loaded. A time of zero is handed on but tells
/// nothing, so it does not count as found.
bool ReadMilliseconds(DicomDataSet* dataSet, DicomElement* element, double* milliseconds)
{
    switch (element->vr) {
        case MakeVr('I', 'S'):
        case MakeVr('S', 'L'):
        case MakeVr('U', 'L'):
        case MakeVr('S', 'S'):
        case MakeVr('U', 'S'): {
            int32_t integer = 0;
            if (!dataSet->GetInteger(element, 0, &integer)) return false;
            *milliseconds = integer;
            return integer != 0;
        }
        case MakeVr('D', 'S'):
        case MakeVr('F', 'D'):
        case MakeVr('F', 'L'):
            return dataSet->GetReal(element, 0, milliseconds) && *milliseconds != 0.0;
        default:
            return false;
    }
}

DicomElement* FindAnywhere(DicomDataSet* dataSet, uint32_t tag)
{
    return dataSet->FindFirstElement(nullptr, tag, false);
}

/// The element that Frame Increment Pointer (PS3.3 C.7.6.6) names; null when there is none.
DicomElement* FindPointedElement(DicomDataSet* dataSet)
{
    DicomElement* pointer = FindAnywhere(dataSet, kTagFrameIncrementPointer);
    if (pointer == nullptr || pointer->vr != MakeVr('A', 'T')) return nullptr;
    const int32_t* value = dataSet->GetLongs(pointer, 0, 1);
    if (value == nullptr) return nullptr;
    DicomTag tag;
    std::memcpy(&tag, value, sizeof tag);
    return FindAnywhere(dataSet, MakeTag(tag.group, tag.element));
}
}  // namespace

bool FindFrameTime(DicomDataSet* dataSet, double* milliseconds, DicomElement** origin)
{
    DicomElement* ignored = nullptr;
    if (origin == nullptr) origin = &ignored;
    *origin = nullptr;
    if (dataSet == nullptr) return false;
    bool found = false;
    if ((*origin = FindAnywhere(dataSet, kTagFirstChoice)) != nullptr)
        found = ReadMilliseconds(dataSet, *origin, milliseconds);
    else if ((*origin = FindPointedElement(dataSet)) != nullptr)
        return ReadMilliseconds(dataSet, *origin, milliseconds);

    for (const uint32_t tag : {kTagFrameTime, kTagFrameTimeVector}) {
        DicomElement* element = FindAnywhere(dataSet, tag);
        if (element == nullptr) continue;
        *origin = element;
        return ReadMilliseconds(dataSet, element, milliseconds);
    }
    return found;
}

int32_t GetTransferSyntaxClass(DicomDataSet* dataSet)
{
    // PS3.6 Table A-1. All syntaxes that are not listed are class 0, the uncompressed ones among them.
    static constexpr struct
    {
        const char* uid;
        int32_t syntaxClass;
    } kClasses[] = {
        {"1.2.840.10008.1.2.5", kCompressionRle},
        {"1.2.840.10008.1.2.4.57", kCompressionJpegLossless},
        {"1.2.840.10008.1.2.4.58", kCompressionJpegLossless},
        {"1.2.840.10008.1.2.4.65", kCompressionJpegLossless},
        {"1.2.840.10008.1.2.4.66", kCompressionJpegLossless},
        {"1.2.840.10008.1.2.4.70", kCompressionJpegLossless},
        {"1.2.840.10008.1.2.4.50", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.51", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.52", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.53", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.54", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.55", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.56", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.59", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.60", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.61", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.62", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.63", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.64", kCompressionJpegLossy},
        {"1.2.840.10008.1.2.4.80", kCompressionJpegLsLossless},
        {"1.2.840.10008.1.2.4.81", kCompressionJpegLsNear},
        {"1.2.840.10008.1.2.4.90", kCompressionJ2kLossless},
        {"1.2.840.10008.1.2.4.91", kCompressionJ2k},
        {"1.2.840.10008.1.2.4.100", kCompressionMpeg2},
    };
    char uid[65] = {};
    if (dataSet == nullptr || !dataSet->GetTagValue(nullptr, kTagTransferSyntaxUid, uid, 0, sizeof uid, 0))
        return kCompressionNone;
    for (const auto& entry : kClasses)
        if (std::strcmp(entry.uid, uid) == 0) return entry.syntaxClass;
    return kCompressionNone;
}
}  // namespace talv
