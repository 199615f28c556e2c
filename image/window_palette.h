#pragma once

#include <cstdint>

#include "dicom/dicom_status.h"
#include "raster/bitmap.h"

namespace talv {
/// Fills `entries`, `count` of them, with the grey ramp of a window: black below centre - width / 2, white
/// from centre + width / 2 on, or the reverse when `inverted`. A window without width gives the whole ramp.
/// kDicomInvalidArgument unless `count` is 256.
DicomStatus MakeWindowPalette(double center, double width, bool inverted, PaletteEntry* entries,
                              uint32_t count);

/// The window of the identity ramp.
inline constexpr double kIdentityCenter = 127.5, kIdentityWidth = 255;
}  // namespace talv
