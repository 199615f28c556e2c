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

/// The picture an encoder reads: the bitmap header of the platform's media types.
struct BitmapHeader
{
    uint32_t size;  ///< 40
    int32_t width;
    int32_t height;  ///< rows; the sign says in which order, see `fltSaveBufferCMP`
    uint16_t planes;
    uint16_t bitsPerPixel;
    uint32_t compression;  ///< 0, or the four letters YUY2, UYVY, TGRY
    uint32_t imageSize;
    int32_t pixelsPerMetreX;
    int32_t pixelsPerMetreY;
    uint32_t paletteUsed;
    uint32_t paletteImportant;
};
static_assert(sizeof(BitmapHeader) == 40);

/// What may go into a stream beside the picture. Null pointers and zero lengths: nothing.
struct SaveExtras
{
    uint32_t size;  ///< of this record
    uint32_t exifLength;
    const void* exif;
    uint32_t commentLength;
    uint32_t thumbnailWidth;  ///< pixels of 3 bytes, red first, at most 255 each way
    uint32_t thumbnailHeight;
    const void* comment;
    const void* thumbnail;
};

/// Option bits of `fltSaveBufferCMP`.
enum SaveOption : uint32_t
{
    kSaveNitf = 1,         ///< an APP6 "NITF" segment in place of JFIF
    kSaveExif = 2,         ///< an APP1 "Exif" segment in place of JFIF
    kSaveMotionFrame = 4,  ///< an "AVI1" segment in place of JFIF
    kSaveSecondField = 8,  ///< the motion frame is a second field
    kSaveFirstField = 16,  ///< the motion frame is a first field
    kSaveLossless = 32,    ///< the lossless process
    kSaveFields = 64,      ///< even and odd rows as two fields of one scan
};

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

/// Writes one JPEG interchange or CMP stream.
///
///   source           rows ((width * bits + 31) >> 5) * 4 bytes apart. A positive height of YUY2, UYVY and
///   TGRY sources
///                    means first row first, of all others last row first; a negative one the reverse
///   header           bits per pixel 8, 12, 16, 24 or 32; YUY2 and UYVY have 16 in memory and count as 24.
///                    Sources of 12 and 16 bits are grey and written lossless; CMP streams get the upper 8 of
///                    12 bits and refuse 16 (-21)
///   output           receives the stream
///   outputSize       in: bytes at `output`; out: bytes of the stream, also when they were too many (-13)
///   sixteenBitLimit  0: 16 bits per pixel are allowed, else refused with -21
///   options          `SaveOption` bits
///   streamKind       5, 20, 165: CMP; anything else JPEG
///   coding           bits 0..7 quality (1 to 100); 8..15 colour mode; 16..31 restart interval in MCUs
///                    (lossless: rounded up to whole rows)
///   extras           or null
///
/// Colour modes: 0 grey; 1 to 6 luminance and colour differences with luminance factors 1x1, 2x1, 1x2, 2x2,
/// 4x1, 4x2 (lossless: as 12); 7 the four bytes of a 32-bit pixel, of others blue, green, red and 0, not in
/// CMP streams (-38); 8, 9, 10 red, green or blue alone; 11 grey; 12 red, green, blue (CMP: as 1). 1, or -1,
/// -13 (a null argument, a record of another size, no room, a bad width or height), -21, -27, -38.
extern "C" FLT_EXPORT int32_t FLT_CALL fltSaveBufferCMP(const void* source, const talv::BitmapHeader* header,
                                                        void* output, uint32_t* outputSize,
                                                        uint32_t sixteenBitLimit, uint32_t options,
                                                        int32_t streamKind, uint32_t coding,
                                                        const talv::SaveExtras* extras) noexcept;
