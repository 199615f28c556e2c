#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codecs/j2k/j2k_budget.h"
#include "codecs/j2k/j2k_codestream.h"
#include "codecs/j2k/j2k_tag_tree.h"

namespace talv {
constexpr int kMaxJ2kResolutions = 33;

struct J2kRect
{
    int64_t x0, y0, x1, y1;
    int64_t Width() const { return x1 - x0; }
    int64_t Height() const { return y1 - y0; }
    bool Empty() const { return x1 <= x0 || y1 <= y0; }
};

/// Bytes one packet adds to a code-block, for passes of one codeword segment.
struct J2kChunk
{
    const uint8_t* data;
    uint32_t size;
    uint8_t passes;
    bool startsSegment;
    uint32_t next;  ///< index + 1 of the block's next chunk, 0 for none
};

struct J2kCodeBlock
{
    uint32_t firstChunk, lastChunk;  ///< index + 1, 0 for none
    uint32_t x, y;                   ///< within the band
    uint16_t width, height;
    uint8_t zeroPlanes;
    uint8_t passes;
    uint8_t segmentPasses;  ///< passes already in the open segment
    uint8_t lengthBits;     ///< Lblock; 0 until the block is first included
};

/// The code-blocks of one precinct in one band.
struct J2kPrecinctBand
{
    uint32_t across, down;
    J2kCodeBlock* blocks;
    J2kTagTree inclusion, zeroPlanes;
};

struct J2kPrecinct
{
    J2kPrecinctBand* bands;  ///< made with the first packet that is not empty
    uint16_t nextLayer;
    uint16_t resolution;
};

struct J2kBand
{
    J2kRect rect;
    int orientation;  ///< 0 LL, 1 HL, 2 LH, 3 HH
    int planes;       ///< Mb, the magnitude bits before any region shift
    float step;       ///< quantisation step, the wavelet's scaling included; -1 until it is known
    // Where the band lies in the coefficients of its tile-component: columns side by side, rows already at
    // their places in the reconstructed picture, so that the vertical transform works in place.
    int64_t firstColumn, firstRow, rowStep;
};

struct J2kResolution
{
    J2kRect rect;
    int log2PrecinctWidth, log2PrecinctHeight;
    uint32_t precinctsAcross, precinctsDown;
    uint32_t firstPrecinct;  ///< in the tile-component's list
    int64_t firstRow;        ///< of this resolution in the coefficients; rows are 1 << (levels - r) apart
    int bandCount;
    J2kBand bands[3];
};

/// Coding parameters of one tile-component, checked.
struct J2kCodingStyle
{
    int levels;
    int log2BlockWidth, log2BlockHeight;
    uint8_t blockStyle;
    bool reversible;
    int guardBits;
    int regionShift;
};

struct J2kTileComponent
{
    J2kRect rect;
    J2kCodingStyle style;
    std::vector<J2kResolution> resolutions;
    std::vector<J2kPrecinct> precincts;
    size_t stride;            ///< coefficients per row
    int32_t* coefficients;    ///< of reversible components
    float* realCoefficients;  ///< the same storage, of irreversible ones
};

/// One entry of the progression list (T.800 A.6.6).
struct J2kProgression
{
    uint32_t firstResolution, endResolution;
    uint32_t firstComponent, endComponent;
    uint32_t layers;
    uint32_t order;  ///< 0 LRCP, 1 RLCP, 2 RPCL, 3 PCRL, 4 CPRL
};

/// Everything of one tile between its headers and its samples.
struct J2kTile
{
    explicit J2kTile(J2kBudget* b) : budget(b), arena(b) {}
    ~J2kTile() { budget->ReturnMemory(memoryTaken); }
    J2kTile(const J2kTile&) = delete;
    J2kTile& operator=(const J2kTile&) = delete;

    /// Counts memory that lives as long as the tile; false when the budget has no more.
    bool TakeMemory(uint64_t bytes)
    {
        memoryTaken += bytes;
        return budget->TakeMemory(bytes);
    }

    J2kBudget* budget;
    uint64_t memoryTaken = 0;
    J2kArena arena;
    J2kRect rect;
    uint32_t layers;
    bool startMarkers, endMarkers;  ///< SOP may, EPH must surround packet headers
    bool componentTransform;
    std::vector<J2kTileComponent> components;
    std::vector<J2kProgression> progressions;
    std::vector<J2kChunk> chunks;
    uint64_t packetsRead = 0;
};

/// Lays out tile `index`: geometry, bands, steps and precincts. kCodecOk, kJ2kBrokenHeader when its
/// parameters are missing or out of range, kCodecNoMemory when it would cost too much. Throws std::bad_alloc.
int32_t SetUpJ2kTile(const J2kCodestream& stream, uint32_t index, J2kTile* tile);

/// Area of the tile on the reference grid.
J2kRect J2kTileRect(const J2KImage& image, uint32_t index);

/// Makes the code-blocks of a precinct.
void FillJ2kPrecinct(J2kTile* tile, const J2kTileComponent& component, const J2kResolution& resolution,
                     uint32_t index, J2kPrecinct* precinct);

constexpr int64_t CeilShift(int64_t value, int shift)
{
    return (value + (int64_t{1} << shift) - 1) >> shift;
}
constexpr int64_t CeilDivide(int64_t value, int64_t by)
{
    return (value + by - 1) / by;
}
}  // namespace talv
