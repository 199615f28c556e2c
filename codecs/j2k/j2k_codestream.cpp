#include "codecs/j2k/j2k_codestream.h"

#include <algorithm>

#include "codecs/j2k/j2k_markers.h"
#include "codecs/j2k/j2k_status.h"

namespace talv {
J2kCodestream::J2kCodestream(const uint8_t* data, size_t size, size_t maxParameters)
    : data_(data), size_(size), parameters_(maxParameters)
{}

bool J2kCodestream::NextMarker(uint16_t* marker)
{
    while (size_ - position_ >= 2 && data_[position_] == 0xFF) {
        *marker = static_cast<uint16_t>(0xFF00 | data_[position_ + 1]);
        position_ += 2;
        if (*marker < 0xFF30 || *marker > 0xFF3F) return true;  // FF30 to FF3F stand alone and say nothing
    }
    return false;
}

bool J2kCodestream::ReadSegment(J2kBytes* payload)
{
    if (size_ - position_ < 2) return false;
    const size_t length = static_cast<size_t>(data_[position_] << 8 | data_[position_ + 1]);
    if (length < 2 || length > size_ - position_) return false;
    *payload = {data_ + position_ + 2, length - 2};
    position_ += length;
    return true;
}

int32_t J2kCodestream::Open()
{
    uint16_t marker = 0;
    if (size_ < 2 || data_[0] != 0xFF || data_[1] != (kMarkerSoc & 0xFF)) return kJ2kNoCodestream;
    position_ = 2;
    J2kBytes payload{};
    if (!NextMarker(&marker) || marker == kMarkerSot || !ReadSegment(&payload) ||
        !StoreSegment(marker, payload, -1))
        return kJ2kNoSize;
    if (int32_t status = ReadImage(); status < 0) return status;
    return ReadMainHeader();
}

int32_t J2kCodestream::ReadImage()
{
    const auto value = [this](J2kName name, uint32_t index) {
        const int64_t* found = parameters_.FindExact(name, -1, -1, index);
        return found != nullptr ? *found : -1;
    };
    const int64_t across[4] = {value(J2kName::XYsiz, 0), value(J2kName::XYOsiz, 0), value(J2kName::XYTsiz, 0),
                               value(J2kName::XYTOsiz, 0)};
    const int64_t down[4] = {value(J2kName::XYsiz, 1), value(J2kName::XYOsiz, 1), value(J2kName::XYTsiz, 1),
                             value(J2kName::XYTOsiz, 1)};
    for (const int64_t* axis : {across, down}) {
        if (axis[0] < 0 || axis[1] < 0 || axis[2] < 1 || axis[3] < 0) return kJ2kBadSize;
        if (axis[0] - axis[1] < 1 || axis[3] > axis[1] || axis[3] + axis[2] <= axis[1]) return kJ2kBadSize;
    }
    const int64_t tilesAcross = (across[0] - across[3] + across[2] - 1) / across[2];
    const int64_t tilesDown = (down[0] - down[3] + down[2] - 1) / down[2];
    if (tilesAcross >= 65536 || tilesDown >= 65536 || tilesAcross * tilesDown >= 65536) return kJ2kBadSize;
    const int64_t profile = value(J2kName::Rsiz, 0);
    if (profile < 0 || componentCount_ < 1 || componentCount_ > kMaxJ2kComponents) return kJ2kBadSize;
    // Bits 14 and 15 announce the high-throughput and the extended capabilities.
    if ((profile & 0xC000) != 0) extended_ = true;

    image_ = {static_cast<uint32_t>(across[0] - across[1]),
              static_cast<uint32_t>(down[0] - down[1]),
              static_cast<uint32_t>(across[1]),
              static_cast<uint32_t>(down[1]),
              static_cast<uint32_t>(across[0]),
              static_cast<uint32_t>(down[0]),
              static_cast<uint32_t>(across[2]),
              static_cast<uint32_t>(down[2]),
              static_cast<uint32_t>(across[3]),
              static_cast<uint32_t>(down[3]),
              static_cast<uint32_t>(tilesAcross),
              static_cast<uint32_t>(tilesDown),
              profile != 0,
              {}};
    for (uint32_t c = 0; c < componentCount_; ++c) {
        const auto component = static_cast<int32_t>(c);
        const int64_t* precision = parameters_.FindExact(J2kName::Ssiz_value, -1, component, 0);
        const int64_t* sign = parameters_.FindExact(J2kName::Ssiz_signe, -1, component, 0);
        const int64_t* stepX = parameters_.FindExact(J2kName::XYRsiz, -1, component, 0);
        const int64_t* stepY = parameters_.FindExact(J2kName::XYRsiz, -1, component, 1);
        if (precision == nullptr || sign == nullptr || stepX == nullptr || stepY == nullptr)
            return kJ2kBadSize;
        if (*precision > kMaxJ2kPrecision || *stepX < 1 || *stepY < 1) return kJ2kBadSize;
        image_.components.push_back({static_cast<uint8_t>(*precision), *sign != 0,
                                     static_cast<uint8_t>(*stepX), static_cast<uint8_t>(*stepY)});
    }
    return kCodecOk;
}

int32_t J2kCodestream::ReadMainHeader()
{
    for (;;) {
        uint16_t marker = 0;
        J2kBytes payload{};
        if (!NextMarker(&marker)) return kJ2kBrokenHeader;
        if (marker == kMarkerSot) {
            position_ -= 2;
            break;
        }
        if (!ReadSegment(&payload)) return kJ2kBrokenHeader;
        if (marker == kMarkerSiz) return kJ2kBadSize;
        if (marker == kMarkerCap) extended_ = true;
        if (marker == kMarkerPpm) {
            if (!StorePacked(&mainPacked_, payload, 0)) return kJ2kBrokenHeader;
            // Kept: a stream without a profile counts as one of profile 3 once its packet headers are packed.
            // Pinned by J2kHeader.PackedHeadersSetTheProfile.
            if (parameters_.Get(J2kName::Rsiz, -1, -1, 0, 0) == 0)
                parameters_.Set(J2kName::Rsiz, -1, -1, 0, 3);
        } else if (marker == kMarkerCom) {
            KeepComment(payload);
        } else if (marker != kMarkerTlm && !StoreSegment(marker, payload, -1)) {
            return kJ2kBrokenHeader;
        }
    }
    if (!SplitPackedHeaders()) return kJ2kBrokenHeader;
    return extended_ ? kCodecUnsupported : kCodecOk;
}

void J2kCodestream::KeepComment(J2kBytes payload)
{
    if (payload.size < 3) return;
    const auto registration = static_cast<uint16_t>(payload.data[0] << 8 | payload.data[1]);
    if (registration > 1) return;
    comments_.push_back(
        {registration, std::string(reinterpret_cast<const char*>(payload.data) + 2, payload.size - 2)});
}

bool J2kCodestream::StorePacked(std::vector<PackedSegment>* list, J2kBytes payload, uint32_t tile)
{
    if (payload.size < 1) return false;
    list->push_back({tile, payload.data[0], {payload.data + 1, payload.size - 1}});
    return true;
}

// The packed headers of the main header are one run of bytes over all segments in the order of their indices:
// for each tile-part a length of four bytes and that many bytes (T.800 A.7.4).
bool J2kCodestream::SplitPackedHeaders()
{
    if (mainPacked_.empty()) return true;
    std::stable_sort(mainPacked_.begin(), mainPacked_.end(),
                     [](const PackedSegment& a, const PackedSegment& b) { return a.index < b.index; });
    for (size_t i = 0; i < mainPacked_.size(); ++i) {
        if (mainPacked_[i].index != i) return false;
        const J2kBytes& bytes = mainPacked_[i].bytes;
        packedBytes_.insert(packedBytes_.end(), bytes.data, bytes.data + bytes.size);
    }
    size_t at = 0;
    while (packedBytes_.size() - at >= 4) {
        const uint8_t* p = packedBytes_.data() + at;
        const size_t length =
            static_cast<size_t>(p[0]) << 24 | static_cast<size_t>(p[1] << 16 | p[2] << 8 | p[3]);
        at += 4;
        if (length > packedBytes_.size() - at) return false;
        packedParts_.push_back({packedBytes_.data() + at, length});
        at += length;
    }
    return at == packedBytes_.size();
}

std::vector<uint8_t> J2kCodestream::TilePackedHeaders(uint32_t tile) const
{
    std::vector<uint8_t> all;
    auto segment = std::lower_bound(tilePacked_.begin(), tilePacked_.end(), tile,
                                    [](const PackedSegment& s, uint32_t wanted) { return s.tile < wanted; });
    for (; segment != tilePacked_.end() && segment->tile == tile; ++segment)
        all.insert(all.end(), segment->bytes.data, segment->bytes.data + segment->bytes.size);
    return all;
}

int32_t J2kCodestream::ReadTileParts()
{
    for (bool last = false; !last;) {
        if (!ReadTilePart(&last)) break;
    }
    if (parts_.empty()) return kJ2kBrokenHeader;
    // Parts of a tile count from 0; a writer may have stored them in any order.
    std::stable_sort(parts_.begin(), parts_.end(), [](const J2kTilePart& a, const J2kTilePart& b) {
        return a.tile != b.tile ? a.tile < b.tile : a.part < b.part;
    });
    // A tile's packed headers follow each other by index (T.800 A.7.5).
    std::stable_sort(tilePacked_.begin(), tilePacked_.end(),
                     [](const PackedSegment& a, const PackedSegment& b) {
                         return a.tile != b.tile ? a.tile < b.tile : a.index < b.index;
                     });
    for (size_t i = 1; i < tilePacked_.size(); ++i) {
        if (tilePacked_[i].tile == tilePacked_[i - 1].tile &&
            tilePacked_[i].index == tilePacked_[i - 1].index)
            return kJ2kBrokenHeader;
    }
    if (!tilePacked_.empty() && !mainPacked_.empty()) return kJ2kBrokenHeader;
    return kCodecOk;
}

bool J2kCodestream::ReadTilePart(bool* last)
{
    const size_t start = position_;
    uint16_t marker = 0;
    J2kBytes payload{};
    if (!NextMarker(&marker) || marker != kMarkerSot || !ReadSegment(&payload) || payload.size != 8)
        return false;
    const uint8_t* p = payload.data;
    const uint32_t tile = static_cast<uint32_t>(p[0] << 8 | p[1]);
    const size_t length =
        static_cast<size_t>(p[2]) << 24 | static_cast<size_t>(p[3] << 16 | p[4] << 8 | p[5]);
    const uint32_t part = p[6];
    if (tile >= image_.tilesAcross * image_.tilesDown) return false;
    // A length of 0 reaches to the end of the stream; one past the end is a stream cut short.
    size_t end = size_;
    if (length != 0) {
        if (length < 14) return false;
        end = length < size_ - start ? start + length : size_;
    } else {
        *last = true;
        if (size_ - position_ >= 2 && data_[size_ - 2] == 0xFF && data_[size_ - 1] == (kMarkerEoc & 0xFF))
            end = size_ - 2;
    }
    if (!ReadTilePartHeader(tile, end)) return false;
    J2kBytes packed{};
    if (parts_.size() < packedParts_.size()) packed = packedParts_[parts_.size()];
    parts_.push_back({tile, part, {data_ + position_, end - position_}, packed});
    position_ = end;
    return true;
}

bool J2kCodestream::ReadTilePartHeader(uint32_t tile, size_t end)
{
    for (;;) {
        uint16_t marker = 0;
        J2kBytes payload{};
        if (!NextMarker(&marker) || position_ > end) return false;
        if (marker == kMarkerSod) return true;
        if (!ReadSegment(&payload) || position_ > end) return false;
        if (marker == kMarkerPpm || marker == kMarkerSiz || marker == kMarkerSot) return false;
        if (marker == kMarkerPpt) {
            if (!StorePacked(&tilePacked_, payload, tile)) return false;
        } else if (marker != kMarkerCom && !StoreSegment(marker, payload, static_cast<int32_t>(tile))) {
            return false;
        }
    }
}
}  // namespace talv
