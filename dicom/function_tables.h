#pragma once

#include <cstdint>

namespace talv {
struct ImageBitmap;

/// A function of a type that only its caller knows.
using AnyFunction = void (*)();

/// The decoders a data set was made with; null for a codec that is not there. The types are those of
/// codecs/entry_points.h.
struct CodecEntryPoints
{
    AnyFunction loadBufferCmp = nullptr;
    AnyFunction saveBufferCmp = nullptr;
    AnyFunction j2kDecompressFrame = nullptr;
};

/// The raster operations a data set was made with; null for one that is not there. All answer a raster
/// status.
struct ImageOperations
{
    /// Smallest and largest value of a grey bitmap (colour order 2) within its bit range.
    int32_t (*getStatistics)(ImageBitmap* bitmap, int32_t* minValue, int32_t* maxValue) = nullptr;
    /// Linear remap value * slope + intercept. Mode 2 rewrites the pixels, mode 10 builds the bitmap's lut.
    int32_t (*remapLinear)(ImageBitmap* bitmap, double slope, double intercept, int32_t mode) = nullptr;
    /// Table remap; `table` holds `count` entries, the first standing for the stored value `firstMapped`.
    int32_t (*remapTable)(ImageBitmap* bitmap, const uint16_t* table, uint32_t count, int32_t firstMapped,
                          uint32_t bitsPerEntry, int32_t mode) = nullptr;
};

/// What a data set is handed when it is made.
struct DataSetTables
{
    CodecEntryPoints codecs;
    ImageOperations images;
};
}  // namespace talv
