#include <algorithm>

#include "codecs/j2k/j2k_codestream.h"
#include "codecs/j2k/j2k_markers.h"

// The marker segments that are kept as named parameters (T.800 A.5, A.6, A.9). Values go into the store as
// they stand; what they may be is checked where they are used.

namespace talv {
namespace {
/// Reads big-endian fields; past the end it yields zeros and is no longer good.
class FieldReader
{
  public:
    explicit FieldReader(J2kBytes bytes) : next_(bytes.data), left_(bytes.size) {}

    uint32_t Number(size_t bytes)
    {
        if (left_ < bytes) {
            good_ = false;
            left_ = 0;
            return 0;
        }
        uint32_t value = 0;
        for (size_t i = 0; i < bytes; ++i) value = value << 8 | *next_++;
        left_ -= bytes;
        return value;
    }
    size_t Left() const { return left_; }
    bool Good() const { return good_; }

  private:
    const uint8_t* next_;
    size_t left_;
    bool good_ = true;
};
}  // namespace

bool J2kCodestream::StoreSegment(uint16_t marker, J2kBytes payload, int32_t tile)
{
    switch (marker) {
        case kMarkerSiz:
            return StoreSize(payload);
        case kMarkerCod:
        case kMarkerCoc:
            return StoreCodingStyle(payload, tile, marker == kMarkerCoc);
        case kMarkerQcd:
        case kMarkerQcc:
            return StoreQuantization(payload, tile, marker == kMarkerQcc);
        case kMarkerRgn:
            return StoreRegion(payload, tile);
        case kMarkerPoc:
            return StoreProgression(payload, tile);
        case kMarkerCrg:
            return StoreRegistration(payload);
        default:
            return true;  // lengths of packets and tile-parts, and what later versions define
    }
}

bool J2kCodestream::StoreSize(J2kBytes payload)
{
    FieldReader fields(payload);
    const auto set = [this](J2kName name, int32_t component, uint32_t index, int64_t value) {
        return parameters_.Set(name, -1, component, index, value);
    };
    const auto setPair = [&](J2kName name) {
        for (uint32_t i = 0; i < 2; ++i) {
            const uint32_t value = fields.Number(4);
            if (fields.Good()) set(name, -1, i, value);
        }
    };
    const uint32_t profile = fields.Number(2);
    if (!fields.Good()) return true;  // an incomplete segment leaves its parameters unset
    set(J2kName::Rsiz, -1, 0, profile);
    for (J2kName name : {J2kName::XYsiz, J2kName::XYOsiz, J2kName::XYTsiz, J2kName::XYTOsiz}) setPair(name);
    componentCount_ = fields.Number(2);
    if (!fields.Good()) {
        componentCount_ = 0;
        return true;
    }
    set(J2kName::Csiz, -1, 0, componentCount_);
    if (fields.Left() != size_t{3} * componentCount_) {
        componentCount_ = 0;  // the length lies: no component counts
        return true;
    }
    for (uint32_t c = 0; c < std::min(componentCount_, kMaxJ2kComponents); ++c) {
        const auto component = static_cast<int32_t>(c);
        const uint32_t depth = fields.Number(1);
        const bool stored = set(J2kName::Ssiz_value, component, 0, (depth & 0x7F) + 1) &&
                            set(J2kName::Ssiz_signe, component, 0, depth >> 7) &&
                            set(J2kName::XYRsiz, component, 0, fields.Number(1)) &&
                            set(J2kName::XYRsiz, component, 1, fields.Number(1));
        if (!stored) return false;
    }
    return true;
}

bool J2kCodestream::StoreCodingStyle(J2kBytes payload, int32_t tile, bool ofComponent)
{
    FieldReader fields(payload);
    const uint32_t component = ofComponent ? fields.Number(ComponentFieldSize()) : 0;
    if (ofComponent && component >= componentCount_) return false;
    const int32_t c = ofComponent ? static_cast<int32_t>(component) : -1;
    bool stored = true;
    const auto set = [&](J2kName name, uint32_t index, int64_t value) {
        stored = parameters_.Set(name, tile, c, index, value) && stored;
    };
    const uint32_t style = fields.Number(1);
    if (style > 7) return false;  // reserved bits
    set(J2kName::Scod_Precincts, 0, style & 1);
    if (!ofComponent) {
        set(J2kName::Scod_SOP, 0, style >> 1 & 1);
        set(J2kName::Scod_EPH, 0, style >> 2 & 1);
        set(J2kName::Scod_ALB, 0, style >> 3);
        set(J2kName::SGcod_Porder, 0, fields.Number(1));
        set(J2kName::SGcod_Layers, 0, fields.Number(2));
        set(J2kName::SGcod_ColorTrans, 0, fields.Number(1));
    }
    const uint32_t levels = fields.Number(1);
    set(J2kName::SPcod_DecompLevels, 0, levels);
    set(J2kName::SPcod_XYBlock, 0, fields.Number(1));
    set(J2kName::SPcod_XYBlock, 1, fields.Number(1));
    set(J2kName::SPcod_ACModes, 0, fields.Number(1));
    const uint32_t wavelet = fields.Number(1);
    set(J2kName::SPcod_Wavelet, 0, wavelet);
    set(J2kName::Srev, 0, wavelet == 1);
    if ((style & 1) != 0) {
        for (uint32_t r = 0; r <= std::min(levels, 32u); ++r)
            set(J2kName::SPcod_Precincts, r, fields.Number(1));
    }
    return fields.Good() && stored;
}

bool J2kCodestream::StoreQuantization(J2kBytes payload, int32_t tile, bool ofComponent)
{
    FieldReader fields(payload);
    const uint32_t component = ofComponent ? fields.Number(ComponentFieldSize()) : 0;
    if (ofComponent && component >= componentCount_) return false;
    const int32_t c = ofComponent ? static_cast<int32_t>(component) : -1;
    bool stored = true;
    const auto set = [&](J2kName name, uint32_t index, int64_t value) {
        stored = parameters_.Set(name, tile, c, index, value) && stored;
    };
    const uint32_t style = fields.Number(1);
    set(J2kName::Sqcd_S, 0, style & 0x1F);
    set(J2kName::Sqcd_G, 0, style >> 5);
    set(J2kName::Sqcd_D, 0, (style & 0x1F) == 1);
    const size_t width = (style & 0x1F) == 0 ? 1 : 2;
    const J2kName name = width == 1 ? J2kName::Sqcd_R : J2kName::Sqcd_SS;
    // 3 * 32 + 1 bands at most; more is padding. Sqcd_D counts the steps after its flag.
    uint32_t band = 0;
    for (; band < 97 && fields.Left() >= width; ++band) set(name, band, fields.Number(width));
    set(J2kName::Sqcd_D, 1, band);
    return fields.Good() && band > 0 && stored;
}

bool J2kCodestream::StoreRegion(J2kBytes payload, int32_t tile)
{
    FieldReader fields(payload);
    const uint32_t component = fields.Number(ComponentFieldSize());
    const uint32_t style = fields.Number(1);
    const uint32_t shift = fields.Number(1);
    if (!fields.Good() || style != 0 || component >= componentCount_) return false;
    return parameters_.Set(J2kName::Srgn_Shift, tile, static_cast<int32_t>(component), 0, shift);
}

// An entry is six values: first resolution, first component, layer end, resolution end, component end, order.
bool J2kCodestream::StoreProgression(J2kBytes payload, int32_t tile)
{
    FieldReader fields(payload);
    const size_t width = ComponentFieldSize();
    uint32_t& index = progressionValues_[tile];  // a further segment goes on behind the one before
    while (fields.Left() >= 5 + 2 * width) {
        const size_t widths[6] = {1, width, 2, 1, width, 1};
        for (int i = 0; i < 6; ++i) {
            uint32_t value = fields.Number(widths[i]);
            if (i == 4 && value == 0) value = width == 1 ? 256 : 16384;  // T.800 table A.32
            if (!parameters_.Set(J2kName::LPOC_O, tile, -1, index++, value)) return false;
        }
    }
    return fields.Left() == 0;
}

bool J2kCodestream::StoreRegistration(J2kBytes payload)
{
    FieldReader fields(payload);
    for (uint32_t i = 0; fields.Left() >= 2 && i < 2 * componentCount_; ++i) {
        if (!parameters_.Set(J2kName::SRG_O, -1, -1, i, fields.Number(2))) return false;
    }
    return true;
}
}  // namespace talv
