#pragma once

#include "codecs/jpeg/jpeg_decoder.h"

namespace talv::jpeg {
/// Decodes an interlaced picture whose first field's header is read: the fields go to the even and the odd
/// rows. A second field follows behind a restart marker or as an image of its own; without one each of its
/// rows is interpolated. `firstOnly`: the other rows are left as they were. 1, or a negative code.
int32_t DecodeFields(JpegDecoder* decoder, const RowTable& rows, bool firstOnly);

/// One interpolated row of `bytes`; the formula depends on `level`.
void InterpolateRow(SimdLevel level, const uint8_t* above, const uint8_t* below, uint8_t* out, size_t bytes);
}  // namespace talv::jpeg
