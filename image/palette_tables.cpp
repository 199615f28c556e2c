#include "image/palette_tables.h"

#include <algorithm>

namespace talv {
namespace {
constexpr uint32_t kTagDescriptor = 0x00281101;  // red; green and blue follow
constexpr uint32_t kTagTable = 0x00281201;
constexpr uint32_t kTagSegmentedTable = 0x00281221;
constexpr uint32_t kMaxEntries = 65536;

/// Expands a run of segments of one table.
class SegmentExpander
{
  public:
    SegmentExpander(const std::vector<uint16_t>& segments, std::vector<uint16_t>* table)
        : segments_(segments), table_(*table)
    {}

    bool ExpandAll()
    {
        size_t position = 0;
        while (position < segments_.size())
            if (!ExpandSegment(&position, true)) return false;
        return true;
    }

  private:
    enum Opcode : uint16_t
    {
        kDiscrete = 0,
        kLinear = 1,
        kIndirect = 2,
    };

    /// True when the segment at `position` has `words` words.
    bool Has(size_t position, size_t words) const { return words <= segments_.size() - position; }
    bool HasRoom(size_t count) const { return count <= table_.size() - filled_; }

    bool ExpandSegment(size_t* position, bool indirectAllowed)
    {
        if (!Has(*position, 2)) return false;
        const uint16_t* segment = &segments_[*position];
        switch (segment[0]) {
            case kDiscrete:
                return ExpandDiscrete(segment, position);
            case kLinear:
                return ExpandLinear(segment, position);
            case kIndirect:
                return indirectAllowed && ExpandIndirect(segment, position);
            default:
                return false;
        }
    }

    bool ExpandDiscrete(const uint16_t* segment, size_t* position)
    {
        const size_t count = segment[1];
        if (!Has(*position, 2 + count) || !HasRoom(count)) return false;
        std::copy_n(segment + 2, count, table_.begin() + static_cast<ptrdiff_t>(filled_));
        filled_ += count;
        *position += 2 + count;
        return true;
    }

    // Kept: the ramp starts at the last value of the table and stops one step short of the segment's end
    // value. Pinned by PaletteTables.SegmentsExpandAsTheirOpcodesSay.
    bool ExpandLinear(const uint16_t* segment, size_t* position)
    {
        const int32_t count = segment[1];
        if (!Has(*position, 3) || count == 0 || filled_ == 0 || !HasRoom(static_cast<size_t>(count)))
            return false;
        const int32_t start = table_[filled_ - 1];
        const int32_t step = (segment[2] - start) / count;
        for (int32_t k = 0; k < count; ++k) table_[filled_++] = static_cast<uint16_t>(start + k * step);
        *position += 3;
        return true;
    }

    bool ExpandIndirect(const uint16_t* segment, size_t* position)
    {
        if (!Has(*position, 4)) return false;
        size_t replay = segment[2] / 2;  // a byte offset; only its low word counts
        for (uint32_t k = segment[1]; k > 0; --k)
            if (replay >= segments_.size() || !ExpandSegment(&replay, false)) return false;
        *position += 4;
        return true;
    }

    const std::vector<uint16_t>& segments_;
    std::vector<uint16_t>& table_;
    size_t filled_ = 0;
};

/// All words of a value, as far as the stream holds them and no more than `most`.
std::vector<uint16_t> ReadWords(const AttributeReader& reader, const DicomElement* element, uint64_t most)
{
    std::vector<uint16_t> words(static_cast<size_t>(std::min(BytesPresent(element) / 2, most)));
    words.resize(ReadValueWords(reader.dataSet(), element, 0, words.data(), words.size()));
    return words;
}

/// A plain table. Entries that the file does not hold are zero.
void ReadPlainTable(const AttributeReader& reader, const DicomElement* element, ColourTable* colour)
{
    const uint32_t count = colour->entryCount;
    std::vector<uint16_t> words = ReadWords(reader, element, count);
    // 8-bit entries may come packed, two to a word, the first in the low byte.
    const bool packed =
        colour->bitsPerEntry == 8 && element->length >= count && element->length < uint64_t{count} * 2;
    if (packed) {
        colour->entries.assign(count, 0);
        for (size_t i = 0; i < std::min<size_t>(words.size() * 2, count); ++i)
            colour->entries[i] = words[i / 2] >> (i % 2 * 8) & 0xFF;
        return;
    }
    words.resize(count);
    colour->entries = std::move(words);
}

bool ReadDescriptor(const AttributeReader& reader, uint32_t tag, bool isSigned, ColourTable* colour)
{
    int32_t values[3] = {};
    for (uint32_t i = 0; i < 3; ++i)
        if (!reader.Integer(tag, i, &values[i])) return false;
    const uint32_t count = static_cast<uint16_t>(values[0]);
    colour->entryCount = count == 0 ? kMaxEntries : count;
    colour->firstMapped =
        isSigned || values[1] < 0 ? static_cast<int16_t>(values[1]) : static_cast<uint16_t>(values[1]);
    colour->bitsPerEntry = static_cast<uint16_t>(values[2]);
    return true;
}
}  // namespace

DicomStatus ExpandSegmentedTable(const std::vector<uint16_t>& segments, std::vector<uint16_t>* table)
{
    return SegmentExpander(segments, table).ExpandAll() ? kDicomOk : kDicomBadPaletteSegment;
}

void ReadPaletteDescriptors(const AttributeReader& reader, ImageDescription* description)
{
    ColourTable* const colours[3] = {&description->red, &description->green, &description->blue};
    bool any = false;
    for (uint32_t i = 0; i < 3; ++i) {
        if (!ReadDescriptor(reader, kTagDescriptor + i, description->pixelRepresentation == 1, colours[i]))
            continue;
        description->paletteEntries = std::max(description->paletteEntries, colours[i]->entryCount);
        description->paletteFirst =
            any ? std::min(description->paletteFirst, colours[i]->firstMapped) : colours[i]->firstMapped;
        any = true;
    }
}

DicomStatus LoadPaletteTables(const AttributeReader& reader, ImageDescription* description)
{
    ColourTable* const colours[3] = {&description->red, &description->green, &description->blue};
    const bool all16Bits = std::all_of(colours, colours + 3,
                                       [](const ColourTable* colour) { return colour->bitsPerEntry == 16; });
    for (uint32_t i = 0; i < 3; ++i) {
        ColourTable* const colour = colours[i];
        if (colour->entryCount == 0) continue;
        if (const DicomElement* plain = reader.Find(kTagTable + i)) {
            ReadPlainTable(reader, plain, colour);
            continue;
        }
        const DicomElement* segmented = reader.Find(kTagSegmentedTable + i);
        if (segmented == nullptr) continue;
        if (!all16Bits) return kDicomNoGeometry;
        colour->entries.assign(colour->entryCount, 0);
        // A discrete segment of one entry takes three words, so no usable value is longer than three times
        // the table and the replayed part; what lies beyond that is not read.
        const std::vector<uint16_t> segments = ReadWords(reader, segmented, uint64_t{kMaxEntries} * 4);
        if (ExpandSegmentedTable(segments, &colour->entries) != kDicomOk) return kDicomNoGeometry;
    }
    return kDicomOk;
}
}  // namespace talv
