#include "codecs/j2k/j2k_decoder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "codecs/j2k/j2k_status.h"
#include "codecs/j2k/j2k_tile_decoder.h"

namespace talv {
namespace {
/// Tiles below this many samples are decoded side by side instead of sharing threads inside.
constexpr uint64_t kSmallTile = 1u << 18;

/// The parts of one tile, in `TileParts()`.
struct TileRange
{
    uint32_t tile;
    size_t first, end;
};

constexpr uint64_t kNoFailure = UINT64_MAX;

class FrameDecoder
{
  public:
    FrameDecoder(const J2kCodestream& stream, const J2KDestination& destination, J2kBudget& budget,
                 unsigned threads)
        : stream_(stream), destination_(destination), budget_(budget), workers_(threads)
    {}

    int32_t Decode()
    {
        const std::vector<J2kTilePart>& parts = stream_.TileParts();
        for (size_t i = 0; i < parts.size(); ++i) {
            if (tiles_.empty() || tiles_.back().tile != parts[i].tile)
                tiles_.push_back({parts[i].tile, i, i});
            tiles_.back().end = i + 1;
        }
        const J2KImage& image = stream_.Image();
        const uint64_t tileSamples = uint64_t{std::min(image.tileWidth, image.width)} *
                                     std::min(image.tileHeight, image.height) * image.components.size();
        if (tiles_.size() >= 2 * workers_.Count() && tileSamples <= kSmallTile)
            workers_.Run(tiles_.size(), [this](size_t i, unsigned) {
                CodecWorkers alone(1);
                DecodeTile(i, alone);
            });
        else
            for (size_t i = 0; i < tiles_.size(); ++i) DecodeTile(i, workers_);
        if (failure_ != kNoFailure) return static_cast<int32_t>(static_cast<uint32_t>(failure_));
        return packets_ > 0 ? int32_t{kCodecOk} : int32_t{kJ2kBrokenHeader};
    }

  private:
    void DecodeTile(size_t index, CodecWorkers& workers)
    {
        if (failure_ >> 32 < index) return;
        const TileRange& range = tiles_[index];
        int32_t status = kCodecNoMemory;
        uint64_t packets = 0;
        try {
            std::vector<uint8_t> packed;
            const std::vector<J2kPacketSource> sources = Sources(range, &packed);
            status = DecodeJ2kTile(stream_, range.tile, sources, destination_, budget_, workers, &packets);
        } catch (const std::bad_alloc&) {
        }
        packets_ += packets;
        if (status < 0) NoteFailure(index, status);
    }

    /// The first tile that fails decides, whichever thread comes to it first.
    void NoteFailure(size_t index, int32_t status)
    {
        const uint64_t failure = uint64_t{index} << 32 | static_cast<uint32_t>(status);
        uint64_t known = failure_;
        while (failure < known && !failure_.compare_exchange_weak(known, failure)) {
        }
    }

    /// `packed` holds what the sources refer to.
    std::vector<J2kPacketSource> Sources(const TileRange& range, std::vector<uint8_t>* packed) const
    {
        std::vector<J2kPacketSource> sources;
        for (size_t i = range.first; i < range.end; ++i) {
            const J2kTilePart& part = stream_.TileParts()[i];
            sources.push_back({part.packets, part.packedHeaders, stream_.HasPackedHeaders()});
            for (const J2kPackedSegment& segment : part.packedSegments)
                packed->insert(packed->end(), segment.bytes.data, segment.bytes.data + segment.bytes.size);
        }
        if (packed->empty()) return sources;
        // The tile's own packed headers run on over its tile-parts, and so do its packets then.
        for (J2kPacketSource& source : sources) source.packed = true;
        sources.front().packedHeaders = {packed->data(), packed->size()};
        return sources;
    }

    const J2kCodestream& stream_;
    const J2KDestination& destination_;
    J2kBudget& budget_;
    CodecWorkers workers_;
    std::vector<TileRange> tiles_;
    std::atomic<uint64_t> packets_{0};
    std::atomic<uint64_t> failure_{kNoFailure};  ///< index and, in the low half, status of a tile
};

J2KComponentList ListComponents(const J2KImage& image)
{
    J2KComponentList list;
    for (const J2KComponent& component : image.components) {
        const int precision = component.precision;
        list.push_back({image.width, image.height, component.isSigned ? -precision : precision});
        if (list.size() > 4) break;  // no destination takes more
    }
    return list;
}
}  // namespace

int32_t DecodeJ2kFrame(const uint8_t* source, void* rows, const J2KFrameDescriptor& descriptor,
                       unsigned threads)
{
    const uint64_t frameBytes = uint64_t{descriptor.bytesPerLine} * descriptor.height;
    // A value of the parameter store takes about 64 bytes.
    const size_t maxParameters = static_cast<size_t>((16u << 20) / 64 + descriptor.sourceLength / 64);
    J2kCodestream stream(source, descriptor.sourceLength, maxParameters);
    if (int32_t status = stream.Open(); status < 0) return status;

    J2KDestination destination{};
    const J2KComponentList components = ListComponents(stream.Image());
    if (int32_t status = SetJ2kOutput(rows, descriptor, components, &destination); status < 0) return status;
    const uint64_t rowBytes =
        uint64_t{destination.width} * static_cast<unsigned>(destination.samples * destination.bytesPerSample);
    if (rowBytes > destination.bytesPerLine) return kCodecInvalidParameter;
    for (const J2KOutputComponent& component : components) {
        if (component.precision > 31 || component.precision < -31) return kCodecUnsupported;
    }
    if (int32_t status = stream.ReadTileParts(); status < 0) return status;

    for (uint32_t y = 0; y < destination.height; ++y)
        std::memset(destination.rows + y * destination.bytesPerLine, 0, static_cast<size_t>(rowBytes));
    J2kBudget budget(
        frameBytes,
        uint64_t{descriptor.width} * descriptor.height * static_cast<uint64_t>(destination.samples),
        descriptor.sourceLength);
    return FrameDecoder(stream, destination, budget, threads).Decode();
}
}  // namespace talv
