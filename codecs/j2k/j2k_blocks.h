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

/// Most coefficients of a code-block, and the most bit planes its decoder holds.
constexpr int kMaxBlockSamples = 4096;
constexpr int kMaxBlockPlanes = 31;

/// The number of coding passes that share one codeword segment starting at pass `firstPass` (T.800 D.4, D.6).
int PassesInSegment(uint8_t style, int firstPass);

/// One codeword segment: terminated bytes for a number of passes.
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
    int planes;  ///< coded bit planes, at most kMaxBlockPlanes
};

/// Working memory of one thread: the coefficients of a block in stripes of four rows, column by column (index
/// 4 * (stripe * width + x) + row in stripe), and the flags of its columns.
class J2kBlockDecoder
{
  public:
    J2kBlockDecoder();

    /// Decodes the segments. Afterwards `Samples` holds sign in bit 31 and magnitude below; the magnitude has
    /// `FractionBits` bits below the integer and lies in the middle of its interval of uncertainty.
    void Decode(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount);

    const uint32_t* Samples() const { return samples_.data(); }
    /// 1, or 0 where all 31 bits hold coded planes.
    static int FractionBits(int planes) { return planes < kMaxBlockPlanes ? 1 : 0; }

  private:
    std::vector<uint32_t> samples_;
    std::vector<uint32_t> flags_;
};
}  // namespace talv
