#pragma once

#include <cstddef>
#include <cstdint>

#include "raster/raster_status.h"

namespace talv {
/// One palette or lut entry.
struct PaletteEntry
{
    uint8_t blue, green, red, reserved;
};

/// Version stamp of the descriptor: its size with 4-byte pointers. Wider builds carry the same number.
inline constexpr uint32_t kBitmapStructSize = 164;

/// Values of ImageBitmap::colorOrder.
enum ColorOrder : uint32_t
{
    kOrderPaletteOrRgb = 0,  ///< palette indices up to 8 bits; red, green, blue bytes above
    kOrderBgr = 1,
    kOrderGrey = 2,         ///< grey levels of more than 8 bits
    kOrderSecondSpace = 5,  ///< reached from RGB by a fixed matrix; 24 and 48 bits only
};

/// Bits of ImageBitmap::flags.
enum BitmapFlags : uint32_t
{
    kBitmapAllocated = 0x0001,
    kBitmapInMemory = 0x0002,  ///< a mapped view or a global block
    kBitmapOnDisk = 0x0004,
    kBitmapLocked = 0x0010,
    kBitmapCompressedRows = 0x0100,  ///< 1-bit images only
    kBitmapSigned = 0x0200,          ///< pixel values are signed; kept across allocation
    kBitmapCallerOwned = 0x0400,
    kBitmapMovable = 0x1000,
    kBitmapTiled = 0x4000,
    kBitmapCompressedBlocks = 0x8000,
};

/// Memory kinds of AllocateBitmap.
enum MemoryKind : uint32_t
{
    kMemory = 1,
    kMemoryCaller = 2,
    kMemoryDisk = 4,
    kMemoryNoTiles = 8,
    kMemoryNoTiles9 = 9,
    kMemoryNoTiles128 = 128,
    kMemoryCompressedRows = 256,
    kMemoryCompressedRows1Bit = 768,
    kMemoryCompressedBlocks = 1024,
    kMemoryCompressedBlocks1 = 1025,
    kMemoryAnyContent =
        0x80000000,  ///< beside another kind: the caller writes every byte of every row, so none is cleared
};

/// Raster descriptor: geometry, depth, colour order, bit range, palette, and where the pixels are kept.
/// Row order, padding (rows are padded to 4 bytes) and units: see each field. A bitmap belongs to one thread
/// at a time.
struct ImageBitmap
{
    uint32_t structSize;       ///< must be kBitmapStructSize
    void* storageHandle;       ///< mapping object, global block, temporary file or other owner of the pixels
    uint8_t* data;             ///< row 0, the tile table, or the compressed-row table
    int32_t width;             ///< pixels per row
    int32_t height;            ///< rows
    int32_t bitsPerPixel;      ///< 1..8, 12, 16, 24, 32, 48, 64
    uint32_t bytesPerLine;     ///< ((width * bitsPerPixel + 31) >> 3) & ~3
    uint32_t cachedRowOffset;  ///< byte offset of the row last located by a row read
    uint32_t cachedRow;        ///< that row
    uint32_t flags;            ///< BitmapFlags
    uint32_t colorCount;       ///< palette entries
    PaletteEntry* palette;     ///< owned
    uint32_t layoutCode;       ///< 0..8
    uint32_t colorOrder;       ///< ColorOrder
    uint32_t dataSize;         ///< bytesPerLine * height
    int32_t rowOrder;          ///< orientation for consumers; row 0 is always the first stored row
    void* region;              ///< owned region object, or null: a block of AllocateGlobal
    int32_t xResolution;       ///< dots per inch
    int32_t yResolution;
    uint32_t extended[6];  ///< zero
    int32_t lowBit;        ///< significant bit range of a pixel value
    int32_t highBit;
    PaletteEntry* lut;    ///< owned, made by the remaps; for grey data above 8 bits
    uint32_t lutLength;   ///< entries of lut
    uint32_t dataOffset;  ///< from the start of the view or block to `data`
    int32_t minValue;     ///< smallest and largest pixel value present
    int32_t maxValue;
    int32_t displayLowBit;
    int32_t displayHighBit;
    int32_t displayScale;   ///< percent
    uint32_t reserved1[2];  ///< zero
    uint8_t* remapTable;    ///< owned, 256 bytes, the identity at allocation
    void* tempFile;         ///< owned auxiliary temporary file: a File made with new, or null
    uint32_t reserved2;     ///< zero
    uint32_t reserved3;     ///< zero; makes the record 164 bytes with 4-byte pointers
};

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(ImageBitmap) == kBitmapStructSize);
static_assert(offsetof(ImageBitmap, lowBit) == 100);
static_assert(offsetof(ImageBitmap, minValue) == 120);
#endif

/// Most bytes of pixels that one bitmap may keep in memory; larger ones go to tiles or to disk.
inline constexpr uint64_t kMaxBitmapBytes = sizeof(void*) == 4 ? uint64_t{256} << 20 : uint64_t{1} << 30;
/// Largest `dataSize` that is accepted at all, before any storage is chosen.
inline constexpr uint64_t kMaxStoredBitmapBytes = uint64_t{1} << 30;

/// Padded bytes of one row; computed in 64 bits. 1 pixel of 1 bit -> 4; 3 pixels of 24 bits -> 12.
constexpr uint64_t BytesPerLine(uint64_t width, uint64_t bitsPerPixel)
{
    return ((width * bitsPerPixel + 31) >> 3) & ~uint64_t{3};
}

/// What holds now: kMaxBitmapBytes, or the limit that rasterSettings put in its place.
uint64_t MaxBitmapBytes();

/// True for the depths a bitmap may have.
bool IsBitmapDepth(int32_t bitsPerPixel);
/// Every operation's first check: kRasterInvalid for null, kRasterWrongStructSize, else kRasterOk.
int32_t CheckDescriptor(const ImageBitmap* bitmap);

/// Zeroes the descriptor and fills in geometry and defaults; allocates nothing. All of width, height and
/// depth 0 is an empty descriptor. kRasterWrongStructSize, kRasterBadDepth, kRasterInvalid (null, negative or
/// oversized geometry).
int32_t InitBitmap(ImageBitmap* bitmap, uint32_t structSize, int32_t width, int32_t height,
                   int32_t bitsPerPixel);
/// InitBitmap, AllocateBitmap, palette. `bitsPerPixel` 0 makes 8 bits with a grey palette; `palette` null the
/// fixed default palette. For kMemoryCaller `userData` of `userDataSize` == dataSize bytes becomes the
/// pixels.
int32_t CreateBitmap(ImageBitmap* bitmap, uint32_t structSize, uint32_t memoryKind, int32_t width,
                     int32_t height, int32_t bitsPerPixel, uint32_t colorOrder, const PaletteEntry* palette,
                     uint32_t layoutCode, void* userData, uint32_t userDataSize);
/// Chooses and builds the storage: what `memoryKind` asks for and the depth allows (row compression only for
/// 1 bit, block compression for 1, 8 and 24), else one block of memory while rasterSettings and the machine's
/// free memory allow it, else tiles, else a temporary file. The pixels are zero. kRasterEmpty, kRasterInvalid
/// (unknown kind), kRasterNoMemory, kRasterNotAllocated, kRasterWriteFailed. A failed allocation leaves the
/// descriptor initialised but unallocated.
int32_t AllocateBitmap(ImageBitmap* bitmap, uint32_t memoryKind);
/// Gives an initialised bitmap without pixels a movable global block (AllocateMovable, unlocked) that holds
/// its rows `dataOffset` bytes from its start, at least dataOffset + dataSize bytes long. FreeBitmap frees
/// the block. kRasterEmpty, kRasterInvalid (null, already allocated), kRasterNoMemory.
int32_t AdoptMovableBlock(ImageBitmap* bitmap, void* block, uint32_t dataOffset);
/// Releases everything the descriptor owns; it is then initialised but empty. Calling it again does nothing.
int32_t FreeBitmap(ImageBitmap* bitmap);

/// A movable global block is locked or unlocked; other storages need nothing.
int32_t LockBitmap(ImageBitmap* bitmap);
int32_t UnlockBitmap(ImageBitmap* bitmap);
/// Says whether the bitmap was locked (1 or 0) and locks it when it was not; negative on failure.
int32_t IsLocked(ImageBitmap* bitmap);
/// Undoes IsLocked: unlocks only when `wasLocked` is 0.
int32_t ReleaseLock(ImageBitmap* bitmap, int32_t wasLocked);

/// Copies `byteCount` bytes (normally bytesPerLine) of `row`, 0 .. height-1 in stored order, into `buffer`,
/// whatever storage holds the row. Returns the bytes copied, or kRasterWrongStructSize, kRasterInvalid,
/// kRasterNotAllocated, kRasterSeekFailed, kRasterReadFailed. The next or previous row costs one addition.
int32_t GetBitmapRow(ImageBitmap* bitmap, void* buffer, int32_t row, uint32_t byteCount);
/// The reverse, with kRasterWriteFailed; returns the bytes written.
int32_t PutBitmapRow(ImageBitmap* bitmap, const void* buffer, int32_t row, uint32_t byteCount);
}  // namespace talv
