#include "dicom/value_class.h"

#include "dicom/value_records.h"

namespace talv {
ValueClass ValueClassOf(uint16_t vr)
{
    switch (vr) {
        case kVrOB:
        case kVrSQ:
        case kVrUN:
            return kClassBytes;
        case kVrOW:
        case kVrSS:
        case kVrUS:
            return kClassWords;
        case kVrAT:
        case kVrIS:
        case kVrSL:
        case kVrUL:
            return kClassLongs;
        case kVrFL:
        case kVrOF:
            return kClassFloats;
        case kVrDS:
        case kVrFD:
            return kClassDoubles;
        case kVrAE:
        case kVrCS:
        case kVrLO:
        case kVrLT:
        case kVrPN:
        case kVrSH:
        case kVrST:
        case kVrUI:
        case kVrUT:
            return kClassStrings;
        case kVrAS:
            return kClassAges;
        case kVrDA:
            return kClassDates;
        case kVrTM:
            return kClassTimes;
        case kVrDT:
            return kClassDateTimes;
        default:
            return kClassNone;
    }
}

size_t ValueSizeOf(ValueClass valueClass)
{
    switch (valueClass) {
        case kClassNone:
        case kClassBytes:
            return sizeof(uint8_t);
        case kClassWords:
            return sizeof(uint16_t);
        case kClassLongs:
            return sizeof(int32_t);
        case kClassFloats:
            return sizeof(float);
        case kClassDoubles:
            return sizeof(double);
        case kClassStrings:
            return sizeof(char*);
        case kClassAges:
            return sizeof(DicomAge);
        case kClassDates:
            return sizeof(DicomDate);
        case kClassTimes:
            return sizeof(DicomTime);
        case kClassDateTimes:
            return sizeof(DicomDateTime);
    }
    return 0;
}
}  // namespace talv
