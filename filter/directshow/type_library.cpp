#include "filter/directshow/type_library.h"

#include <string>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/dispatch.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/server_lock.h"
#include "platform/notice.h"

namespace talv {
namespace {
constexpr DWORD kPathCharacters = 260;  // 520 bytes
}

bool GetServerPath(wchar_t* path)
{
    const DWORD length = GetModuleFileNameW(serverModule, path, kPathCharacters);
    return length > 0 && length < kPathCharacters;
}

HRESULT LoadEmbeddedLibrary(ITypeLib** out)
{
    *out = nullptr;
    wchar_t path[kPathCharacters + 1] = {};
    if (!GetServerPath(path)) return E_FAIL;
    return LoadTypeLibEx(path, REGKIND_NONE, out);
}

HRESULT GetEmbeddedTypeInfo(REFIID iid, ITypeInfo** out)
{
    ComPointer<ITypeLib> library;
    const HRESULT hr = LoadEmbeddedLibrary(library.Out());
    return FAILED(hr) ? hr : library->GetTypeInfoOfGuid(iid, out);
}

HRESULT RegisterEmbeddedLibrary()
{
    wchar_t path[kPathCharacters + 1] = {};
    GetServerPath(path);
    ComPointer<ITypeLib> library;
    HRESULT hr = LoadTypeLibEx(path, REGKIND_NONE, library.Out());
    if (SUCCEEDED(hr)) hr = RegisterTypeLib(library.Get(), path, nullptr);
    if (SUCCEEDED(hr)) return hr;
    return Guarded([&] {
        char narrow[2 * kPathCharacters + 1] = {};
        WideCharToMultiByte(CP_ACP, 0, path, -1, narrow, sizeof(narrow) - 1, nullptr, nullptr);
        const std::string text = std::string("Failed to register type library: ") + narrow;
        ShowNotice(text.c_str(), "Error", kNoticePlain);
        return hr;
    });
}

void UnregisterEmbeddedLibrary()
{
    // The library is registered under the kind of the build that did it; a 64-bit build that asked for the
    // 32-bit kind only would leave its own behind.
    if (sizeof(void*) == 8) UnRegisterTypeLib(kTypeLibrary, 1, 0, 0, SYS_WIN64);
    UnRegisterTypeLib(kTypeLibrary, 1, 0, 0, SYS_WIN32);
}
}  // namespace talv
