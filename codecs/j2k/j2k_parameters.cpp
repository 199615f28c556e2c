#include "codecs/j2k/j2k_parameters.h"

#include <iterator>

namespace talv {
namespace {
constexpr std::string_view kNames[] = {
    "Rsiz",
    "Csiz",
    "XYsiz",
    "XYOsiz",
    "XYTsiz",
    "XYTOsiz",
    "Ssiz_value",
    "Ssiz_signe",
    "XYRsiz",
    "Scod_Precincts",
    "Scod_SOP",
    "Scod_EPH",
    "Scod_ALB",
    "SGcod_Porder",
    "SGcod_Layers",
    "SGcod_ColorTrans",
    "SPcod_DecompLevels",
    "SPcod_XYBlock",
    "SPcod_ACModes",
    "SPcod_Wavelet",
    "SPcod_Precincts",
    "Srev",
    "Sqcd_S",
    "Sqcd_G",
    "Sqcd_R",
    "Sqcd_D",
    "Sqcd_SS",
    "Srgn_V",
    "Srgn_H",
    "Srgn_Shift",
    "LPOC_O",
    "SRG_O",
    "TLM_Index",
    "TLM_NumOfTileParts",
    "TLM_ST_Size",
    "TLM_SP_Size",
    "TLM_TileIndex",
    "TLM_TilePartSize",
    "TLM_FilePosition",
    "Ltwx",
    "Lzwlt",
};
static_assert(std::size(kNames) == static_cast<size_t>(J2kName::count));

// 6 bits of name, 17 of tile, 15 of component, 26 of index; -1 becomes 0.
uint64_t Key(J2kName name, int32_t tile, int32_t component, uint32_t index)
{
    return static_cast<uint64_t>(name) << 58 | static_cast<uint64_t>(tile + 1) << 41 |
           static_cast<uint64_t>(component + 1) << 26 | (index & 0x3FFFFFFu);
}
}  // namespace

std::string_view J2kNameText(J2kName name)
{
    return kNames[static_cast<size_t>(name)];
}

J2kName FindJ2kName(std::string_view text)
{
    size_t i = 0;
    while (i < std::size(kNames) && kNames[i] != text) ++i;
    return static_cast<J2kName>(i);
}

bool J2kParameterStore::Set(J2kName name, int32_t tile, int32_t component, uint32_t index, int64_t value)
{
    const uint64_t key = Key(name, tile, component, index);
    if (Full() && values_.find(key) == values_.end()) return false;
    values_[key] = value;
    return true;
}

const int64_t* J2kParameterStore::FindExact(J2kName name, int32_t tile, int32_t component,
                                            uint32_t index) const
{
    const auto found = values_.find(Key(name, tile, component, index));
    return found == values_.end() ? nullptr : &found->second;
}

const int64_t* J2kParameterStore::Find(J2kName name, int32_t tile, int32_t component, uint32_t index) const
{
    for (int32_t t : {tile, -1}) {
        for (int32_t c : {component, -1})
            if (const int64_t* value = FindExact(name, t, c, index)) return value;
    }
    return nullptr;
}

const int64_t* J2kParameterStore::Find(std::string_view text, int32_t tile, int32_t component,
                                       uint32_t index) const
{
    const J2kName name = FindJ2kName(text);
    return name == J2kName::count ? nullptr : Find(name, tile, component, index);
}

int64_t J2kParameterStore::Get(J2kName name, int32_t tile, int32_t component, uint32_t index,
                               int64_t otherwise) const
{
    const int64_t* value = Find(name, tile, component, index);
    return value != nullptr ? *value : otherwise;
}
}  // namespace talv
