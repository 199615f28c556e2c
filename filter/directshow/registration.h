#pragma once

#include <windows.h>

namespace talv {
/// Writes the class keys of the class table and registers the filter with the media framework. Removes what
/// the framework holds of the filter first, so that registering again changes nothing.
HRESULT RegisterClasses();
/// Takes the filter out of the framework and removes the class keys.
HRESULT UnregisterClasses();
/// Removes the first class's "InprocServer32" key; false when that fails, that is, when nothing is
/// registered.
bool RemoveFirstServerKey();
}  // namespace talv
