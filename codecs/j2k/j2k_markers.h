#pragma once

#include <cstdint>

namespace talv {
/// Markers of T.800 table A.2, and CAP of the later parts.
enum J2kMarker : uint16_t
{
    kMarkerSoc = 0xFF4F,
    kMarkerCap = 0xFF50,
    kMarkerSiz = 0xFF51,
    kMarkerCod = 0xFF52,
    kMarkerCoc = 0xFF53,
    kMarkerTlm = 0xFF55,
    kMarkerPlm = 0xFF57,
    kMarkerPlt = 0xFF58,
    kMarkerQcd = 0xFF5C,
    kMarkerQcc = 0xFF5D,
    kMarkerRgn = 0xFF5E,
    kMarkerPoc = 0xFF5F,
    kMarkerPpm = 0xFF60,
    kMarkerPpt = 0xFF61,
    kMarkerCrg = 0xFF63,
    kMarkerCom = 0xFF64,
    kMarkerSot = 0xFF90,
    kMarkerSop = 0xFF91,
    kMarkerEph = 0xFF92,
    kMarkerSod = 0xFF93,
    kMarkerEoc = 0xFFD9,
};
}  // namespace talv
