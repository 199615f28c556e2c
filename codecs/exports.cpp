#include <new>

#include "codecs/codec_status.h"
#include "codecs/entry_points.h"
#include "codecs/jpeg/jpeg_encoder.h"
#include "codecs/jpeg/load_buffer.h"

using namespace talv;

extern "C" FLT_EXPORT int32_t FLT_CALL fltLoadBufferCMP(const void* src, uint32_t srcLength, void* dest,
                                                        int32_t format, int32_t width, int32_t height,
                                                        uint32_t bitsPerPixel, void* formatTables,
                                                        uint32_t flags) noexcept
{
    if (dest == nullptr || height == INT32_MIN) return kCodecInvalidParameter;
    try {
        return LoadBuffer({static_cast<const uint8_t*>(src), srcLength, static_cast<uint8_t*>(dest), format,
                           width, height, bitsPerPixel, formatTables, flags});
    } catch (const std::bad_alloc&) {
        return kCodecNoMemory;
    }
}

extern "C" FLT_EXPORT int32_t FLT_CALL fltSaveBufferCMP(const void* source, const BitmapHeader* header,
                                                        void* output, uint32_t* outputSize,
                                                        uint32_t sixteenBitLimit, uint32_t options,
                                                        int32_t streamKind, uint32_t coding,
                                                        const SaveExtras* extras) noexcept
{
    if (source == nullptr || header == nullptr || output == nullptr || outputSize == nullptr)
        return kCodecInvalidParameter;
    try {
        return jpeg::SaveBuffer({static_cast<const uint8_t*>(source), header, static_cast<uint8_t*>(output),
                                 outputSize, sixteenBitLimit, options, streamKind, coding, extras});
    } catch (const std::bad_alloc&) {
        return kCodecNoMemory;
    }
}
