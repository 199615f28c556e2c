#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "dicom/allocator.h"
#include "dicom/data_set.h"
#include "dicom/value_class.h"
#include "dicom/value_text.h"

namespace talv {
namespace {
constexpr double kLongMin = std::numeric_limits<int32_t>::min(),
                 kLongMax = std::numeric_limits<int32_t>::max();

/// How GetTagValue delivers.
enum TagValueKind
{
    kTagText = 0,
    kTagWords = 1,
    kTagLongs = 2,
};

/// A whole number to 32 bits, saturating.
int32_t Saturate(int64_t number)
{
    return static_cast<int32_t>(std::clamp<int64_t>(number, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

/// Value `index` of a loaded whole-number element with all its bits; false for other VRs.
bool WholeNumber(const DicomElement* element, uint32_t index, int64_t* number)
{
    switch (element->vr) {
        case kVrUS:
            *number = static_cast<const uint16_t*>(element->values)[index];
            return true;
        case kVrSS:
            *number = static_cast<const int16_t*>(element->values)[index];
            return true;
        case kVrUL:
            *number = static_cast<const uint32_t*>(element->values)[index];
            return true;
        case kVrSL:
            *number = static_cast<const int32_t*>(element->values)[index];
            return true;
        case kVrIS:
            *number = WideIntegers(element)[index];
            return true;
        default:
            return false;
    }
}

/// Value `index` of a loaded element of a real VR; false for other VRs and for what is not a number.
bool RealNumber(const DicomElement* element, uint32_t index, double* number)
{
    if (element->vr == kVrFL)
        *number = static_cast<const float*>(element->values)[index];
    else if (element->vr == kVrFD || element->vr == kVrDS)
        *number = static_cast<const double*>(element->values)[index];
    else
        return false;
    return !std::isnan(*number);
}

bool HasValue(const DicomElement* element, uint32_t index)
{
    return element->valueCount > 0 && index < static_cast<uint32_t>(element->valueCount);
}

/// Value `index` of a loaded element as 16 bits: numbers beyond -32768 .. 65535 are clamped, OW words are as
/// they are.
bool WordOf(const DicomElement* element, uint32_t index, uint16_t* word)
{
    int64_t number = 0;
    double real = 0;
    if (element->vr == kVrOW)
        number = static_cast<const uint16_t*>(element->values)[index];
    else if (RealNumber(element, index, &real))
        number = static_cast<int64_t>(std::clamp(real, kLongMin, kLongMax));
    else if (!WholeNumber(element, index, &number))
        return false;
    *word = static_cast<uint16_t>(std::clamp<int64_t>(number, std::numeric_limits<int16_t>::min(),
                                                      std::numeric_limits<uint16_t>::max()));
    return true;
}

/// Value `index` of a loaded element as 32 bits, likewise; an attribute tag lies there group first.
bool LongOf(const DicomElement* element, uint32_t index, uint32_t* bits)
{
    int64_t number = 0;
    double real = 0;
    if (element->vr == kVrAT)
        number = static_cast<const uint32_t*>(element->values)[index];
    else if (RealNumber(element, index, &real))
        number = static_cast<int64_t>(
            std::clamp(real, kLongMin, static_cast<double>(std::numeric_limits<uint32_t>::max())));
    else if (!WholeNumber(element, index, &number))
        return false;
    *bits = static_cast<uint32_t>(std::clamp<int64_t>(number, std::numeric_limits<int32_t>::min(),
                                                      std::numeric_limits<uint32_t>::max()));
    return true;
}

/// Copies the numbers there are from value `first` on and clears the rest; true when there was one at least.
template <class Number>
bool CopyNumbers(const DicomElement* element, uint32_t first, uint32_t count, Number* out,
                 bool (*numberOf)(const DicomElement*, uint32_t, Number*))
{
    uint32_t copied = 0;
    if (element != nullptr)
        while (copied < count && HasValue(element, first) && numberOf(element, first, &out[copied]))
            ++first, ++copied;
    std::fill(out + copied, out + count, Number{0});
    return copied > 0;
}
}  // namespace

int32_t DicomDataSet::GetValueCount(DicomElement* element)
{
    if (element == nullptr || !CheckElement(element) || !LoadValues(this, element)) return 0;
    return element->valueCount;
}

void DicomDataSet::ReleaseValues(DicomElement* element)
{
    if (element == nullptr || !CheckElement(element)) return;
    if (element->values != nullptr) dicomAllocator.free(element->values);
    element->values = nullptr;
    element->valueCount = -1;
}

void* DicomDataSet::GetRange(DicomElement* element, int valueClass, uint32_t first, uint32_t count)
{
    if (element == nullptr || !CheckElement(element)) return nullptr;
    if (ValueClassOf(element->vr) != valueClass || !LoadValues(this, element)) return nullptr;
    const uint64_t available = static_cast<uint32_t>(element->valueCount);
    if (first > available) return nullptr;
    if (count != 0xFFFFFFFF && uint64_t{first} + count > available) return nullptr;
    if (element->values == nullptr) return nullptr;
    return static_cast<char*>(element->values) + first * ValueSizeOf(static_cast<ValueClass>(valueClass));
}

uint8_t* DicomDataSet::GetBytes(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<uint8_t*>(GetRange(element, kClassBytes, first, count));
}

uint16_t* DicomDataSet::GetWords(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<uint16_t*>(GetRange(element, kClassWords, first, count));
}

int32_t* DicomDataSet::GetLongs(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<int32_t*>(GetRange(element, kClassLongs, first, count));
}

float* DicomDataSet::GetFloats(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<float*>(GetRange(element, kClassFloats, first, count));
}

double* DicomDataSet::GetDoubles(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<double*>(GetRange(element, kClassDoubles, first, count));
}

char** DicomDataSet::GetStrings(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<char**>(GetRange(element, kClassStrings, first, count));
}

DicomAge* DicomDataSet::GetAges(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<DicomAge*>(GetRange(element, kClassAges, first, count));
}

DicomDate* DicomDataSet::GetDates(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<DicomDate*>(GetRange(element, kClassDates, first, count));
}

DicomTime* DicomDataSet::GetTimes(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<DicomTime*>(GetRange(element, kClassTimes, first, count));
}

DicomDateTime* DicomDataSet::GetDateTimes(DicomElement* element, uint32_t first, uint32_t count)
{
    return static_cast<DicomDateTime*>(GetRange(element, kClassDateTimes, first, count));
}

bool DicomDataSet::GetIntegerString64(DicomElement* element, uint32_t index, int64_t* value)
{
    if (GetValueCount(element) <= 0 || element->vr != kVrIS || !HasValue(element, index)) return false;
    *value = WideIntegers(element)[index];
    return true;
}

bool DicomDataSet::GetInteger(DicomElement* element, uint32_t index, int32_t* value)
{
    if (GetValueCount(element) <= 0 || !HasValue(element, index)) return false;
    int64_t number = 0;
    double real = 0;
    if (WholeNumber(element, index, &number))
        *value = Saturate(number);
    else if (RealNumber(element, index, &real))
        *value = static_cast<int32_t>(std::clamp(real, kLongMin, kLongMax));
    else
        return false;
    return true;
}

bool DicomDataSet::GetReal(DicomElement* element, uint32_t index, double* value)
{
    if (GetValueCount(element) <= 0 || !HasValue(element, index)) return false;
    int64_t number = 0;
    double real = 0;
    if (WholeNumber(element, index, &number))
        *value = static_cast<double>(number);
    else if (RealNumber(element, index, &real))
        *value = real;
    else
        return false;
    return true;
}

bool DicomDataSet::GetTagValue(DicomElement* parent, uint32_t tag, void* out, uint32_t first,
                               uint32_t countOrSize, int kind)
{
    if (out == nullptr) return false;
    DicomElement* element = FindFirstElement(parent, tag, true);
    if (GetValueCount(element) <= 0) element = nullptr;
    switch (kind) {
        case kTagText:
            if (countOrSize == 0) return false;
            static_cast<char*>(out)[0] = '\0';
            if (element == nullptr || !HasValue(element, first)) return false;
            FormatOneValue(element, first, static_cast<char*>(out), countOrSize);
            return true;
        case kTagWords:
            return CopyNumbers(element, first, countOrSize, static_cast<uint16_t*>(out), WordOf);
        case kTagLongs:
            return CopyNumbers(element, first, countOrSize, static_cast<uint32_t*>(out), LongOf);
        default:
            return false;
    }
}
}  // namespace talv
