#pragma once

#include <unknwn.h>

namespace talv {
/// One class that this server makes.
struct ClassEntry
{
    const wchar_t* name;
    const GUID* id;
    HRESULT(*make)
    (IUnknown* outer, IUnknown** out);  ///< `out` gets the object's own identity with a reference
    bool isFilter;                      ///< registered with the media framework
};

inline constexpr int kClassCount = 3;
extern const ClassEntry kClassTable[kClassCount];
}  // namespace talv
