#pragma once

#include <cstdint>
#include <vector>

#include "codecs/j2k/j2k_tile.h"

namespace talv {
/// One tile-part's packets and where their headers are: within the packets, or packed elsewhere.
struct J2kPacketSource
{
    J2kBytes packets;
    J2kBytes packedHeaders;
    bool packed;
};

/// A precinct's place in a progression.
struct J2kPacketPlace
{
    uint64_t position;  ///< where position orders meet it on the reference grid: y above 32 bits of x
    uint32_t precinct;  ///< in the tile-component's list
    uint16_t component, resolution;
};

/// The precincts of a progression, sorted as the order visits them. Throws std::bad_alloc when memory or the
/// budget is short.
std::vector<J2kPacketPlace> OrderJ2kPackets(const J2kTile& tile, const J2KImage& image,
                                            const J2kProgression& progression);

/// Tier 2 of one tile (T.800 annex B): reads packets until the data or the packets end, or a header makes no
/// sense; what was read until then stays. Throws std::bad_alloc when memory or the budget is short.
class J2kPacketReader
{
  public:
    J2kPacketReader(J2kTile* tile, const std::vector<J2kPacketSource>& parts) : tile_(tile), parts_(parts) {}

    /// Follows the progressions of the tile to their end or the end of the data.
    void ReadAll(const J2KImage& image);

  private:
    bool ReadProgression(const std::vector<J2kPacketPlace>& places, const J2kProgression& progression);
    bool ReadPacket(const J2kPacketPlace& place, uint32_t layer);
    bool NextSource();
    bool ReadHeader(PacketBitReader& bits, J2kTileComponent& component, const J2kResolution& resolution,
                    J2kPrecinct& precinct, uint32_t index, uint32_t layer);
    bool ReadBlockHeader(PacketBitReader& bits, const J2kTileComponent& component, const J2kBand& band,
                         J2kPrecinctBand& part, uint32_t x, uint32_t y, uint32_t layer);
    bool TakeBodies();
    void DropChunks(size_t from);

    J2kTile* tile_;
    const std::vector<J2kPacketSource>& parts_;
    size_t part_ = 0;  ///< the next one
    J2kBytes body_{}, headers_{};
    bool packed_ = false;  ///< the headers of the part in hand are in `headers_`
    size_t firstNewChunk_ = 0;
};
}  // namespace talv
