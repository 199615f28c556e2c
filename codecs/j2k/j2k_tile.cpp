#include "codecs/j2k/j2k_tile.h"

#include <algorithm>
#include <cmath>

#include "codecs/j2k/j2k_blocks.h"
#include "codecs/j2k/j2k_packets.h"
#include "codecs/j2k/j2k_status.h"

namespace talv {
namespace {
// Scaling step of the 9/7 reconstruction (T.800 F.3.8.2), folded into the quantisation steps.
constexpr double kScaleK = 1.230174104914001;

/// Reads the parameters that hold for one tile-component. The fields of a marker segment belong together, so
/// the segment that holds is looked for once: the one of coding style and the one of quantisation.
class StyleReader
{
  public:
    StyleReader(const J2kParameterStore& store, uint32_t tile, uint32_t component)
        : store_(store), tile_(static_cast<int32_t>(tile)), component_(static_cast<int32_t>(component))
    {
        coding_ = FindOwner(J2kName::SPcod_DecompLevels);
        quantization_ = FindOwner(J2kName::Sqcd_S);
    }

    bool Read(J2kCodingStyle* style) const
    {
        const int64_t levels = Coding(J2kName::SPcod_DecompLevels, 0);
        const int64_t blockX = Coding(J2kName::SPcod_XYBlock, 0) + 2;
        const int64_t blockY = Coding(J2kName::SPcod_XYBlock, 1) + 2;
        const int64_t modes = Coding(J2kName::SPcod_ACModes, 0);
        const int64_t wavelet = Coding(J2kName::SPcod_Wavelet, 0);
        const int64_t shift = store_.Get(J2kName::Srgn_Shift, tile_, component_, 0, 0);
        if (levels < 0 || levels > 32 || blockX < 2 || blockX > 10 || blockY < 2 || blockY > 10) return false;
        if (blockX + blockY > 12 || modes < 0 || modes > 0x3F || wavelet < 0 || wavelet > 1) return false;
        if (shift > kMaxBlockPlanes - 1) return false;
        style->levels = static_cast<int>(levels);
        style->log2BlockWidth = static_cast<int>(blockX);
        style->log2BlockHeight = static_cast<int>(blockY);
        style->blockStyle = static_cast<uint8_t>(modes);
        style->reversible = wavelet == 1;
        style->guardBits = static_cast<int>(Quantization(J2kName::Sqcd_G, 0));
        style->regionShift = static_cast<int>(shift);
        return true;
    }

    /// Log2 of a precinct's width in the low half byte, of its height in the high one; -1 when it is missing.
    int64_t Precinct(int resolution) const
    {
        if (Coding(J2kName::Scod_Precincts, 0) == 0) return 0xFF;
        return Coding(J2kName::SPcod_Precincts, static_cast<uint32_t>(resolution));
    }

    /// Exponent and mantissa of a band's step (T.800 E.1.1); false when the segment names none.
    bool ReadStep(uint32_t bandIndex, int resolution, int* exponent, int* mantissa) const
    {
        const int64_t kind = Quantization(J2kName::Sqcd_S, 0);
        const uint32_t index = kind == 1 ? 0 : bandIndex;
        if (kind < 0 || kind > 2 || index >= Quantization(J2kName::Sqcd_D, 1)) return false;
        if (kind == 0) {
            *exponent = static_cast<int>(Quantization(J2kName::Sqcd_R, index) >> 3);
            *mantissa = 0;
            return true;
        }
        const int64_t value = Quantization(J2kName::Sqcd_SS, index);
        *exponent = static_cast<int>(value >> 11);
        // One derived step serves all bands: each level up takes one from the exponent (equation E-5).
        if (kind == 1) *exponent -= std::max(0, resolution - 1);
        *mantissa = static_cast<int>(value & 0x7FF);
        return *exponent >= 0;
    }

  private:
    struct Owner
    {
        int32_t tile, component;
    };

    Owner FindOwner(J2kName name) const
    {
        for (int32_t tile : {tile_, -1}) {
            if (store_.FindExact(name, tile, component_, 0) != nullptr) return {tile, component_};
            if (store_.FindExact(name, tile, -1, 0) != nullptr) return {tile, -1};
        }
        return {-1, -1};
    }

    int64_t Coding(J2kName name, uint32_t index) const { return Exact(coding_, name, index); }
    int64_t Quantization(J2kName name, uint32_t index) const { return Exact(quantization_, name, index); }
    int64_t Exact(Owner owner, J2kName name, uint32_t index) const
    {
        const int64_t* value = store_.FindExact(name, owner.tile, owner.component, index);
        return value != nullptr ? *value : -1;
    }

    const J2kParameterStore& store_;
    int32_t tile_, component_;
    Owner coding_, quantization_;
};

J2kRect BandRect(const J2kRect& component, int level, int orientation)
{
    if (level == 0) return component;
    const int64_t half = int64_t{1} << (level - 1);
    const int64_t dx = (orientation & 1) != 0 ? half : 0, dy = (orientation & 2) != 0 ? half : 0;
    return {CeilShift(component.x0 - dx, level), CeilShift(component.y0 - dy, level),
            CeilShift(component.x1 - dx, level), CeilShift(component.y1 - dy, level)};
}

/// The factor the 9/7 reconstruction applies to a band: K per low-pass and 1/K per high-pass step, in each
/// direction; a signal of one sample is passed on or halved instead (T.800 F.3.6).
double WaveletScale(const J2kTileComponent& component, int resolution, int orientation)
{
    double scale = 1;
    for (int r = std::max(resolution, 1); r <= component.style.levels; ++r) {
        const J2kRect& rect = component.resolutions[static_cast<size_t>(r)].rect;
        const bool highX = r == resolution && (orientation & 1) != 0;
        const bool highY = r == resolution && (orientation & 2) != 0;
        scale *= rect.Width() <= 1 ? (highX ? 0.5 : 1) : (highX ? 1 / kScaleK : kScaleK);
        scale *= rect.Height() <= 1 ? (highY ? 0.5 : 1) : (highY ? 1 / kScaleK : kScaleK);
    }
    return scale;
}

bool SetUpResolution(const StyleReader& reader, int r, J2kTileComponent* component)
{
    J2kResolution& resolution = component->resolutions[static_cast<size_t>(r)];
    const int levels = component->style.levels;
    resolution.rect = BandRect(component->rect, levels - r, 0);
    const int64_t precinct = reader.Precinct(r);
    if (precinct < 0) return false;
    resolution.log2PrecinctWidth = static_cast<int>(precinct & 15);
    resolution.log2PrecinctHeight = static_cast<int>(precinct >> 4);
    if (r > 0 && (resolution.log2PrecinctWidth == 0 || resolution.log2PrecinctHeight == 0)) return false;
    const J2kRect& rect = resolution.rect;
    const auto count = [](int64_t from, int64_t to, int shift) {
        return static_cast<uint32_t>(to > from ? CeilShift(to, shift) - (from >> shift) : 0);
    };
    resolution.precinctsAcross = count(rect.x0, rect.x1, resolution.log2PrecinctWidth);
    resolution.precinctsDown = count(rect.y0, rect.y1, resolution.log2PrecinctHeight);
    return true;
}

bool SetUpBands(const StyleReader& reader, int r, int precision, J2kTileComponent* component)
{
    J2kResolution& resolution = component->resolutions[static_cast<size_t>(r)];
    const int levels = component->style.levels;
    const int above = levels - r;  // rows of this resolution are 1 << above apart
    resolution.bandCount = r == 0 ? 1 : 3;
    const int64_t oddY = resolution.rect.y0 & 1;
    const int64_t lowWidth = r == 0 ? 0 : component->resolutions[static_cast<size_t>(r) - 1].rect.Width();
    for (int b = 0; b < resolution.bandCount; ++b) {
        J2kBand& band = resolution.bands[b];
        band.orientation = r == 0 ? 0 : b + 1;
        band.rect = BandRect(component->rect, r == 0 ? levels : above + 1, band.orientation);
        int exponent = 0, mantissa = 0;
        const auto index = static_cast<uint32_t>(r == 0 ? 0 : 3 * (r - 1) + b + 1);
        if (!reader.ReadStep(index, r, &exponent, &mantissa)) return false;
        band.planes = component->style.guardBits + exponent - 1;
        if (band.planes < 0) return false;
        band.step = 1;
        if (!component->style.reversible) {
            const int gain = (band.orientation & 1) + (band.orientation >> 1);  // log2, T.800 table E.1
            band.step = static_cast<float>(std::ldexp(1 + mantissa / 2048.0, precision + gain - exponent) *
                                           WaveletScale(*component, r, band.orientation));
        }
        if (r == 0) {
            band.firstColumn = 0;
            band.firstRow = resolution.firstRow;
            band.rowStep = int64_t{1} << above;
        } else {
            const bool highX = (band.orientation & 1) != 0, highY = (band.orientation & 2) != 0;
            band.firstColumn = highX ? lowWidth : 0;
            band.firstRow = resolution.firstRow + ((highY ? 1 - oddY : oddY) << above);
            band.rowStep = int64_t{2} << above;
        }
    }
    return true;
}

int32_t SetUpComponent(const J2kCodestream& stream, uint32_t index, uint32_t c, J2kTile* tile)
{
    const J2KComponent& info = stream.Image().components[c];
    J2kTileComponent& component = tile->components[c];
    const StyleReader reader(stream.Parameters(), index, c);
    if (!reader.Read(&component.style)) return kJ2kBrokenHeader;
    component.rect = {CeilDivide(tile->rect.x0, info.stepX), CeilDivide(tile->rect.y0, info.stepY),
                      CeilDivide(tile->rect.x1, info.stepX), CeilDivide(tile->rect.y1, info.stepY)};
    const int levels = component.style.levels;
    component.resolutions.resize(static_cast<size_t>(levels) + 1);
    uint64_t precincts = 0;
    for (int r = 0; r <= levels; ++r) {
        if (!SetUpResolution(reader, r, &component)) return kJ2kBrokenHeader;
        J2kResolution& resolution = component.resolutions[static_cast<size_t>(r)];
        resolution.firstPrecinct = static_cast<uint32_t>(precincts);
        precincts += uint64_t{resolution.precinctsAcross} * resolution.precinctsDown;
        if (precincts > 0xFFFFFFFFu) return kCodecNoMemory;
    }
    // Rows of a lower resolution are the even rows (in absolute count) of the next higher one.
    component.resolutions[static_cast<size_t>(levels)].firstRow = 0;
    for (int r = levels; r > 0; --r) {
        const J2kResolution& higher = component.resolutions[static_cast<size_t>(r)];
        component.resolutions[static_cast<size_t>(r) - 1].firstRow =
            higher.firstRow + ((higher.rect.y0 & 1) << (levels - r));
    }
    for (int r = 0; r <= levels; ++r) {
        if (!SetUpBands(reader, r, info.precision, &component)) return kJ2kBrokenHeader;
    }
    // The room beside a precinct is for its place in a progression.
    if (!tile->TakeMemory(precincts * (sizeof(J2kPrecinct) + sizeof(J2kPacketPlace))) ||
        !tile->budget->TakeWork(precincts / 4))
        return kCodecNoMemory;
    component.precincts.resize(static_cast<size_t>(precincts));
    for (int r = 0; r <= levels; ++r) {
        const J2kResolution& resolution = component.resolutions[static_cast<size_t>(r)];
        const size_t count = size_t{resolution.precinctsAcross} * resolution.precinctsDown;
        for (size_t p = 0; p < count; ++p)
            component.precincts[resolution.firstPrecinct + p].resolution = static_cast<uint16_t>(r);
    }
    return kCodecOk;
}

void ReadProgressions(const J2kParameterStore& store, uint32_t index, uint32_t components, uint32_t order,
                      J2kTile* tile)
{
    const auto number = static_cast<int32_t>(index);
    const int32_t owner = store.FindExact(J2kName::LPOC_O, number, -1, 0) != nullptr ? number : -1;
    for (uint32_t i = 0; store.FindExact(J2kName::LPOC_O, owner, -1, i + 5) != nullptr; i += 6) {
        const auto field = [&](uint32_t k) {
            return static_cast<uint32_t>(*store.FindExact(J2kName::LPOC_O, owner, -1, i + k));
        };
        tile->progressions.push_back({field(0), std::min<uint32_t>(field(3), kMaxJ2kResolutions), field(1),
                                      std::min(field(4), components), std::min(field(2), tile->layers),
                                      field(5)});
    }
    if (tile->progressions.empty())
        tile->progressions.push_back({0, kMaxJ2kResolutions, 0, components, tile->layers, order});
}
}  // namespace

J2kRect J2kTileRect(const J2KImage& image, uint32_t index)
{
    const int64_t p = index % image.tilesAcross, q = index / image.tilesAcross;
    const int64_t x = image.tileOffsetX + p * image.tileWidth, y = image.tileOffsetY + q * image.tileHeight;
    return {std::max<int64_t>(x, image.offsetX), std::max<int64_t>(y, image.offsetY),
            std::min<int64_t>(x + image.tileWidth, image.endX),
            std::min<int64_t>(y + image.tileHeight, image.endY)};
}

int32_t SetUpJ2kTile(const J2kCodestream& stream, uint32_t index, J2kTile* tile)
{
    const J2kParameterStore& store = stream.Parameters();
    const auto number = static_cast<int32_t>(index);
    const auto components = static_cast<uint32_t>(stream.Image().components.size());
    const auto value = [&](J2kName name) { return store.Get(name, number, -1, 0, -1); };
    tile->rect = J2kTileRect(stream.Image(), index);
    const int64_t order = value(J2kName::SGcod_Porder), layers = value(J2kName::SGcod_Layers);
    const int64_t transform = value(J2kName::SGcod_ColorTrans);
    if (order < 0 || order > 4 || layers < 1 || transform < 0 || transform > 1) return kJ2kBrokenHeader;
    tile->layers = static_cast<uint32_t>(layers);
    tile->startMarkers = value(J2kName::Scod_SOP) == 1;
    tile->endMarkers = value(J2kName::Scod_EPH) == 1;
    tile->componentTransform = transform == 1;
    tile->components.resize(components);
    for (uint32_t c = 0; c < components; ++c) {
        if (int32_t status = SetUpComponent(stream, index, c, tile); status < 0) return status;
    }
    ReadProgressions(store, index, components, static_cast<uint32_t>(order), tile);
    return kCodecOk;
}

void FillJ2kPrecinct(J2kTile* tile, const J2kTileComponent& component, const J2kResolution& resolution,
                     uint32_t index, J2kPrecinct* precinct)
{
    const bool lowest = resolution.bandCount == 1;
    const int shiftX = resolution.log2PrecinctWidth - (lowest ? 0 : 1);
    const int shiftY = resolution.log2PrecinctHeight - (lowest ? 0 : 1);
    const int blockX = std::min(component.style.log2BlockWidth, shiftX);
    const int blockY = std::min(component.style.log2BlockHeight, shiftY);
    const int64_t px =
        (resolution.rect.x0 >> resolution.log2PrecinctWidth) + index % resolution.precinctsAcross;
    const int64_t py =
        (resolution.rect.y0 >> resolution.log2PrecinctHeight) + index / resolution.precinctsAcross;
    precinct->bands = tile->arena.Make<J2kPrecinctBand>(static_cast<size_t>(resolution.bandCount));
    for (int b = 0; b < resolution.bandCount; ++b) {
        const J2kRect& band = resolution.bands[b].rect;
        J2kPrecinctBand& part = precinct->bands[b];
        const J2kRect area = {std::max(band.x0, px << shiftX), std::max(band.y0, py << shiftY),
                              std::min(band.x1, (px + 1) << shiftX), std::min(band.y1, (py + 1) << shiftY)};
        if (area.Empty()) continue;
        const int64_t firstX = area.x0 >> blockX, firstY = area.y0 >> blockY;
        part.across = static_cast<uint32_t>(CeilShift(area.x1, blockX) - firstX);
        part.down = static_cast<uint32_t>(CeilShift(area.y1, blockY) - firstY);
        part.blocks = tile->arena.Make<J2kCodeBlock>(size_t{part.across} * part.down);
        part.inclusion.Create(&tile->arena, part.across, part.down);
        part.zeroPlanes.Create(&tile->arena, part.across, part.down);
        J2kCodeBlock* block = part.blocks;
        for (int64_t y = firstY; y < firstY + part.down; ++y) {
            for (int64_t x = firstX; x < firstX + part.across; ++x, ++block) {
                const int64_t x0 = std::max(area.x0, x << blockX), y0 = std::max(area.y0, y << blockY);
                block->x = static_cast<uint32_t>(x0 - band.x0);
                block->y = static_cast<uint32_t>(y0 - band.y0);
                block->width = static_cast<uint16_t>(std::min(area.x1, (x + 1) << blockX) - x0);
                block->height = static_cast<uint16_t>(std::min(area.y1, (y + 1) << blockY) - y0);
            }
        }
    }
}
}  // namespace talv
