#pragma once

#include <guiddef.h>

namespace talv {
inline constexpr GUID kGreyDisplayClass = {
    0xE8AD189E, 0x52E8, 0x497E, {0x82, 0x15, 0x79, 0x94, 0xD6, 0x93, 0x0D, 0x23}};
inline constexpr wchar_t kGreyDisplayName[] = L"Talv Grey Display (2.0)";
inline constexpr wchar_t kGreyInputName[] = L"Input";
inline constexpr wchar_t kGreyOutputName[] = L"Output";
}  // namespace talv
