#include "image/palette_mapping.h"

#include <algorithm>

namespace talv {
namespace {
/// The 8-bit level of an entry when the palette goes into the bitmap as it is.
uint8_t ShortenEntry(uint16_t entry, uint32_t bitsPerEntry)
{
    return static_cast<uint8_t>(bitsPerEntry == 8 ? entry & 0xFF : entry >> 8);
}
}  // namespace

DicomStatus PaletteMapping::Build(const ImageDescription& description)
{
    const ColourTable* const tables[3] = {&description.red, &description.green, &description.blue};
    Channel* const channels[3] = {&red_, &green_, &blue_};
    first_ = description.paletteFirst;
    count_ = description.paletteEntries;

    uint16_t smallest = UINT16_MAX, largest = 0;
    bool any = false;
    for (const ColourTable* table : tables)
        for (uint16_t entry : table->entries) {
            smallest = std::min(smallest, entry);
            largest = std::max(largest, entry);
            any = true;
        }
    if (!any || count_ == 0) return kDicomNoGeometry;

    const bool indexed = count_ <= 256;
    for (int i = 0; i < 3; ++i) {
        channels[i]->levels.clear();  // an attempt before may have lacked memory
        channels[i]->first = tables[i]->firstMapped;
        channels[i]->count = static_cast<uint32_t>(tables[i]->entries.size());
        for (uint16_t entry : tables[i]->entries) {
            const uint32_t spread = largest == smallest ? 0
                                                        : uint32_t{entry - uint32_t{smallest}} * 255 /
                                                              (largest - uint32_t{smallest});
            channels[i]->levels.push_back(indexed ? ShortenEntry(entry, tables[i]->bitsPerEntry)
                                                  : static_cast<uint8_t>(spread));
        }
    }
    if (!indexed) return kDicomOk;
    entries_.assign(256, PaletteEntry{});
    for (uint32_t i = 0; i < count_; ++i) {
        // The index counts from the smallest first value of the three; each colour counts from its own.
        const auto level = [&](const Channel& channel) {
            if (channel.levels.empty()) return uint8_t{0};
            const int64_t place = int64_t{i} + first_ - channel.first;
            return channel
                .levels[static_cast<size_t>(std::clamp<int64_t>(place, 0, int64_t{channel.count} - 1))];
        };
        entries_[i] = {level(blue_), level(green_), level(red_), 0};
    }
    return kDicomOk;
}

PaletteEntry PaletteMapping::ColorOf(uint32_t value, uint32_t zero) const
{
    return {LevelOf(blue_, value, zero), LevelOf(green_, value, zero), LevelOf(red_, value, zero), 0};
}

void PaletteMapping::MakeIndexTable(const PixelLayout& layout, std::vector<uint8_t>* indices) const
{
    indices->resize(layout.bytesPerSample == 1 ? 256 : 65536);
    for (uint32_t raw = 0; raw < indices->size(); ++raw)
        (*indices)[raw] = IndexOf(layout.ValueOf(raw), ZeroValue(layout));
}

void PaletteMapping::MakeColorTable(const PixelLayout& layout, std::vector<PaletteEntry>* colors) const
{
    colors->resize(layout.bytesPerSample == 1 ? 256 : 65536);
    for (uint32_t raw = 0; raw < colors->size(); ++raw)
        (*colors)[raw] = ColorOf(layout.ValueOf(raw), ZeroValue(layout));
}
}  // namespace talv
