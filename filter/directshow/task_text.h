#pragma once

#include <objbase.h>
#include <oleauto.h>
#include <windows.h>

#include <string>

#include "platform/text.h"

namespace talv {
/// A copy in task memory, for out arguments; null when memory is short.
inline LPWSTR CopyToTaskMemory(const wchar_t* text)
{
    const size_t bytes = (static_cast<size_t>(lstrlenW(text)) + 1) * sizeof(wchar_t);
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (copy != nullptr) CopyMemory(copy, text, bytes);
    return copy;
}

inline std::wstring WideText(const std::string& narrow)
{
    const std::u16string wide = WideFromNarrow(narrow);
    return {wide.begin(), wide.end()};
}

/// Writes a new automation string to `out`.
inline HRESULT ReturnText(const std::wstring& text, BSTR* out)
{
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}
}  // namespace talv
