#pragma once

#include <cstddef>
#include <cstdint>

#include "dicom/element.h"

namespace talv {
class DicomDataSet;

/// Which typed getter serves a VR.
enum ValueClass : int
{
    kClassNone = -1,  ///< a VR the library does not know: its bytes are only shown
    kClassBytes = 0,
    kClassWords = 1,
    kClassLongs = 2,
    kClassFloats = 3,
    kClassDoubles = 4,
    kClassStrings = 5,
    kClassAges = 6,
    kClassDates = 7,
    kClassTimes = 8,
    kClassDateTimes = 9,
};

ValueClass ValueClassOf(uint16_t vr);
/// Bytes of one value in the converted array.
size_t ValueSizeOf(ValueClass valueClass);

/// Fetches and converts the value of `element` unless that is done already. False when it has none (a
/// container), when the stream does not hold all of it and when memory is short; the element then stays as it
/// was.
///
/// `values` is a single block of the allocator, whatever the VR: the array of strings is followed by their
/// texts, that of IS values by the same values with 64 bits.
bool LoadValues(const DicomDataSet* dataSet, DicomElement* element);

/// The 64-bit values behind a loaded IS array.
const int64_t* WideIntegers(const DicomElement* element);

/// True when the stored bytes of the element's value are big endian. One rule holds for every stream a value
/// may lie in, the data set's own one included: values lie in the byte order of the data set (`mode`), those
/// of group 0002 are always little endian (PS3.10 7.1). So what ReadValueBytes returns may be given to
/// SetRawValue as it is.
bool IsStoredBigEndian(const DicomDataSet* dataSet, const DicomElement* element);

/// Reverses the bytes of each unit of a value of this VR (AT: of each half) in place.
void SwapUnits(uint16_t vr, void* bytes, size_t count);

inline constexpr uint16_t kVrAE = MakeVr('A', 'E'), kVrAS = MakeVr('A', 'S'), kVrAT = MakeVr('A', 'T'),
                          kVrCS = MakeVr('C', 'S'), kVrDA = MakeVr('D', 'A'), kVrDS = MakeVr('D', 'S'),
                          kVrDT = MakeVr('D', 'T'), kVrFD = MakeVr('F', 'D'), kVrFL = MakeVr('F', 'L'),
                          kVrIS = MakeVr('I', 'S'), kVrLO = MakeVr('L', 'O'), kVrLT = MakeVr('L', 'T'),
                          kVrOB = MakeVr('O', 'B'), kVrOF = MakeVr('O', 'F'), kVrOW = MakeVr('O', 'W'),
                          kVrPN = MakeVr('P', 'N'), kVrSH = MakeVr('S', 'H'), kVrSL = MakeVr('S', 'L'),
                          kVrSQ = MakeVr('S', 'Q'), kVrSS = MakeVr('S', 'S'), kVrST = MakeVr('S', 'T'),
                          kVrTM = MakeVr('T', 'M'), kVrUI = MakeVr('U', 'I'), kVrUL = MakeVr('U', 'L'),
                          kVrUN = MakeVr('U', 'N'), kVrUS = MakeVr('U', 'S'), kVrUT = MakeVr('U', 'T');
}  // namespace talv
