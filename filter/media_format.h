#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talv {
class FrameSource;

inline constexpr uint32_t kVideoInfoSize = 1128;     ///< header of 48, bitmap header of 40, palette and masks
inline constexpr uint32_t kGreyFormatSize = 262288;  ///< header of 48, extended header of 96, 65,536 entries
inline constexpr uint32_t kTgryFourCc = 0x59524754;  ///< "TGRY", little endian

enum class VideoSubtype
{
    none,
    rgb1,
    rgb4,
    rgb8,
    grey,
    rgb24,
    rgb32,
};

/// What the output pin offers for the loaded image.
struct MediaFormat
{
    VideoSubtype subtype = VideoSubtype::none;
    uint32_t sampleSize = 0;     ///< bytes of one frame
    std::vector<uint8_t> block;  ///< format block, little endian, as the framework lays it out
};

/// The one format of `source`'s image: a VIDEOINFO block for RGB subtypes, the grey-scale block for 12 and 16
/// bits. Subtype none for depths that have none (0: no image is loaded). False when memory is short.
bool BuildMediaFormat(const FrameSource& source, MediaFormat* format);

/// A proposed format as far as it is checked.
struct ProposedFormat
{
    bool isVideo = false, fixedSize = false, videoInfo = false, temporalCompression = false;
    VideoSubtype subtype = VideoSubtype::none;
    uint32_t sampleSize = 0;
    uint32_t compression = 0;  ///< of the bitmap header
    uint16_t bitCount = 0;
    int32_t width = 0, height = 0;
};
/// Reads the last four fields from the bitmap header of a format block of `size` bytes; false when it is too
/// short for one (such a format is to be refused).
bool ReadFormatBlock(const uint8_t* block, size_t size, ProposedFormat* proposed);
/// True when the pin accepts `proposed` for the loaded image: a type check looks at size, subtype and header,
/// but takes width and height only together, as the sample size.
bool AcceptsFormat(const FrameSource& source, const ProposedFormat& proposed);
/// The further check before a format is set: width and height are those of the loaded image.
bool MatchesImage(const FrameSource& source, const ProposedFormat& proposed);
}  // namespace talv
