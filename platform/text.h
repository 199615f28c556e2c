#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talv {
/// Converts UTF-16 to the system's narrow encoding (the ANSI code page on Windows, UTF-8 elsewhere) without
/// best-fit substitutes. False, with `out` empty, when a character has no form there.
bool NarrowFromWide(std::u16string_view wide, std::string* out);

/// The reverse; characters that are not valid in the narrow encoding become U+FFFD.
std::u16string WideFromNarrow(std::string_view narrow);
}  // namespace talv
