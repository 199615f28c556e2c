#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "codecs/j2k/j2k_parameters.h"

namespace talv {
constexpr uint32_t kMaxJ2kComponents = 16384;
constexpr int kMaxJ2kPrecision = 38;

/// Precision, sign and subsampling of one component.
struct J2KComponent
{
    uint8_t precision;
    bool isSigned;
    uint8_t stepX, stepY;  ///< reference grid positions per sample
};

/// Geometry of the image and its tiles on the reference grid (T.800 B.2, B.3).
struct J2KImage
{
    uint32_t width, height;  ///< reference grid size less the image offset
    uint32_t offsetX, offsetY;
    uint32_t endX, endY;
    uint32_t tileWidth, tileHeight;
    uint32_t tileOffsetX, tileOffsetY;
    uint32_t tilesAcross, tilesDown;
    bool restrictedProfile;
    std::vector<J2KComponent> components;
};

struct J2kBytes
{
    const uint8_t* data;
    size_t size;
};

/// Bytes of a PPM or PPT marker segment behind its index.
struct J2kPackedSegment
{
    uint8_t index;
    J2kBytes bytes;
};

/// The packets of one tile-part and its packed packet headers: its share of those of the main header, or its
/// own segments by index.
struct J2kTilePart
{
    uint32_t tile;
    uint32_t part;
    J2kBytes packets;
    J2kBytes packedHeaders;
    std::vector<J2kPackedSegment> packedSegments;
};

struct J2kComment
{
    uint16_t registration;  ///< 0 binary, 1 Latin text
    std::string text;
};

/// Reads the headers of a codestream (T.800 annex A). Refers to the caller's bytes, which must outlive it.
class J2kCodestream
{
  public:
    J2kCodestream(const uint8_t* data, size_t size, size_t maxParameters);

    /// Reads SOC, SIZ and the main header up to the first SOT. kCodecOk, kJ2kNoCodestream, kJ2kNoSize,
    /// kJ2kBadSize, kJ2kBrokenHeader, or kCodecUnsupported for streams of later extensions. Throws
    /// std::bad_alloc.
    int32_t Open();
    /// Walks all tile-parts. Damage behind the first sound tile-part ends the walk without an error, packed
    /// packet headers that are out of place or incomplete do not. kCodecOk or kJ2kBrokenHeader. Throws
    /// std::bad_alloc.
    int32_t ReadTileParts();

    const J2KImage& Image() const { return image_; }
    const J2kParameterStore& Parameters() const { return parameters_; }
    /// Sorted by tile.
    const std::vector<J2kTilePart>& TileParts() const { return parts_; }
    /// True when packet headers are packed into the main header.
    bool HasPackedHeaders() const { return !mainPacked_.empty(); }
    const std::vector<J2kComment>& Comments() const { return comments_; }

  private:
    bool NextMarker(uint16_t* marker);
    bool ReadSegment(uint16_t marker, J2kBytes* payload);
    int32_t ReadImage();
    int32_t ReadMainHeader();
    bool ReadTilePart(bool* last);
    bool ReadTilePartHeader(size_t end, J2kTilePart* part);
    void SortTileParts();
    bool SortPackedSegments();
    /// Hands a segment to the parameter store; false when it is broken or the store is full.
    bool StoreSegment(uint16_t marker, J2kBytes payload, int32_t tile);
    bool StoreSize(J2kBytes payload);
    bool StoreCodingStyle(J2kBytes payload, int32_t tile, bool ofComponent);
    bool StoreQuantization(J2kBytes payload, int32_t tile, bool ofComponent);
    bool StoreRegion(J2kBytes payload, int32_t tile);
    bool StoreProgression(J2kBytes payload, int32_t tile);
    bool StoreRegistration(J2kBytes payload);
    bool KeepPacked(std::vector<J2kPackedSegment>* list, J2kBytes payload);
    void KeepComment(J2kBytes payload);
    bool SplitPackedHeaders();
    size_t ComponentFieldSize() const { return componentCount_ < 257 ? 1 : 2; }

    const uint8_t* data_;
    size_t size_;
    size_t position_ = 0;
    J2kParameterStore parameters_;
    J2KImage image_{};
    uint32_t componentCount_ = 0;
    bool extended_ = false, packedBroken_ = false;
    std::unordered_map<int32_t, uint32_t> progressionValues_;  ///< stored for each tile so far
    std::vector<J2kPackedSegment> mainPacked_;
    std::vector<uint8_t> packedBytes_;
    std::vector<J2kBytes> packedParts_;
    std::vector<J2kComment> comments_;
    std::vector<J2kTilePart> parts_;
};
}  // namespace talv
