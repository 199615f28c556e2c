// The three coding passes over a bit plane of a code-block (T.800 annex D); each level compiles its own copy.
//
// What a pass has to visit is known from maps of one bit a coefficient, sixteen columns of a stripe to a
// word, in the order of the scan: bit 4 * column + row. The neighbourhoods of all 64 come from a few shifts,
// and the coefficients of a pass are the set bits of a word, one after the other. New significance only ever
// adds candidates further on in the scan.

#include <algorithm>
#include <bit>

#include "codecs/j2k/j2k_block_contexts.h"
#include "codecs/j2k/j2k_blocks.h"
#include "codecs/j2k/j2k_mq.h"

namespace talv {
namespace {
using namespace j2k_flags;

constexpr std::array<ZeroTable, 4> kZeroTables = {MakeZeroTable(0), MakeZeroTable(1), MakeZeroTable(2),
                                                  MakeZeroTable(3)};
constexpr SignTable kSignTable = MakeSignTable();

constexpr uint64_t kFirstRows = 0x1111111111111111, kLastRows = 0x8888888888888888;

/// The arithmetic decoder together with its contexts.
struct Coder
{
    MqDecoder mq;
    RawBitReader bits;
    MqContext contexts[kContexts];

    void Reset()
    {
        for (MqContext& context : contexts) context = MqInitialState(0);
        contexts[0] = MqInitialState(4);
        contexts[kContextRun] = MqInitialState(3);
        contexts[kContextUniform] = MqInitialState(46);
    }
};

/// Where a pass works.
struct Plane
{
    const J2kBlockMemory& block;
    const uint8_t* zero;
    int bit;  ///< of the plane within a magnitude

    uint32_t One() const { return 1u << bit; }
    uint32_t Half() const { return One() >> 1; }
};

/// The words of the maps one after the other, each with what belongs to it. (Not a loop that calls back: the
/// arithmetic decoder of a pass must stay in registers.)
class Groups
{
  public:
    explicit Groups(const J2kBlockMemory& block)
        : significant(block.significant),
          visited(block.visited),
          refined(block.refined),
          columns(block.columns),
          samples(block.samples),
          block_(block)
    {
        SetValid();
    }

    bool Left() const { return stripe_ < block_.stripes; }

    void Next()
    {
        Step(1, 16);
        samples += 64;
        if (++group_ == block_.groups) {
            group_ = 0;
            ++stripe_;
            Step(block_.mapStride - block_.groups, block_.columnStride - 16 * block_.groups);
        }
        SetValid();
    }

    uint64_t* significant;
    uint64_t* visited;
    uint64_t* refined;
    J2kColumn* columns;
    uint32_t* samples;
    uint64_t valid;  ///< the coefficients that exist

  private:
    void Step(ptrdiff_t words, ptrdiff_t columnWords)
    {
        significant += words;
        visited += words;
        refined += words;
        columns += columnWords;
    }

    void SetValid()
    {
        valid = stripe_ + 1 == block_.stripes ? block_.lastRows : ~uint64_t{0};
        if (group_ + 1 == block_.groups) valid &= block_.lastColumns;
    }

    const J2kBlockMemory& block_;
    int stripe_ = 0, group_ = 0;
};

/// Columns left and right of those of a word.
inline uint64_t Sides(const uint64_t* map)
{
    return map[0] << 4 | map[0] >> 4 | map[-1] >> 60 | map[1] << 60;
}

/// The coefficients with a significant neighbour. Under vertically causal contexts the stripe below does not
/// count (T.800 D.7).
template <bool causal>
inline uint64_t Contested(const uint64_t* map, ptrdiff_t stride)
{
    const uint64_t sides = Sides(map), rows = sides | map[0];
    const uint64_t above = Sides(map - stride) | map[-stride];
    uint64_t around =
        sides | (rows << 1 & ~kFirstRows) | (rows >> 1 & ~kLastRows) | (above >> 3 & kFirstRows);
    if (!causal) around |= (Sides(map + stride) | map[stride]) << 3 & kLastRows;
    return around;
}

/// Notes a new significant coefficient in the words of its column and of all that see it.
template <bool causal>
inline void MarkSignificant(J2kColumn* column, ptrdiff_t stride, unsigned row, uint32_t negative)
{
    const J2kColumn mark = 1 | static_cast<J2kColumn>(negative) << 32;
    const J2kColumn shifted = mark << (3 + 3 * row);
    column[-1] |= shifted << 2;
    column[0] |= shifted << 1;
    column[1] |= shifted;
    if (row == 0 && !causal) {
        J2kColumn* above = column - stride;
        above[-1] |= mark << 17;
        above[0] |= mark << 16;
        above[1] |= mark << 15;
    }
    if (row == 3) {
        J2kColumn* below = column + stride;
        below[-1] |= mark << 2;
        below[0] |= mark << 1;
        below[1] |= mark;
    }
}

/// Where `kSignTable` has a neighbourhood.
inline uint32_t SignIndex(J2kColumn around)
{
    return (static_cast<uint32_t>(around) & 0xAA) | (static_cast<uint32_t>(around >> 33) & 0x55);
}

inline uint32_t DecodeSign(MqDecoder& mq, MqContext* contexts, J2kColumn around)
{
    const uint8_t sign = kSignTable[SignIndex(around)];
    return mq.Decode(&contexts[sign & 0x7F]) ^ sign >> 7;
}

/// Neighbours of a coefficient of row r that the scan has yet to meet, relative to it.
constexpr uint64_t kAhead[4] = {0x32, 0x3A, 0x3A, 0x18};

template <bool causal, bool raw>
[[gnu::noinline]] void SignificancePass(const Plane& plane, Coder& coder)
{
    MqDecoder mq = coder.mq;
    MqContext* contexts = coder.contexts;
    const uint8_t* zero = plane.zero;
    const uint32_t magnitude = plane.One() | plane.Half();
    const ptrdiff_t mapStride = plane.block.mapStride, columnStride = plane.block.columnStride;
    for (Groups group(plane.block); group.Left(); group.Next()) {
        uint64_t significant = *group.significant;
        uint64_t todo = Contested<causal>(group.significant, mapStride) & ~significant & group.valid;
        uint64_t visited = todo;
        while (todo != 0) {
            const auto i = static_cast<unsigned>(std::countr_zero(todo));
            todo &= todo - 1;
            const unsigned row = i & 3;
            J2kColumn* column = group.columns + (i >> 2);
            const J2kColumn around = *column >> 3 * row;
            const uint32_t bit = raw ? coder.bits.Bit() : mq.Decode(&contexts[zero[around & 0x1FF]]);
            if (bit == 0) [[likely]]
                continue;
            const uint32_t negative = raw ? coder.bits.Bit() : DecodeSign(mq, contexts, around);
            group.samples[i] = magnitude | negative << 31;
            MarkSignificant<causal>(column, columnStride, row, negative);
            significant |= uint64_t{1} << i;
            const uint64_t fresh = kAhead[row] << i & ~significant & group.valid;
            todo |= fresh;
            visited |= fresh;
        }
        *group.significant = significant;
        *group.visited = visited;
    }
    coder.mq = mq;
}

template <bool causal, bool raw>
[[gnu::noinline]] void RefinementPass(const Plane& plane, Coder& coder)
{
    MqDecoder mq = coder.mq;
    MqContext* contexts = coder.contexts + kContextMagnitude;
    // The half bit set by the plane before goes, the bit and the half below it come.
    const uint32_t change[2] = {plane.Half() - plane.One(), plane.Half()};
    const ptrdiff_t mapStride = plane.block.mapStride;
    for (Groups group(plane.block); group.Left(); group.Next()) {
        uint64_t todo = *group.significant & ~*group.visited;
        if (todo == 0) continue;
        const uint64_t later = *group.refined;
        uint32_t* samples = group.samples;
        if (raw) {
            for (; todo != 0; todo &= todo - 1) samples[std::countr_zero(todo)] += change[coder.bits.Bit()];
        } else if ((todo & ~later) == 0) {
            // All refined before: one context, kept in a register.
            MqContext context = contexts[2];
            for (; todo != 0; todo &= todo - 1)
                samples[std::countr_zero(todo)] += change[mq.Decode(&context)];
            contexts[2] = context;
        } else {
            *group.refined = later | todo;
            const uint64_t contested = Contested<causal>(group.significant, mapStride) & ~later;
            for (; todo != 0; todo &= todo - 1) {
                const auto i = static_cast<unsigned>(std::countr_zero(todo));
                const auto context = (later >> i & 1) << 1 | (contested >> i & 1);
                samples[i] += change[mq.Decode(&contexts[context])];
            }
        }
    }
    coder.mq = mq;
}

template <bool causal>
[[gnu::noinline]] void CleanupPass(const Plane& plane, Coder& coder, bool segmentSymbols)
{
    MqDecoder mq = coder.mq;
    MqContext* contexts = coder.contexts;
    const uint8_t* zero = plane.zero;
    const uint32_t magnitude = plane.One() | plane.Half();
    const ptrdiff_t mapStride = plane.block.mapStride, columnStride = plane.block.columnStride;
    for (Groups group(plane.block); group.Left(); group.Next()) {
        uint64_t significant = *group.significant;
        uint64_t todo = ~(significant | *group.visited) & group.valid;
        if (todo == 0) continue;
        // Columns of four without any neighbour: run-length mode, entered at their first row.
        const uint64_t around = Contested<causal>(group.significant, mapStride) | significant | ~group.valid;
        uint64_t runs = ~(around | around >> 1);
        runs &= runs >> 2 & kFirstRows;
        todo &= ~(runs * 0xE);
        if (todo == runs && mq.PassZeros(contexts[kContextRun], std::popcount(runs))) continue;
        do {
            auto i = static_cast<unsigned>(std::countr_zero(todo));
            todo &= todo - 1;
            J2kColumn* column = group.columns + (i >> 2);
            J2kColumn around1;
            if ((runs >> i & 1) != 0) {
                if (mq.DecodeLikely(&contexts[kContextRun]) == 0) continue;
                uint32_t run = mq.Decode(&contexts[kContextUniform]);
                run = run << 1 | mq.Decode(&contexts[kContextUniform]);
                todo |= (uint64_t{0xE} << run & 0xE) << i;
                i += run;
                around1 = *column >> 3 * run;
            } else {
                around1 = *column >> 3 * (i & 3);
                if (mq.Decode(&contexts[zero[around1 & 0x1FF]]) == 0) continue;
            }
            const uint32_t negative = DecodeSign(mq, contexts, around1);
            group.samples[i] = magnitude | negative << 31;
            MarkSignificant<causal>(column, columnStride, i & 3, negative);
            significant |= uint64_t{1} << i;
            // The next column has a neighbour now.
            const uint64_t next = runs & uint64_t{0x10} << (i & 60);
            runs ^= next;
            todo |= next * 0xF;
        } while (todo != 0);
        *group.significant = significant;
    }
    if (segmentSymbols) {
        for (int i = 0; i < 4; ++i) mq.Decode(&contexts[kContextUniform]);
    }
    coder.mq = mq;
}

template <bool causal>
void RunPass(const Plane& plane, int kind, uint8_t style, bool raw, Coder& coder)
{
    if (kind == 0)
        raw ? SignificancePass<causal, true>(plane, coder) : SignificancePass<causal, false>(plane, coder);
    else if (kind == 1)
        raw ? RefinementPass<causal, true>(plane, coder) : RefinementPass<causal, false>(plane, coder);
    else
        CleanupPass<causal>(plane, coder, (style & kBlockSegmentSymbols) != 0);
}

/// Raw segments begin with the fourth plane; its clean-up passes stay arithmetic (T.800 table D.9).
bool IsRawPass(uint8_t style, int pass)
{
    return (style & kBlockBypass) != 0 && pass >= 10 && pass % 3 != 0;
}

void DecodePasses(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount,
                  const J2kBlockMemory& memory)
{
    Plane plane{memory, kZeroTables[static_cast<size_t>(job.orientation)].data(), 0};
    const int fraction = J2kBlockDecoder::FractionBits(job.planes);
    const bool causal = (job.style & kBlockCausal) != 0;
    Coder coder;
    coder.Reset();
    int pass = 0;
    for (size_t s = 0; s < segmentCount; ++s) {
        const bool raw = IsRawPass(job.style, pass);
        if (raw)
            coder.bits = RawBitReader(segments[s].data, segments[s].size);
        else
            coder.mq = MqDecoder(segments[s].data);
        for (int i = 0; i < segments[s].passes; ++i, ++pass) {
            // Pass 0 is the clean-up of the first plane, then three passes a plane.
            const int bit = job.planes - 1 - (pass + 2) / 3;
            if (bit < 0) return;
            plane.bit = bit + fraction;
            causal ? RunPass<true>(plane, (pass + 2) % 3, job.style, raw, coder)
                   : RunPass<false>(plane, (pass + 2) % 3, job.style, raw, coder);
            if ((job.style & kBlockReset) != 0) coder.Reset();
        }
    }
}
}  // namespace
}  // namespace talv
