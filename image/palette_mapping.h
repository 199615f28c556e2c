#pragma once

#include <cstdint>
#include <vector>

#include "image/image_description.h"
#include "image/pixel_layout.h"
#include "raster/bitmap.h"

namespace talv {
/// What the palette of a "PALETTE COLOR" image makes of its samples. Belongs to the file: made once.
class PaletteMapping
{
  public:
    /// The description's tables must be loaded. kDicomNoGeometry when there is no table at all.
    DicomStatus Build(const ImageDescription& description);

    /// Palette of the 8-bit bitmap: 256 entries.
    const std::vector<PaletteEntry>& entries() const { return entries_; }

    /// Up to 256 entries: the index that stands for a sample value.
    uint8_t IndexOf(uint32_t value, uint32_t zero) const
    {
        return static_cast<uint8_t>(PlaceOf(value, zero, first_, count_));
    }
    /// More: the colour of a sample value.
    PaletteEntry ColorOf(uint32_t value, uint32_t zero) const;

    /// Fills `indices` for every stored sample of 1 or 2 bytes.
    void MakeIndexTable(const PixelLayout& layout, std::vector<uint8_t>* indices) const;
    void MakeColorTable(const PixelLayout& layout, std::vector<PaletteEntry>* colors) const;

  private:
    struct Channel
    {
        std::vector<uint8_t> levels;  // of each entry
        int32_t first = 0;
        uint32_t count = 0;
    };

    /// Place of `value`, `zero` of which stands for the true value 0, in a table, clamped to its ends.
    static uint32_t PlaceOf(uint32_t value, uint32_t zero, int32_t first, uint32_t count)
    {
        const int64_t place = int64_t{value} - zero - first;
        return static_cast<uint32_t>(place < 0 ? 0 : place >= count ? int64_t{count} - 1 : place);
    }
    static uint8_t LevelOf(const Channel& channel, uint32_t value, uint32_t zero)
    {
        return channel.levels.empty() ? 0
                                      : channel.levels[PlaceOf(value, zero, channel.first, channel.count)];
    }

    Channel red_, green_, blue_;
    std::vector<PaletteEntry> entries_;
    int32_t first_ = 0;
    uint32_t count_ = 0;
};

/// The value that stands for the true value 0 of signed data; 0 for unsigned data.
inline uint32_t ZeroValue(const PixelLayout& layout)
{
    return layout.signOffset >> layout.sampleShift;
}
}  // namespace talv
