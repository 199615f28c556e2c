#include "codecs/j2k/j2k_blocks.h"

#include "codecs/j2k/j2k_block_passes.h"
#include "platform/cpu.h"

namespace talv {
J2kPassDecoder* BestJ2kPassDecoder()
{
#if defined(__x86_64__) || defined(__i386__)
    if (DetectedSimdLevel() >= SimdLevel::avx2) return DecodeJ2kPassesAvx2;
#endif
    return DecodeJ2kPassesPlain;
}

void DecodeJ2kPassesPlain(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount,
                          const J2kBlockMemory& memory)
{
    DecodePasses(job, segments, segmentCount, memory);
}

int PassesInSegment(uint8_t style, int firstPass)
{
    if ((style & kBlockTerminate) != 0) return 1;
    if ((style & kBlockBypass) == 0) return 1 << 16;
    if (firstPass < 10) return 10 - firstPass;
    return firstPass % 3 == 1 ? 2 : 1;
}

namespace {
/// The memory of a block in words of the maps. A stripe above and below, a column or a word of them left and
/// right are added, so that nothing has an edge.
struct Extent
{
    Extent(int width, int height)
        : groups((width + 15) / 16),
          stripes((height + 3) / 4),
          maps(static_cast<size_t>(stripes + 2) * static_cast<size_t>(groups + 2)),
          columns(static_cast<size_t>(stripes + 2) * static_cast<size_t>(16 * groups + 2)),
          samples(static_cast<size_t>(stripes) * static_cast<size_t>(groups) * 64)
    {}

    int groups, stripes;
    size_t maps, columns, samples;
};
}  // namespace

void J2kBlockDecoder::Reserve(int width, int height)
{
    const Extent extent(width, height);
    if (words_.size() < 3 * extent.maps + extent.columns) words_.resize(3 * extent.maps + extent.columns);
    if (samples_.size() < extent.samples) samples_.resize(extent.samples);
}

void J2kBlockDecoder::Decode(const J2kBlockJob& job, const J2kBlockSegment* segments, size_t segmentCount)
{
    decodePasses_(job, segments, segmentCount, Prepare(job.width, job.height));
    if (job.regionShift != 0) UndoRegionShift(job);
}

// Maximum-shift regions of interest: what lies above the shift belongs to the region (T.800 H.1).
void J2kBlockDecoder::UndoRegionShift(const J2kBlockJob& job)
{
    const int stripes = (job.height + 3) / 4, above = job.regionShift + FractionBits(job.planes);
    for (int i = 0; i < stripes * StripeStep(job.width); ++i) {
        uint32_t& sample = samples_[static_cast<size_t>(i)];
        const uint32_t magnitude = sample & 0x7FFFFFFF;
        if (magnitude >> above != 0) sample = (sample & 0x80000000) | magnitude >> job.regionShift;
    }
}

J2kBlockMemory J2kBlockDecoder::Prepare(int width, int height)
{
    const Extent extent(width, height);
    std::fill_n(words_.begin(), 3 * extent.maps + extent.columns, 0);
    std::fill_n(samples_.begin(), extent.samples, 0);
    J2kBlockMemory m{};
    m.groups = extent.groups;
    m.stripes = extent.stripes;
    m.mapStride = m.groups + 2;
    m.columnStride = 16 * m.groups + 2;
    m.significant = words_.data() + m.mapStride + 1;
    m.visited = m.significant + extent.maps;
    m.refined = m.visited + extent.maps;
    m.columns = words_.data() + 3 * extent.maps + m.columnStride + 1;
    m.samples = samples_.data();
    const int lastWidth = width - 16 * (m.groups - 1), lastHeight = height - 4 * (m.stripes - 1);
    m.lastColumns = lastWidth == 16 ? ~uint64_t{0} : (uint64_t{1} << 4 * lastWidth) - 1;
    m.lastRows = uint64_t{0x1111111111111111} * ((1u << lastHeight) - 1);
    return m;
}
}  // namespace talv
