#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace talv {
/// Marker fields of a codestream, in the order of their marker segments (T.800 A.5 to A.9).
enum class J2kName : uint8_t
{
    Rsiz,
    Csiz,
    XYsiz,
    XYOsiz,
    XYTsiz,
    XYTOsiz,
    Ssiz_value,
    Ssiz_signe,
    XYRsiz,
    Scod_Precincts,
    Scod_SOP,
    Scod_EPH,
    Scod_ALB,
    SGcod_Porder,
    SGcod_Layers,
    SGcod_ColorTrans,
    SPcod_DecompLevels,
    SPcod_XYBlock,
    SPcod_ACModes,
    SPcod_Wavelet,
    SPcod_Precincts,
    Srev,
    Sqcd_S,
    Sqcd_G,
    Sqcd_R,
    Sqcd_D,
    Sqcd_SS,
    Srgn_V,
    Srgn_H,
    Srgn_Shift,
    LPOC_O,
    SRG_O,
    TLM_Index,
    TLM_NumOfTileParts,
    TLM_ST_Size,
    TLM_SP_Size,
    TLM_TileIndex,
    TLM_TilePartSize,
    TLM_FilePosition,
    Ltwx,
    Lzwlt,
    count,
};

/// The field's text name, e.g. "SPcod_DecompLevels".
std::string_view J2kNameText(J2kName name);
/// The field of that text name; J2kName::count when there is none.
J2kName FindJ2kName(std::string_view text);

/// Every field of the main header and the tile-part headers, addressed by name, tile, component and value
/// index. Tile -1 is the main header, component -1 the default of all components; X and Y of a two-valued
/// field are the value indices 0 and 1.
class J2kParameterStore
{
  public:
    /// `maxValues` bounds the memory a stream of many small segments can claim (about 64 bytes a value).
    explicit J2kParameterStore(size_t maxValues) : maxValues_(maxValues) {}

    /// False when the store is full; throws std::bad_alloc.
    bool Set(J2kName name, int32_t tile, int32_t component, uint32_t index, int64_t value);
    /// The value stored for exactly this address, or null.
    const int64_t* FindExact(J2kName name, int32_t tile, int32_t component, uint32_t index) const;
    /// The value that holds for a tile and a component: the tile's own for the component, the tile's default,
    /// the main header's for the component, the main header's default (T.800 A.6.1); null when none is set.
    const int64_t* Find(J2kName name, int32_t tile, int32_t component, uint32_t index) const;
    const int64_t* Find(std::string_view name, int32_t tile, int32_t component, uint32_t index) const;
    int64_t Get(J2kName name, int32_t tile, int32_t component, uint32_t index, int64_t otherwise) const;
    bool Full() const { return values_.size() >= maxValues_; }

  private:
    size_t maxValues_;
    std::unordered_map<uint64_t, int64_t> values_;
};
}  // namespace talv
