#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "codecs/codec_status.h"
#include "codecs/codec_workers.h"
#include "codecs/jpeg/huffman_table.h"
#include "codecs/jpeg/jpeg_kernels.h"

namespace talv::jpeg {
inline constexpr int kMaxComponents = 4;
inline constexpr int kMaxBlocksPerMcu = 10;              // T.81 B.2.3
inline constexpr int kScratchRows = 2 * kMaxComponents;  // a widened and a narrowed row of each component

/// Positions of a block in the order of the stream (T.81 figure A.6) by natural order, and 16 more for runs
/// that lead beyond the end of a block.
extern const uint8_t kZigzagToNatural[64];

/// Where the rows of the picture go. Row y begins at `first + y * step`; rows from `count` on are dropped.
struct RowTable
{
    uint8_t* first = nullptr;
    ptrdiff_t step = 0;
    int32_t count = 0;

    uint8_t* At(int32_t row) const { return first + row * step; }
};

enum class Process
{
    sequential,
    progressive,
    lossless,
};

enum class FieldPolarity
{
    none,
    first,
    second,
};

/// Tables from outside the stream, for the raw frame kinds: a counted record, little-endian words.
struct FormatTables
{
    uint32_t size;           ///< bytes of this record with the offsets, at least 20
    uint32_t quantTableSet;  ///< 1 to 5: built-in tables for a grey frame without DQT
    uint32_t searchRange;    ///< bytes that may precede the start of image; 0: the default
    uint32_t streamOffsetCount;
    uint32_t reserved;
    // uint32_t streamOffsets[streamOffsetCount] follow.
};
static_assert(sizeof(FormatTables) == 20);

struct Component
{
    int id = 0;
    int h = 1;  ///< samples across and down for `maxH` and `maxV` of the picture
    int v = 1;
    int quantTable = 0;
    int dcTable = 0;
    int acTable = 0;

    int width = 0;  ///< samples
    int height = 0;
    int unitsAcross = 0;  ///< blocks (lossless: samples) that cover the width
    int unitsDown = 0;
    int unitsPerRow = 0;  ///< with those that fill up the last MCU

    int bandRows = 0;  ///< sample rows of an MCU row
    int stride = 0;    ///< samples between rows of the plane
    std::unique_ptr<uint8_t[]> planeBytes;
    void* plane = nullptr;                    ///< `ringBands` MCU rows of samples, 8 or 16 bits each
    std::unique_ptr<int16_t[]> coefficients;  ///< 64 a block in natural order, when there are several scans
    std::unique_ptr<uint64_t[]> nonZero;      ///< a map for each block of the AC coefficients that are not 0
    int8_t lowestBit[64] = {};  ///< progressive: Al of the last scan of each coefficient, -1 none

    bool scanned = false;
    uint16_t quant[64] = {};  ///< as it was when the component's first scan began, in natural order
    int32_t prediction = 0;   ///< DC
    int pointTransform = 0;   ///< lossless
};

struct ScanHeader
{
    int count = 0;
    int component[kMaxComponents] = {};
    int spectralFirst = 0;  ///< lossless: the predictor
    int spectralLast = 0;
    int bitHigh = 0;
    int bitLow = 0;  ///< lossless: the point transform
};

/// State of one call: the stream, its tables and the picture on its way.
struct JpegDecoder
{
    // Set by the caller.
    const uint8_t* source = nullptr;
    size_t length = 0;
    std::unique_ptr<uint8_t[]> ownSource;  ///< CMP: the stream with its payload reverted
    const FormatTables* callerTables = nullptr;
    bool rowReset = false;
    bool rawFrame = false;
    int32_t destinationRows = 0;  ///< rows the caller has room for
    SimdLevel level = SimdLevel::plain;
    unsigned threads = 0;  ///< 0: one a processor
    JpegKernels kernels{};

    // The stream.
    size_t position = 0;
    int32_t searchRange = 4096;
    bool headerRead = false;
    bool sawHuffmanTables = false;
    bool sawQuantTables = false;
    bool sawJfif = false;
    bool sawFrame = false;
    bool adobe = false;
    int adobeTransform = 0;
    bool rgb = false;
    bool thumbnail = false;
    FieldPolarity polarity = FieldPolarity::none;
    uint32_t fieldSize = 0;
    uint32_t fieldSizeUnpadded = 0;
    int densityUnit = 0;
    int densityX = 0;
    int densityY = 0;
    int layoutCode = 0;
    bool tjifKind = false;
    int offsetCountdown = 0;
    bool quantDefined[4] = {};
    uint16_t quant[4][64] = {};  ///< in stream order
    HuffmanCounts dcSpecs[4];
    HuffmanCounts acSpecs[4];
    int restartInterval = 0;

    // The frame.
    Process process = Process::sequential;
    int declaredPrecision = 0;
    int precision = 0;  ///< of the samples in the planes
    int width = 0;
    int height = 0;
    int componentCount = 0;
    Component components[kMaxComponents];
    int unit = 8;  ///< samples of a coded unit's side: a block 8, lossless 1
    int maxH = 1;
    int maxV = 1;
    int mcusAcross = 0;
    int mcuRows = 0;
    int neededMcuRows = 0;  ///< MCU rows that reach the destination
    int ringBands = 0;
    bool stored = false;  ///< coefficients are kept until the last scan

    // The scan.
    ScanHeader scan;
    BitReader reader;
    int nextRestart = 0;
    int unitsToRestart = 0;
    int64_t workLeft = 0;
    SymbolTable dcTables[4];
    SymbolTable acTables[4];
    std::unique_ptr<DifferenceTable[]> differences;

    // Output.
    RowTable rows;
    uint32_t bitsPerPixel = 0;
    int32_t emittedRows = 0;
    std::unique_ptr<uint8_t[]> scratch;  ///< `kScratchRows` rows for each thread
    size_t scratchStride = 0;

    // Restart intervals that threads share; none when one thread takes the scan as it comes.
    std::unique_ptr<CodecWorkers> workers;
    std::vector<const uint8_t*> intervals;  ///< the first byte of each

    /// The planes hold 16-bit samples.
    bool WideSamples() const { return precision > 8 || process == Process::lossless; }
    const uint8_t* End() const { return source + length; }
};

/// What the marker loop met.
enum MarkerResult : int32_t
{
    kMarkersEnd = 0,
    kMarkersScan = 1,
};

/// Reads markers up to and including the first SOS; 0, or a negative code.
int32_t ReadHeader(JpegDecoder* decoder);
/// Goes on to the next SOS: a `MarkerResult`, or a negative code. The end of the data counts as the end of
/// the image.
int32_t ReadMarkers(JpegDecoder* decoder);
/// Reads one DHT or DQT payload.
int32_t ReadHuffmanTables(JpegDecoder* decoder, const uint8_t* payload, int64_t size);
int32_t ReadQuantTables(JpegDecoder* decoder, const uint8_t* payload, int64_t size);
/// Reads a frame header or a scan header.
int32_t ReadFrameHeader(JpegDecoder* decoder, int marker, const uint8_t* payload, int64_t size);
int32_t ReadScanHeader(JpegDecoder* decoder, const uint8_t* payload, int64_t size);
void ReadApplicationSegment(JpegDecoder* decoder, int marker, const uint8_t* payload, int64_t size);
void ReadComment(JpegDecoder* decoder, const uint8_t* payload, int64_t size);
/// One step of the countdown that a "WANG" comment starts.
void CountTowardsOffset(JpegDecoder* decoder, int steps);
/// Checks that every component of the scan has its tables.
int32_t CheckScanTables(const JpegDecoder& decoder);

/// The tables of T.81 Annex K.3 as a DHT payload of 416 bytes.
extern const uint8_t kStandardHuffmanTables[416];
/// The tables of T.81 Annex K.1 (luminance, chrominance) in stream order.
extern const uint8_t kStandardQuantTables[2][64];
/// A table of Annex K.1 for a quality of 1 to 100, 50 leaving it as it is.
void ScaleQuantTable(const uint8_t* table, int quality, uint16_t* scaled);

/// Sizes of MCUs and components, and the buffers; after the first scan header.
int32_t PrepareFrame(JpegDecoder* decoder);
/// Decodes all scans of the frame into its rows; 0, or a negative code.
int32_t DecodeFrame(JpegDecoder* decoder);

/// Starts the entropy-coded segment at `position`.
void StartScan(JpegDecoder* decoder);
/// The first marker at or behind `at`, the end of the data when there is none. Fill bytes are passed over.
const uint8_t* FindMarker(const uint8_t* at, const uint8_t* end);
/// Lists the restart intervals of the scan at `position` where threads are to share them: `units` MCUs, every
/// marker in its place.
void FindIntervals(JpegDecoder* decoder, int64_t units);
/// Takes the next RST marker and resets what a restart resets.
void Restart(JpegDecoder* decoder);
/// Leaves `position` at the first marker behind the scan that is not a restart.
void LeaveScan(JpegDecoder* decoder);

/// Decode the scan that was started. The interleaved ones emit rows as they go.
void DecodeInterleavedScan(JpegDecoder* decoder);
void DecodeStoredScan(JpegDecoder* decoder);
void DecodeProgressiveScan(JpegDecoder* decoder);
void DecodeLosslessScan(JpegDecoder* decoder);
/// Transforms the stored coefficients and emits all rows.
void ReconstructStored(JpegDecoder* decoder);

/// Converts picture rows up to `end` (exclusive) that have not been delivered yet.
void EmitRows(JpegDecoder* decoder, int32_t end);
/// Converts rows of the destination in the scratch memory of one thread.
void EmitRowRange(const JpegDecoder& decoder, int thread, int32_t begin, int32_t end);
/// Rows that are complete once `bands` MCU rows are decoded: interpolation between rows waits for the row
/// below.
int32_t CompleteRows(const JpegDecoder& decoder, int bands);

/// First sample of row `row` of a component's plane.
template <typename Sample>
Sample* PlaneRow(const JpegDecoder& decoder, const Component& component, int row)
{
    const int ringRows = decoder.ringBands * component.bandRows;
    const int slot = row < ringRows ? row : row % ringRows;
    return static_cast<Sample*>(component.plane) + static_cast<ptrdiff_t>(slot) * component.stride;
}
}  // namespace talv::jpeg
