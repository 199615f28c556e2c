#include "codecs/j2k/j2k_entry_point.h"

#include <new>

#include "codecs/codec_status.h"
#include "codecs/j2k/j2k_decoder.h"

extern "C" FLT_EXPORT int32_t FLT_CALL
fltJ2KDecompressFrame(const void* src, void* dest, const talv::J2KFrameDescriptor* descriptor) noexcept
{
    using namespace talv;
    if (src == nullptr || dest == nullptr || descriptor == nullptr) return kCodecInvalidParameter;
    if (descriptor->size != sizeof(J2KFrameDescriptor)) return kCodecWrongStructSize;
    if (descriptor->width == 0 || descriptor->height == 0) return kCodecInvalidParameter;
    try {
        return DecodeJ2kFrame(static_cast<const uint8_t*>(src), dest, *descriptor, 0);
    } catch (const std::bad_alloc&) {
        return kCodecNoMemory;
    }
}
