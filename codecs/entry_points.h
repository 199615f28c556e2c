#pragma once

#include <cstddef>
#include <cstdint>

// The calling convention of the exported functions is that of the Windows API; other systems have one only.
#if defined(__i386__)
#define FLT_CALL __attribute__((stdcall))
#else
#define FLT_CALL
#endif

namespace talv {
/// Destination layout handed to the JPEG 2000 decoder: fifteen 32-bit words.
struct J2KFrameDescriptor
{
    uint32_t size;  ///< 60
    uint32_t field1;
    uint32_t field2;
    uint32_t field3;
    uint32_t sourceLength;  ///< bytes at the source pointer
    uint32_t bytesPerLine;  ///< between the starts of two destination rows
    uint32_t bitsPerPixel;
    uint32_t field7;
    uint32_t field8;
    uint32_t width;   ///< pixels
    uint32_t height;  ///< rows
    uint32_t field11;
    uint32_t field12;
    uint32_t field13;
    uint32_t field14;
};
static_assert(sizeof(J2KFrameDescriptor) == 60);

/// Decodes one JPEG or CMP stream into caller-owned rows; see the exported declaration for the arguments.
using LoadBufferCmpFunction = int32_t(FLT_CALL*)(const void* src, uint32_t srcLength, void* dest,
                                                 int32_t format, int32_t width, int32_t height,
                                                 uint32_t bitsPerPixel, void* formatTables, uint32_t flags);
/// Decodes one JPEG 2000 codestream into caller-owned rows.
using J2kDecompressFrameFunction = int32_t(FLT_CALL*)(const void* src, void* dest,
                                                      const J2KFrameDescriptor* descriptor);
}  // namespace talv
