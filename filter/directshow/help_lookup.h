#pragma once

#include <windows.h>

namespace talv {
inline constexpr wchar_t kHelpFileName[] = L"tvfilters.chm";

/// Opens `topic` of the help file: looked for in the directories of the help key, in their order (separated
/// by semicolons), then in the server's own. Tells the user when there is none or it does not open.
void ShowHelpTopic(HWND owner, const char* topic);
}  // namespace talv
