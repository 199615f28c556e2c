#pragma once

#include <string>

namespace talv {
/// The name under which narrow calls find the file `name`: itself where the ANSI code page has each of its
/// characters, else the short name that the file system keeps beside it; itself again when there is none or
/// the name is too long for a path. Throws std::bad_alloc.
std::wstring NameForNarrowCalls(const wchar_t* name);
}  // namespace talv
