#pragma once

#include <windows.h>

namespace talv {
/// Writes the class key and registers the display with the media framework at normal merit, so that graphs
/// insert it behind a grey-scale pin by themselves. Registering again changes nothing.
HRESULT RegisterGreyDisplay();
/// Takes the display out of the framework and removes its key; nothing registered is no error.
HRESULT UnregisterGreyDisplay();
}  // namespace talv
