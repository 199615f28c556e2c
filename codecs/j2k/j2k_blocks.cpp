#include "codecs/j2k/j2k_blocks.h"

#include <algorithm>
#include <bit>

#include "codecs/j2k/j2k_block_contexts.h"
#include "codecs/j2k/j2k_mq.h"

// Tier 1: the three coding passes over the bit planes of a code-block (T.800 annex D). Each pass walks the
// columns of the stripes with the candidates of a column as set bits of a mask, so that rows without work
// cost nothing and the only unpredictable branches are those on decoded bits.

namespace talv {
namespace {
using namespace j2k_flags;

constexpr std::array<ZeroTable, 4> kZeroTables = {MakeZeroTable(0), MakeZeroTable(1), MakeZeroTable(2),
                                                  MakeZeroTable(3)};
constexpr SignTable kSignTable = MakeSignTable();

/// The arithmetic decoder together with its contexts.
struct Coder
{
    MqDecoder mq;
    const MqState* contexts[kContexts];

    void Reset()
    {
        for (const MqState*& state : contexts) state = MqInitialState(0);
        contexts[0] = MqInitialState(4);
        contexts[kContextRun] = MqInitialState(3);
        contexts[kContextUniform] = MqInitialState(46);
    }
};

/// Where a pass works.
struct Plane
{
    uint32_t* samples;
    uint32_t* flags;   ///< the first column's word
    ptrdiff_t stride;  ///< words from stripe to stripe
    int width, height;
    const ZeroTable* zero;
    int bit;  ///< of the plane within a magnitude

    uint32_t One() const { return 1u << bit; }
    uint32_t Half() const { return One() >> 1; }
};

/// Mask of the rows a stripe has, at bit 3r.
uint32_t RowsOfStripe(int rowsLeft)
{
    return rowsLeft >= 4 ? kEachRow : kEachRow & ((1u << 3 * rowsLeft) - 1);
}

int RowOf(int tripleRow)
{
    return tripleRow * 11 >> 5;
}

/// Candidates of the significance pass: insignificant rows with a significant neighbour.
inline uint32_t Contested(uint32_t flags)
{
    const uint32_t rows = flags | flags >> 1 | flags >> 2;
    return (rows | rows >> 3 | rows >> 6) & ~(flags >> kOwn) & kEachRow;
}

inline uint32_t SignIndex(uint32_t flags, uint32_t left, uint32_t right, int tripleRow)
{
    const uint32_t own = flags >> kNegative & kEachRow;
    const uint32_t above = own << 3 | (flags >> 30 & 1);
    const uint32_t below = own >> 3 | flags >> 31 << 9;
    return (flags >> tripleRow & 0xAA) | (above >> tripleRow & 1) |
           (left >> (kNegative + tripleRow) & 1) << 2 | (right >> (kNegative + tripleRow) & 1) << 4 |
           (below >> tripleRow & 1) << 6;
}

/// Notes a new significant coefficient in its own column and in all that see it. Under vertically causal
/// contexts the stripe above does not (T.800 D.7).
template <bool causal>
inline void MarkSignificant(uint32_t* word, uint32_t& flags, ptrdiff_t stride, int tripleRow,
                            uint32_t negative)
{
    flags |= (1u << kOwn | negative << kNegative) << tripleRow;
    word[-1] |= 1u << (5 + tripleRow);
    word[1] |= 1u << (3 + tripleRow);
    if (tripleRow == 0 && !causal) {
        uint32_t* above = word - stride;
        above[-1] |= 1u << 17;
        above[0] |= 1u << 16 | negative << 31;
        above[1] |= 1u << 15;
    }
    if (tripleRow == 9) {
        uint32_t* below = word + stride;
        below[-1] |= 1u << 2;
        below[0] |= 1u << 1 | negative << 30;
        below[1] |= 1u;
    }
}

inline uint32_t DecodeSign(MqDecoder& mq, const MqState** contexts, const uint32_t* word, uint32_t flags,
                           int tripleRow)
{
    const uint8_t sign = kSignTable[SignIndex(flags, word[-1], word[1], tripleRow)];
    return mq.Decode(&contexts[sign & 0x7F]) ^ sign >> 7;
}

template <bool causal, bool raw>
void SignificancePass(const Plane& plane, Coder& coder, RawBitReader& bits)
{
    MqDecoder mq = coder.mq;
    const MqState** contexts = coder.contexts;
    const uint8_t* zero = plane.zero->data();
    const uint32_t magnitude = plane.One() | plane.Half();
    uint32_t* samples = plane.samples;
    uint32_t* row = plane.flags;
    for (int y = 0; y < plane.height; y += 4, row += plane.stride) {
        const uint32_t rows = RowsOfStripe(plane.height - y);
        for (int x = 0; x < plane.width; ++x, samples += 4) {
            uint32_t flags = row[x];
            if ((flags & kSignificance) == 0) continue;
            uint32_t candidates = Contested(flags) & rows;
            if (candidates == 0) continue;
            do {
                const int r = std::countr_zero(candidates);
                candidates &= candidates - 1;
                flags |= 1u << (kVisited + r);
                const uint32_t bit = raw ? bits.Bit() : mq.Decode(&contexts[zero[flags >> r & 0x1FF]]);
                if (bit == 0) continue;
                const uint32_t negative = raw ? bits.Bit() : DecodeSign(mq, contexts, row + x, flags, r);
                samples[RowOf(r)] = magnitude | negative << 31;
                MarkSignificant<causal>(row + x, flags, plane.stride, r, negative);
                candidates |= (8u << r) & rows & ~(flags >> kOwn);  // the next row has a neighbour now
            } while (candidates != 0);
            row[x] = flags;
        }
    }
    if constexpr (!raw) coder.mq = mq;
}

template <bool raw>
void RefinementPass(const Plane& plane, Coder& coder, RawBitReader& bits)
{
    MqDecoder mq = coder.mq;
    const MqState** contexts = coder.contexts + kContextMagnitude;
    const uint32_t one = plane.One(), drop = one - plane.Half();
    uint32_t* samples = plane.samples;
    uint32_t* row = plane.flags;
    for (int y = 0; y < plane.height; y += 4, row += plane.stride) {
        for (int x = 0; x < plane.width; ++x, samples += 4) {
            const uint32_t flags = row[x];
            const uint32_t refined = flags >> kOwn & ~(flags >> kVisited) & kEachRow;
            uint32_t candidates = refined;
            if (candidates == 0) continue;
            do {
                const int r = std::countr_zero(candidates);
                candidates &= candidates - 1;
                uint32_t bit;
                if constexpr (raw) {
                    bit = bits.Bit();
                } else {
                    const uint32_t before = flags >> (kRefined + r) & 1;
                    const uint32_t neighbours = (flags >> r & 0x1EF) != 0;
                    bit = mq.Decode(&contexts[before != 0 ? 2 : neighbours]);
                }
                samples[RowOf(r)] += (bit << plane.bit) - drop;
            } while (candidates != 0);
            row[x] = flags | refined << kRefined;
        }
    }
    if constexpr (!raw) coder.mq = mq;
}

template <bool causal>
void CleanupPass(const Plane& plane, Coder& coder, bool segmentSymbols)
{
    MqDecoder mq = coder.mq;
    const MqState** contexts = coder.contexts;
    const uint8_t* zero = plane.zero->data();
    const uint32_t magnitude = plane.One() | plane.Half();
    uint32_t* samples = plane.samples;
    uint32_t* row = plane.flags;
    for (int y = 0; y < plane.height; y += 4, row += plane.stride) {
        const uint32_t rows = RowsOfStripe(plane.height - y);
        for (int x = 0; x < plane.width; ++x, samples += 4) {
            uint32_t flags = row[x];
            uint32_t candidates = ~(flags >> kOwn | flags >> kVisited) & rows;
            if ((flags & kSignificance) == 0 && rows == kEachRow) {
                if (mq.Decode(&contexts[kContextRun]) == 0) continue;
                uint32_t run = mq.Decode(&contexts[kContextUniform]);
                run = run << 1 | mq.Decode(&contexts[kContextUniform]);
                const int r = static_cast<int>(3 * run);
                const uint32_t negative = DecodeSign(mq, contexts, row + x, flags, r);
                samples[run] = magnitude | negative << 31;
                MarkSignificant<causal>(row + x, flags, plane.stride, r, negative);
                candidates &= ~((2u << r) - 1);
            }
            for (; candidates != 0; candidates &= candidates - 1) {
                const int r = std::countr_zero(candidates);
                if (mq.Decode(&contexts[zero[flags >> r & 0x1FF]]) == 0) continue;
                const uint32_t negative = DecodeSign(mq, contexts, row + x, flags, r);
                samples[RowOf(r)] = magnitude | negative << 31;
                MarkSignificant<causal>(row + x, flags, plane.stride, r, negative);
            }
            row[x] = flags & ~(kEachRow << kVisited);
        }
    }
    if (segmentSymbols) {
        for (int i = 0; i < 4; ++i) mq.Decode(&contexts[kContextUniform]);
    }
    coder.mq = mq;
}

void RunPass(const Plane& plane, int kind, uint8_t style, bool raw, Coder& coder, RawBitReader& bits)
{
    const bool causal = (style & kBlockCausal) != 0;
    if (kind == 0) {
        if (raw)
            causal ? SignificancePass<true, true>(plane, coder, bits)
                   : SignificancePass<false, true>(plane, coder, bits);
        else
            causal ? SignificancePass<true, false>(plane, coder, bits)
                   : SignificancePass<false, false>(plane, coder, bits);
    } else if (kind == 1) {
        raw ? RefinementPass<true>(plane, coder, bits) : RefinementPass<false>(plane, coder, bits);
    } else {
        const bool symbols = (style & kBlockSegmentSymbols) != 0;
        causal ? CleanupPass<true>(plane, coder, symbols) : CleanupPass<false>(plane, coder, symbols);
    }
}

/// Raw segments begin with the fourth plane; its clean-up passes stay arithmetic (T.800 table D.9).
bool IsRawPass(uint8_t style, int pass)
{
    return (style & kBlockBypass) != 0 && pass >= 10 && pass % 3 != 0;
}
}  // namespace

int PassesInSegment(uint8_t style, int firstPass)
{
    if ((style & kBlockTerminate) != 0) return 1;
    if ((style & kBlockBypass) == 0) return 1 << 16;
    if (firstPass < 10) return 10 - firstPass;
    return firstPass % 3 == 1 ? 2 : 1;
}

J2kBlockDecoder::J2kBlockDecoder() : samples_(kMaxBlockSamples + 4 * 1024) {}

void J2kBlockDecoder::Decode(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount)
{
    const int stripes = (job.height + 3) / 4;
    const ptrdiff_t stride = job.width + 2;
    const size_t flagCount = static_cast<size_t>(stride) * static_cast<size_t>(stripes + 2);
    if (flags_.size() < flagCount) flags_.resize(flagCount);
    std::fill_n(flags_.begin(), flagCount, 0u);
    std::fill_n(samples_.begin(), static_cast<size_t>(job.width) * static_cast<size_t>(stripes) * 4, 0u);

    Plane plane{samples_.data(),
                flags_.data() + stride + 1,
                stride,
                job.width,
                job.height,
                &kZeroTables[static_cast<size_t>(job.orientation)],
                0};
    const int fraction = FractionBits(job.planes);
    Coder coder;
    coder.Reset();
    RawBitReader bits;
    int pass = 0;
    for (size_t s = 0; s < segmentCount; ++s) {
        const bool raw = IsRawPass(job.style, pass);
        if (raw)
            bits = RawBitReader(segments[s].data, segments[s].size);
        else
            coder.mq = MqDecoder(segments[s].data, segments[s].size);
        for (int i = 0; i < segments[s].passes; ++i, ++pass) {
            // Pass 0 is the clean-up of the first plane, then three passes a plane.
            const int bit = job.planes - 1 - (pass + 2) / 3;
            if (bit < 0) return;
            plane.bit = bit + fraction;
            RunPass(plane, (pass + 2) % 3, job.style, raw, coder, bits);
            if ((job.style & kBlockReset) != 0) coder.Reset();
        }
    }
}
}  // namespace talv
