#include <algorithm>
#include <array>

#include "codecs/j2k/j2k_packets.h"

// Packet orders (T.800 B.12.1). The position orders are sorted lists of precincts, each with the reference
// grid position at which the loops over all positions would meet it: the work follows the number of
// precincts, not of positions.

namespace talv {
namespace {
struct SortedPlace
{
    std::array<int64_t, 4> key;
    J2kPacketPlace place;
};

/// Where the loops over y (or x) meet precinct `number` of a resolution: its own start on the reference grid,
/// except that the first one may begin before the tile.
int64_t MeetingPoint(int64_t resolutionStart, int64_t tileStart, uint32_t number, int log2Precinct, int shift,
                     int64_t step)
{
    const int64_t first = resolutionStart >> log2Precinct;
    if (number == 0 && (first << log2Precinct) != resolutionStart) return tileStart;
    return (((first + number) << log2Precinct) << shift) * step;
}
}  // namespace

J2kPacketOrder OrderJ2kPackets(const J2kTile& tile, const J2KImage& image, const J2kProgression& progression)
{
    std::vector<SortedPlace> list;
    for (uint32_t c = progression.firstComponent; c < progression.endComponent; ++c) {
        const J2kTileComponent& component = tile.components[c];
        const auto resolutions = static_cast<uint32_t>(component.resolutions.size());
        for (uint32_t r = progression.firstResolution; r < std::min(progression.endResolution, resolutions);
             ++r) {
            const J2kResolution& resolution = component.resolutions[r];
            const int shift = component.style.levels - static_cast<int>(r);
            for (uint32_t p = 0; p < resolution.precinctsAcross * resolution.precinctsDown; ++p) {
                const int64_t x =
                    MeetingPoint(resolution.rect.x0, tile.rect.x0, p % resolution.precinctsAcross,
                                 resolution.log2PrecinctWidth, shift, image.components[c].stepX);
                const int64_t y =
                    MeetingPoint(resolution.rect.y0, tile.rect.y0, p / resolution.precinctsAcross,
                                 resolution.log2PrecinctHeight, shift, image.components[c].stepY);
                SortedPlace place{{}, {c, resolution.firstPrecinct + p, r}};
                switch (progression.order) {
                    case 0:
                    case 1:
                        place.key = {r, c, p, 0};
                        break;
                    case 2:
                        place.key = {r, y, x, c};
                        break;
                    case 3:
                        place.key = {y, x, c, r};
                        break;
                    default:
                        place.key = {c, y, x, r};
                        break;
                }
                list.push_back(place);
            }
        }
    }
    // Equal keys keep the order of their numbers.
    std::stable_sort(list.begin(), list.end(),
                     [](const SortedPlace& a, const SortedPlace& b) { return a.key < b.key; });
    J2kPacketOrder order;
    order.places.reserve(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        order.places.push_back(list[i].place);
        const bool last = i + 1 == list.size();
        const bool groupEnds = progression.order == 0   ? last
                               : progression.order == 1 ? last || list[i + 1].key[0] != list[i].key[0]
                                                        : true;
        if (groupEnds) order.ends.push_back(i + 1);
    }
    return order;
}
}  // namespace talv
