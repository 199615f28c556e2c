#include "codecs/j2k/j2k_tile_decoder.h"

#include <algorithm>
#include <cstring>

#include "codecs/j2k/j2k_block_rows.h"
#include "codecs/j2k/j2k_blocks.h"
#include "codecs/j2k/j2k_memory.h"
#include "codecs/j2k/j2k_mq.h"
#include "codecs/j2k/j2k_status.h"
#include "codecs/j2k/j2k_wavelet.h"

namespace talv {
namespace {
/// A code-block that has passes to decode.
struct BlockWork
{
    const J2kCodeBlock* block;
    const J2kBand* band;
    const J2kTileComponent* component;
    uint64_t bytes;
};

/// What one thread keeps between blocks.
struct BlockThread
{
    J2kBlockDecoder decoder;
    std::vector<J2kBlockSegment> segments;
    std::vector<uint8_t> joined;
};

int BlockPlanes(const BlockWork& work)
{
    return work.band->planes + work.component->style.regionShift - work.block->zeroPlanes;
}

/// Gathers the chunks of a block into codeword segments, each in one piece and with what the arithmetic
/// decoder wants around it.
void GatherSegments(const std::vector<J2kChunk>& chunks, const BlockWork& work, BlockThread* thread)
{
    thread->segments.clear();
    thread->joined.clear();
    const auto close = [&] { thread->joined.insert(thread->joined.end(), kMqPadding, uint8_t{0xFF}); };
    for (uint32_t i = work.block->firstChunk; i != 0; i = chunks[i - 1].next) {
        const J2kChunk& chunk = chunks[i - 1];
        if (chunk.startsSegment || thread->segments.empty()) {
            if (!thread->segments.empty()) close();
            thread->joined.push_back(0);
            thread->segments.push_back({thread->joined.data() + thread->joined.size(), 0, 0});
        }
        J2kBlockSegment& segment = thread->segments.back();
        segment.passes += chunk.passes;
        segment.size += chunk.size;
        thread->joined.insert(thread->joined.end(), chunk.data, chunk.data + chunk.size);
    }
    close();
}

void StoreBlock(const uint32_t* samples, const BlockWork& work, int fraction)
{
    const J2kCodeBlock& block = *work.block;
    const J2kBand& band = *work.band;
    const J2kTileComponent& component = *work.component;
    const size_t first = static_cast<size_t>(band.firstRow + block.y * band.rowStep) * component.stride +
                         static_cast<size_t>(band.firstColumn) + block.x;
    const J2kBlockRows rows{samples,
                            block.width,
                            block.height,
                            fraction,
                            fraction != 0 ? 0.5f * band.step : band.step,
                            static_cast<size_t>(band.rowStep) * component.stride};
    const J2kBlockRowKernels& kernels = BestJ2kBlockRowKernels();
    if (component.style.reversible)
        kernels.storeWhole(rows, component.coefficients + first);
    else
        kernels.storeReal(rows, component.realCoefficients + first);
}

class TileDecoder
{
  public:
    TileDecoder(J2kTile& tile, CodecWorkers& workers) : tile_(tile), workers_(workers) {}

    int32_t Decode()
    {
        if (int32_t status = ListBlocks(); status < 0) return status;
        if (int32_t status = MakeCoefficients(); status < 0) return status;
        DecodeBlocks();
        ReconstructJ2kComponents(tile_.components, workers_);
        return kCodecOk;
    }

  private:
    int32_t ListBlocks()
    {
        covered_.assign(tile_.components.size(), 0);
        for (const J2kTileComponent& component : tile_.components) {
            for (const J2kPrecinct& precinct : component.precincts) {
                if (precinct.bands == nullptr) continue;
                const J2kResolution& resolution = component.resolutions[precinct.resolution];
                for (int b = 0; b < resolution.bandCount; ++b) {
                    const J2kPrecinctBand& part = precinct.bands[b];
                    for (size_t i = 0; i < size_t{part.across} * part.down; ++i) {
                        if (part.blocks[i].passes == 0) continue;
                        if (int32_t status = AddBlock({&part.blocks[i], &resolution.bands[b], &component, 0});
                            status < 0)
                            return status;
                    }
                }
            }
        }
        // Long blocks first: the last ones to finish are then short.
        std::sort(blocks_.begin(), blocks_.end(),
                  [](const BlockWork& a, const BlockWork& b) { return a.bytes > b.bytes; });
        return kCodecOk;
    }

    int32_t AddBlock(BlockWork work)
    {
        const int planes = BlockPlanes(work);
        if (planes > kMaxBlockPlanes) return kJ2kBrokenHeader;
        if (planes <= 0) return kCodecOk;
        for (uint32_t i = work.block->firstChunk; i != 0; i = tile_.chunks[i - 1].next)
            work.bytes += tile_.chunks[i - 1].size;
        // A pass over 64 coefficients costs about what storing and transforming one does.
        const uint64_t samples = uint64_t{work.block->width} * work.block->height;
        if (!tile_.budget->TakeWork(work.block->passes * (samples / 64 + 1))) return kCodecNoMemory;
        if (blocks_.size() == blocks_.capacity() &&
            !tile_.TakeMemory(2 * sizeof(BlockWork) * std::max<size_t>(blocks_.capacity(), 64)))
            return kCodecNoMemory;
        blocks_.push_back(work);
        covered_[static_cast<size_t>(work.component - tile_.components.data())] += samples;
        return kCodecOk;
    }

    int32_t MakeCoefficients()
    {
        for (J2kTileComponent& component : tile_.components) {
            if (component.rect.Empty()) continue;
            const auto width = static_cast<uint64_t>(component.rect.Width());
            const auto height = static_cast<uint64_t>(component.rect.Height());
            // Whole cache lines, but not rows that all fall onto the same few lines of the cache.
            uint64_t stride = width < 128 ? width : (width + 15) & ~uint64_t{15};
            if (stride >= 512 && stride % 256 == 0) stride += 16;
            if (height > UINT64_MAX / 64 / stride) return kCodecNoMemory;
            const uint64_t bytes = stride * height * 4;
            if (!tile_.budget->TakeWork(width * height) || !tile_.TakeMemory(bytes) || bytes > SIZE_MAX / 2)
                return kCodecNoMemory;
            stores_.push_back(TakeJ2kMemory(static_cast<size_t>(bytes)));
            void* memory = stores_.back().get();
            if (memory == nullptr) return kCodecNoMemory;
            component.stride = static_cast<size_t>(stride);
            component.coefficients = static_cast<int32_t*>(memory);
            component.realCoefficients = static_cast<float*>(memory);
            if (covered_[static_cast<size_t>(&component - tile_.components.data())] < width * height)
                Clear(static_cast<char*>(memory), static_cast<size_t>(bytes));
        }
        return kCodecOk;
    }

    /// The coefficients that no block brings are 0.
    void Clear(char* memory, size_t bytes)
    {
        constexpr size_t kPiece = size_t{1} << 18;
        workers_.Run((bytes + kPiece - 1) / kPiece, [=](size_t i, unsigned) {
            std::memset(memory + i * kPiece, 0, std::min(kPiece, bytes - i * kPiece));
        });
    }

    void DecodeBlocks()
    {
        if (blocks_.empty()) return;
        uint64_t longest = 0;
        for (const BlockWork& work : blocks_) longest = std::max(longest, work.bytes);
        std::vector<BlockThread> threads(workers_.Count());
        for (BlockThread& thread : threads) {
            // A block has at most 164 passes, and so many segments; they keep their places.
            thread.segments.reserve(kMaxBlockPasses);
            thread.joined.reserve(static_cast<size_t>(longest) + kMaxBlockPasses * (1 + kMqPadding));
            for (const BlockWork& work : blocks_)
                thread.decoder.Reserve(work.block->width, work.block->height);
        }
        const auto decode = [&](size_t i, unsigned number) {
            const BlockWork& work = blocks_[i];
            BlockThread& thread = threads[number];
            GatherSegments(tile_.chunks, work, &thread);
            const int planes = BlockPlanes(work);
            thread.decoder.Decode(
                {work.block->width, work.block->height, work.band->orientation,
                 work.component->style.blockStyle, planes, work.component->style.regionShift},
                thread.segments.data(), thread.segments.size());
            StoreBlock(thread.decoder.Samples(), work, J2kBlockDecoder::FractionBits(planes));
        };
        workers_.Run(blocks_.size(), decode);
    }

    J2kTile& tile_;
    CodecWorkers& workers_;
    std::vector<BlockWork> blocks_;
    std::vector<uint64_t> covered_;  ///< coefficients of each component that blocks bring

  public:
    std::vector<J2kMemory> stores_;
};
}  // namespace

int32_t DecodeJ2kTile(const J2kCodestream& stream, uint32_t index, const std::vector<J2kPacketSource>& parts,
                      const J2KDestination& destination, J2kBudget& budget, CodecWorkers& workers,
                      uint64_t* packets)
{
    J2kTile tile(&budget);
    if (int32_t status = SetUpJ2kTile(stream, index, &tile); status < 0) return status;
    J2kPacketReader(&tile, parts).ReadAll(stream.Image());
    *packets = tile.packetsRead;
    if (!ShowsJ2kTile(stream.Image(), tile, destination)) return kCodecOk;
    TileDecoder decoder(tile, workers);
    if (int32_t status = decoder.Decode(); status < 0) return status;
    WriteJ2kTile(stream.Image(), tile, destination, workers);
    return kCodecOk;
}
}  // namespace talv
