#include <algorithm>
#include <new>
#include <tuple>

#include "codecs/j2k/j2k_packets.h"

// Packet orders (T.800 B.12.1). The position orders are sorted lists of precincts, each with the reference
// grid position at which the loops over all positions would meet it: the work follows the number of
// precincts, not of positions.

namespace talv {
namespace {
// What sorting one place costs, in units of the budget.
constexpr uint64_t kSortWork = 8;

/// Where the loops over y (or x) meet precinct `number` of a resolution: its own start on the reference grid,
/// except that the first one may begin before the tile.
uint32_t MeetingPoint(int64_t resolutionStart, int64_t tileStart, uint32_t number, int log2Precinct,
                      int shift, int64_t step)
{
    const int64_t first = resolutionStart >> log2Precinct;
    if (number == 0 && (first << log2Precinct) != resolutionStart) return static_cast<uint32_t>(tileStart);
    return static_cast<uint32_t>((((first + number) << log2Precinct) << shift) * step);
}

/// Calls visit(component, resolution) for all of a progression, lowest resolution first.
template <class Visit>
void VisitResolutions(const J2kTile& tile, const J2kProgression& progression, Visit visit)
{
    for (uint32_t r = progression.firstResolution; r < progression.endResolution; ++r) {
        for (uint32_t c = progression.firstComponent; c < progression.endComponent; ++c) {
            if (r < tile.components[c].resolutions.size()) visit(c, r);
        }
    }
}

void SortByPosition(uint32_t order, std::vector<J2kPacketPlace>* places)
{
    using Place = J2kPacketPlace;
    const auto sort = [places](auto key) {
        std::sort(places->begin(), places->end(),
                  [key](const Place& a, const Place& b) { return key(a) < key(b); });
    };
    if (order == 2)
        sort([](const Place& p) { return std::tuple(p.resolution, p.position, p.component, p.precinct); });
    else if (order == 3)
        sort([](const Place& p) { return std::tuple(p.position, p.component, p.resolution, p.precinct); });
    else
        sort([](const Place& p) { return std::tuple(p.component, p.position, p.resolution, p.precinct); });
}
}  // namespace

std::vector<J2kPacketPlace> OrderJ2kPackets(const J2kTile& tile, const J2KImage& image,
                                            const J2kProgression& progression)
{
    uint64_t count = 0;
    VisitResolutions(tile, progression, [&](uint32_t c, uint32_t r) {
        const J2kResolution& resolution = tile.components[c].resolutions[r];
        count += uint64_t{resolution.precinctsAcross} * resolution.precinctsDown;
    });
    const bool byPosition = progression.order >= 2;
    if (!tile.budget->TakeWork(byPosition ? kSortWork * count : count)) throw std::bad_alloc();
    std::vector<J2kPacketPlace> places;
    places.reserve(static_cast<size_t>(count));
    VisitResolutions(tile, progression, [&](uint32_t c, uint32_t r) {
        const J2kTileComponent& component = tile.components[c];
        const J2kResolution& resolution = component.resolutions[r];
        const int shift = component.style.levels - static_cast<int>(r);
        uint32_t precinct = resolution.firstPrecinct;
        for (uint32_t down = 0; down < resolution.precinctsDown; ++down) {
            const uint64_t y = MeetingPoint(resolution.rect.y0, tile.rect.y0, down,
                                            resolution.log2PrecinctHeight, shift, image.components[c].stepY);
            for (uint32_t across = 0; across < resolution.precinctsAcross; ++across, ++precinct) {
                const uint32_t x =
                    MeetingPoint(resolution.rect.x0, tile.rect.x0, across, resolution.log2PrecinctWidth,
                                 shift, image.components[c].stepX);
                places.push_back({y << 32 | x, precinct, static_cast<uint16_t>(c), static_cast<uint16_t>(r)});
            }
        }
    });
    if (byPosition) SortByPosition(progression.order, &places);
    return places;
}
}  // namespace talv
