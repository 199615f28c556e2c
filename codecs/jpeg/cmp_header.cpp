#include "codecs/jpeg/cmp_header.h"

namespace talv::jpeg {
bool LooksLikeCmp(const uint8_t* source, size_t length)
{
    return length >= 2 && source[0] == 'T' && (source[1] == 'A' || source[1] == 'a');
}

int32_t ReadCmpHeader(JpegDecoder*)
{
    return kCodecUnsupported;
}
}  // namespace talv::jpeg
