#include "filter/directshow/short_name.h"

#include <windows.h>

#include "platform/text.h"

namespace talv {
std::wstring NameForNarrowCalls(const wchar_t* name)
{
    const std::wstring given(name);
    std::string narrow;
    if (given.size() >= MAX_PATH ||
        NarrowFromWide({reinterpret_cast<const char16_t*>(name), given.size()}, &narrow))
        return given;
    wchar_t found[MAX_PATH] = {};
    const DWORD length = GetShortPathNameW(name, found, MAX_PATH);
    return length > 0 && length < MAX_PATH ? std::wstring(found, length) : given;
}
}  // namespace talv
