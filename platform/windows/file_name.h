#pragma once

#include <string_view>

namespace talv {
/// True for a name that can only mean a file or directory of a disk: no device name (CON, NUL, COM1 ... in
/// the last component, with or without an extension), no name in the device name space, no stream suffix (a
/// colon anywhere but after the drive letter), no wildcard, not empty.
bool NamesDiskFile(std::u16string_view name);
}  // namespace talv
