#pragma once

#include <oaidl.h>

namespace talv {
/// Writes the path of this server's file into `path` (MAX_PATH + 1 characters); false when it does not fit.
bool GetServerPath(wchar_t* path);
/// Loads the library embedded in the server's file, without registering it.
HRESULT LoadEmbeddedLibrary(ITypeLib** out);
/// Loads and registers it. A failure is shown to the user and answered.
HRESULT RegisterEmbeddedLibrary();
/// Removes its registration for both bitnesses, as far as there is one.
void UnregisterEmbeddedLibrary();
}  // namespace talv
