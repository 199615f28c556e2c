#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talv {
/// Code-block style bits (T.800 table A.19).
enum J2kBlockStyle : uint8_t
{
    kBlockBypass = 1,
    kBlockReset = 2,
    kBlockTerminate = 4,
    kBlockCausal = 8,
    kBlockPredictable = 16,
    kBlockSegmentSymbols = 32,
};

/// Most bit planes a block decoder holds, and most coding passes a block can have (T.800 table B.4).
constexpr int kMaxBlockPlanes = 31;
constexpr int kMaxBlockPasses = 164;

/// The number of coding passes that share one codeword segment starting at pass `firstPass` (T.800 D.4, D.6).
int PassesInSegment(uint8_t style, int firstPass);

/// One codeword segment: terminated bytes for a number of passes. Around them lies what the arithmetic
/// decoder asks for (`MqDecoder`).
struct J2kBlockSegment
{
    const uint8_t* data;
    size_t size;
    int passes;
};

/// What a code-block's decoder needs to know.
struct J2kBlockJob
{
    int width, height;  ///< 1..1024, at most 4096 coefficients
    int orientation;    ///< 0 LL, 1 HL, 2 LH, 3 HH
    uint8_t style;
    int planes;       ///< coded bit planes, at most kMaxBlockPlanes
    int regionShift;  ///< of a region of interest, 0 for none
};

/// Maps, flags and coefficients of a block while it is decoded; see j2k_block_passes.h.
struct J2kBlockMemory
{
    int groups, stripes;  ///< words of sixteen columns across, stripes of four rows down
    ptrdiff_t mapStride, columnStride;
    uint64_t* significant;
    uint64_t* visited;
    uint64_t* refined;
    uint64_t* columns;
    uint32_t* samples;
    uint64_t lastColumns, lastRows;  ///< coefficients that exist in the last word and the last stripe
};

using J2kPassDecoder = void(const J2kBlockJob&, const J2kBlockSegment*, size_t, const J2kBlockMemory&);
/// The same passes compiled for any processor and for one with the bit instructions that come with AVX2.
J2kPassDecoder DecodeJ2kPassesPlain, DecodeJ2kPassesAvx2;
J2kPassDecoder* BestJ2kPassDecoder();

/// Working memory of one thread.
class J2kBlockDecoder
{
  public:
    explicit J2kBlockDecoder(J2kPassDecoder* decodePasses = BestJ2kPassDecoder())
        : decodePasses_(decodePasses)
    {}

    /// Makes room for blocks of that size. Throws std::bad_alloc; nothing else here does.
    void Reserve(int width, int height);

    /// Decodes the segments of a block that there is room for. Afterwards `Samples` holds sign in bit 31 and
    /// magnitude below; the magnitude has `FractionBits` bits below the integer and lies in the middle of its
    /// interval of uncertainty.
    void Decode(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount);

    /// The coefficients in stripes of four rows, column by column: of column x and row y at
    /// y / 4 * StripeStep(width) + 4 * x + y % 4.
    const uint32_t* Samples() const { return samples_.data(); }
    static int StripeStep(int width) { return (width + 15) / 16 * 64; }
    /// 1, or 0 where all 31 bits hold coded planes.
    static int FractionBits(int planes) { return planes < kMaxBlockPlanes ? 1 : 0; }

  private:
    J2kBlockMemory Prepare(int width, int height);
    void UndoRegionShift(const J2kBlockJob& job);

    J2kPassDecoder* decodePasses_;
    std::vector<uint32_t> samples_;
    std::vector<uint64_t> words_;
};
}  // namespace talv
