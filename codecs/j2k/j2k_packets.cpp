#include "codecs/j2k/j2k_packets.h"

#include <algorithm>
#include <bit>
#include <new>

#include "codecs/j2k/j2k_blocks.h"
#include "codecs/j2k/j2k_markers.h"

namespace talv {
namespace {
// T.800 table B.4.
int ReadPassCount(PacketBitReader& bits)
{
    if (bits.Bit() == 0) return 1;
    if (bits.Bit() == 0) return 2;
    uint32_t more = bits.Bits(2);
    if (more < 3) return static_cast<int>(3 + more);
    more = bits.Bits(5);
    if (more < 31) return static_cast<int>(6 + more);
    return static_cast<int>(37 + bits.Bits(7));
}

bool StartsWithMarker(const J2kBytes& bytes, J2kMarker marker)
{
    return bytes.size >= 2 && bytes.data[0] == 0xFF && bytes.data[1] == (marker & 0xFF);
}

void Skip(J2kBytes* bytes, size_t count)
{
    bytes->data += count;
    bytes->size -= count;
}
}  // namespace

void J2kPacketReader::ReadAll(const J2KImage& image)
{
    if (!NextSource()) return;
    for (const J2kProgression& progression : tile_->progressions) {
        if (progression.order > 4) return;
        if (!ReadProgression(OrderJ2kPackets(*tile_, image, progression), progression)) return;
    }
}

bool J2kPacketReader::ReadProgression(const std::vector<J2kPacketPlace>& places,
                                      const J2kProgression& progression)
{
    // The places of a group are visited once for each layer: all of them (LRCP), those of one resolution
    // (RLCP), one alone (position orders).
    const auto inOneGroup = [&](const J2kPacketPlace& a, const J2kPacketPlace& b) {
        return progression.order == 0 || (progression.order == 1 && a.resolution == b.resolution);
    };
    for (auto first = places.begin(); first != places.end();) {
        auto end = first + 1;
        while (end != places.end() && inOneGroup(*first, *end)) ++end;
        for (uint32_t layer = 0; layer < progression.layers; ++layer) {
            for (auto place = first; place != end; ++place) {
                const J2kPrecinct& precinct = tile_->components[place->component].precincts[place->precinct];
                if (!tile_->budget->TakeWork(1)) throw std::bad_alloc();
                // An earlier progression has brought this layer already.
                if (precinct.nextLayer > layer) continue;
                if (!ReadPacket(*place, layer)) return false;
            }
        }
        first = end;
    }
    return true;
}

/// Moves on to the next tile-part that has packet headers, once those of this one are used up.
bool J2kPacketReader::NextSource()
{
    while ((packed_ ? headers_ : body_).size == 0) {
        if (part_ == parts_.size()) return false;
        body_ = parts_[part_].packets;
        headers_ = parts_[part_].packedHeaders;
        packed_ = parts_[part_].packed;
        ++part_;
    }
    // Headers packed for the whole tile go on while the bodies come from one tile-part after the other.
    while (packed_ && body_.size == 0 && part_ < parts_.size() && parts_[part_].packedHeaders.size == 0)
        body_ = parts_[part_++].packets;
    return true;
}

bool J2kPacketReader::ReadPacket(const J2kPacketPlace& place, uint32_t layer)
{
    if (!NextSource()) return false;
    if (tile_->startMarkers && StartsWithMarker(body_, kMarkerSop) && body_.size >= 6 && body_.data[2] == 0 &&
        body_.data[3] == 4)
        Skip(&body_, 6);
    J2kBytes& source = packed_ ? headers_ : body_;
    if (source.size == 0) return false;
    J2kTileComponent& component = tile_->components[place.component];
    const J2kResolution& resolution = component.resolutions[place.resolution];
    J2kPrecinct& precinct = component.precincts[place.precinct];

    PacketBitReader bits(source.data, source.size);
    firstNewChunk_ = tile_->chunks.size();
    if (bits.Bit() != 0 && !ReadHeader(bits, component, resolution, precinct,
                                       place.precinct - resolution.firstPrecinct, layer)) {
        DropChunks(firstNewChunk_);
        return false;
    }
    const uint8_t* behind = bits.Finish();
    if (!bits.Good()) {
        DropChunks(firstNewChunk_);
        return false;
    }
    Skip(&source, static_cast<size_t>(behind - source.data));
    bool sound = true;
    if (tile_->endMarkers) {
        sound = StartsWithMarker(source, kMarkerEph);
        if (sound) Skip(&source, 2);
    }
    ++precinct.nextLayer;
    sound = TakeBodies() && sound;
    ++tile_->packetsRead;
    return sound;
}

bool J2kPacketReader::ReadHeader(PacketBitReader& bits, J2kTileComponent& component,
                                 const J2kResolution& resolution, J2kPrecinct& precinct, uint32_t index,
                                 uint32_t layer)
{
    if (precinct.bands == nullptr) FillJ2kPrecinct(tile_, component, resolution, index, &precinct);
    for (int b = 0; b < resolution.bandCount; ++b) {
        J2kPrecinctBand& part = precinct.bands[b];
        for (uint32_t y = 0; y < part.down; ++y) {
            for (uint32_t x = 0; x < part.across; ++x) {
                if (!ReadBlockHeader(bits, component, resolution.bands[b], part, x, y, layer)) return false;
            }
        }
    }
    return bits.Good();
}

bool J2kPacketReader::ReadBlockHeader(PacketBitReader& bits, const J2kTileComponent& component,
                                      const J2kBand& band, J2kPrecinctBand& part, uint32_t x, uint32_t y,
                                      uint32_t layer)
{
    const uint32_t number = y * part.across + x;
    J2kCodeBlock& block = part.blocks[number];
    const bool isNew = block.lengthBits == 0;
    const bool included = isNew ? part.inclusion.Decode(bits, x, y, layer + 1) : bits.Bit() != 0;
    if (!bits.Good()) return false;
    if (!included) return true;
    if (isNew) {
        uint32_t zeroPlanes = 0;
        while (!part.zeroPlanes.Decode(bits, x, y, zeroPlanes + 1)) {
            if (!bits.Good() || ++zeroPlanes > 80) return false;
        }
        if (static_cast<int>(zeroPlanes) > band.planes + component.style.regionShift) return false;
        block.zeroPlanes = static_cast<uint8_t>(zeroPlanes);
        block.lengthBits = 3;
    }
    int passes = ReadPassCount(bits);
    while (bits.Bit() != 0) {
        if (++block.lengthBits > 31) return false;
    }
    if (block.passes + passes > kMaxBlockPasses) return false;
    while (passes > 0) {
        const int capacity = PassesInSegment(component.style.blockStyle, block.passes - block.segmentPasses);
        if (block.segmentPasses >= capacity) {
            block.segmentPasses = 0;
            continue;
        }
        const int count = std::min(passes, capacity - block.segmentPasses);
        const int width = block.lengthBits + std::bit_width(static_cast<unsigned>(count)) - 1;
        if (width > 31) return false;
        const uint32_t size = bits.Bits(width);
        if (!bits.Good()) return false;
        if (tile_->chunks.size() % 1024 == 0 && !tile_->TakeMemory(2048 * sizeof(J2kChunk)))
            throw std::bad_alloc();
        tile_->chunks.push_back({nullptr, size, static_cast<uint8_t>(count), block.segmentPasses == 0, 0});
        const auto index = static_cast<uint32_t>(tile_->chunks.size());
        if (block.lastChunk == 0)
            block.firstChunk = index;
        else
            tile_->chunks[block.lastChunk - 1].next = index;
        block.lastChunk = index;
        block.passes = static_cast<uint8_t>(block.passes + count);
        block.segmentPasses = static_cast<uint8_t>(block.segmentPasses + count);
        passes -= count;
    }
    return true;
}

/// Announced passes whose bytes never came are not decoded.
void J2kPacketReader::DropChunks(size_t from)
{
    for (size_t i = from; i < tile_->chunks.size(); ++i) tile_->chunks[i].size = tile_->chunks[i].passes = 0;
}

/// Hands out the bytes behind a packet header to the chunks it announced; a body cut short gives what is
/// there.
bool J2kPacketReader::TakeBodies()
{
    for (size_t i = firstNewChunk_; i < tile_->chunks.size(); ++i) {
        J2kChunk& chunk = tile_->chunks[i];
        if (chunk.size > body_.size) {
            // Of passes cut short those are kept that the bytes surely hold.
            const uint64_t kept = uint64_t{chunk.passes} * body_.size / chunk.size;
            chunk.passes = static_cast<uint8_t>(kept);
            chunk.size = static_cast<uint32_t>(body_.size);
            chunk.data = body_.data;
            Skip(&body_, body_.size);
            DropChunks(i + 1);
            return false;
        }
        chunk.data = body_.data;
        Skip(&body_, chunk.size);
    }
    return true;
}
}  // namespace talv
