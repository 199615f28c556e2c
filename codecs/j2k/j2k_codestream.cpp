#include "codecs/j2k/j2k_codestream.h"

#include <algorithm>
#include <utility>

#include "codecs/j2k/j2k_markers.h"
#include "codecs/j2k/j2k_status.h"

namespace talv {
namespace {
void SortByIndex(std::vector<J2kPackedSegment>* segments)
{
    std::stable_sort(segments->begin(), segments->end(),
                     [](const J2kPackedSegment& a, const J2kPackedSegment& b) { return a.index < b.index; });
}
}  // namespace

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

/// What follows a marker: nothing behind those that stand alone, else a length and as many bytes.
bool J2kCodestream::ReadSegment(uint16_t marker, J2kBytes* payload)
{
    *payload = {};
    if (marker == kMarkerSoc || marker == kMarkerSod || marker == kMarkerEph || marker == kMarkerEoc)
        return true;
    if (size_ - position_ < 2) return false;
    const size_t length = static_cast<size_t>(data_[position_] << 8 | data_[position_ + 1]);
    if (length < 2 || length > size_ - position_) return false;
    if ((marker == kMarkerSot && length != 10) || (marker == kMarkerSop && length != 4)) return false;
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
    if (!NextMarker(&marker) || marker == kMarkerSot || !ReadSegment(marker, &payload) ||
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
        if (!ReadSegment(marker, &payload)) return kJ2kBrokenHeader;
        if (marker == kMarkerSiz) return kJ2kBadSize;
        if (marker == kMarkerCap) extended_ = true;
        if (marker == kMarkerPpm) {
            if (!KeepPacked(&mainPacked_, payload)) return kJ2kBrokenHeader;
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

bool J2kCodestream::KeepPacked(std::vector<J2kPackedSegment>* list, J2kBytes payload)
{
    if (payload.size < 1) return false;
    list->push_back({payload.data[0], {payload.data + 1, payload.size - 1}});
    return true;
}

// The packed headers of the main header are one run of bytes over all segments in the order of their indices:
// for each tile-part a length of four bytes and that many bytes (T.800 A.7.4).
bool J2kCodestream::SplitPackedHeaders()
{
    if (mainPacked_.empty()) return true;
    SortByIndex(&mainPacked_);
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

int32_t J2kCodestream::ReadTileParts()
{
    for (bool last = false; !last;) {
        if (!ReadTilePart(&last)) break;
    }
    if (parts_.empty() || packedBroken_) return kJ2kBrokenHeader;
    SortTileParts();
    return SortPackedSegments() ? int32_t{kCodecOk} : int32_t{kJ2kBrokenHeader};
}

/// Brings the parts of each tile together. They count from 0 and a writer may have stored them in any order;
/// where two have one number (there were more than the field can count) the order of the stream holds.
void J2kCodestream::SortTileParts()
{
    const auto byTile = [](const J2kTilePart& a, const J2kTilePart& b) { return a.tile < b.tile; };
    const auto byPart = [](const J2kTilePart& a, const J2kTilePart& b) { return a.part < b.part; };
    std::stable_sort(parts_.begin(), parts_.end(), byTile);
    for (auto first = parts_.begin(); first != parts_.end();) {
        const auto end = std::upper_bound(first, parts_.end(), *first, byTile);
        bool seen[256] = {};
        const bool distinct = std::none_of(
            first, end, [&](const J2kTilePart& part) { return std::exchange(seen[part.part], true); });
        if (distinct) std::sort(first, end, byPart);
        first = end;
    }
}

/// Sorts the packed headers of each tile-part. Their indices count from 0 within its header (T.800 A.7.5), or
/// on from those of the tile's parts before, as some writers have it.
bool J2kCodestream::SortPackedSegments()
{
    size_t before = 0;
    for (size_t i = 0; i < parts_.size(); ++i) {
        if (i > 0 && parts_[i].tile != parts_[i - 1].tile) before = 0;
        std::vector<J2kPackedSegment>& segments = parts_[i].packedSegments;
        if (segments.empty()) continue;
        if (!mainPacked_.empty()) return false;
        SortByIndex(&segments);
        const size_t first = segments[0].index;
        if (first != 0 && first != before) return false;
        for (size_t k = 0; k < segments.size(); ++k) {
            if (segments[k].index != first + k) return false;
        }
        before += segments.size();
    }
    return true;
}

bool J2kCodestream::ReadTilePart(bool* last)
{
    const size_t start = position_;
    uint16_t marker = 0;
    J2kBytes payload{};
    if (!NextMarker(&marker) || marker != kMarkerSot || !ReadSegment(marker, &payload)) return false;
    const uint8_t* p = payload.data;
    const uint32_t tile = static_cast<uint32_t>(p[0] << 8 | p[1]);
    const size_t length =
        static_cast<size_t>(p[2]) << 24 | static_cast<size_t>(p[3] << 16 | p[4] << 8 | p[5]);
    J2kTilePart part{tile, p[6], {}, {}, {}};
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
    if (!ReadTilePartHeader(end, &part)) return false;
    if (parts_.size() < packedParts_.size()) part.packedHeaders = packedParts_[parts_.size()];
    part.packets = {data_ + position_, end - position_};
    parts_.push_back(std::move(part));
    position_ = end;
    return true;
}

bool J2kCodestream::ReadTilePartHeader(size_t end, J2kTilePart* part)
{
    for (;;) {
        uint16_t marker = 0;
        J2kBytes payload{};
        if (!NextMarker(&marker) || position_ > end) return false;
        if (marker == kMarkerSod) return true;
        if (!ReadSegment(marker, &payload) || position_ > end) return false;
        if (marker == kMarkerSiz || marker == kMarkerSot) return false;
        if (marker == kMarkerPpm || (marker == kMarkerPpt && !KeepPacked(&part->packedSegments, payload))) {
            packedBroken_ = true;
            return false;
        }
        if (marker != kMarkerPpt && marker != kMarkerCom &&
            !StoreSegment(marker, payload, static_cast<int32_t>(part->tile)))
            return false;
    }
}
}  // namespace talv
