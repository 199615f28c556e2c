#pragma once

#include <cstddef>
#include <cstdint>

// The calling convention of the exported functions is that of the Windows API; other systems have one only.
#if defined(__i386__)
#define FLT_CALL __attribute__((stdcall))
#else
#define FLT_CALL
#endif

// Visible in the module they are linked into. Windows names them in the module definition file instead,
// decorated.
#if defined(__ELF__)
#define FLT_EXPORT __attribute__((visibility("default"), used))
#else
#define FLT_EXPORT
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

/// Decodes one JPEG interchange or CMP stream into rows that belong to the caller.
///
///   src, srcLength  the whole stream; it is only read
///   dest            the first row; rows lie ((width * bitsPerPixel + 31) >> 5) * 4 bytes apart
///   format          0: by the first two bytes; 5, 20, 165 CMP; -20, -5 raw motion-JPEG frames with
///   `formatTables`;
///                   -10 a raw frame without; anything else JPEG
///   width, height   of the destination; a negative height: last row of the image first. Rows of a taller
///   stream are
///                   dropped; one of at most half the height is a field of two
///   bitsPerPixel    8 for each component, or 16 for one component
///   formatTables    a counted record (`jpeg::FormatTables`) or null
///   flags           bit 28: every row of a lossless stream starts anew; bit 31: stop after the first field
///
/// Three components come as blue, green, red, four in stored order. 1, or a `CodecStatus`; rows written
/// before a failure stay. Calls are independent of each other.
extern "C" FLT_EXPORT int32_t FLT_CALL fltLoadBufferCMP(const void* src, uint32_t srcLength, void* dest,
                                                        int32_t format, int32_t width, int32_t height,
                                                        uint32_t bitsPerPixel, void* formatTables,
                                                        uint32_t flags) noexcept;
