// The library's own entry points: load and unload, class objects, registration.
#include <windows.h>

#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "filter/directshow/class_factory.h"
#include "filter/directshow/com_object.h"
#include "filter/directshow/file_type_keys.h"
#include "filter/directshow/registration.h"
#include "filter/directshow/server_lock.h"
#include "filter/directshow/type_library.h"
#include "platform/module.h"
#include "raster/raster_settings.h"

namespace talv {
namespace {
constexpr int kGlobalMemoryAllocator = 2;

// Under the loader lock: memory work only.
bool Attach(HINSTANCE module)
{
    serverModule = module;
    RememberModule(module);  // where the codec entry points are looked up
    SelectAllocator(kGlobalMemoryAllocator);
    if (!InitDictionaries()) return false;
    AttachRasterLibrary(module);
    return true;
}

void Detach()
{
    FreeDictionaries();
    DetachRasterLibrary();
}

const ClassEntry* FindClass(REFCLSID id)
{
    for (const ClassEntry& entry : kClassTable)
        if (*entry.id == id) return &entry;
    return nullptr;
}
}  // namespace
}  // namespace talv

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            return SUCCEEDED(talv::Guarded([&] { return talv::Attach(module) ? S_OK : E_FAIL; }));
        case DLL_PROCESS_DETACH:
            talv::Detach();
            break;
        case DLL_THREAD_DETACH:
            talv::DetachRasterThread();
            break;
        default:
            break;
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID iid, void** out)
{
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    const talv::ClassEntry* entry = talv::FindClass(id);
    return entry != nullptr ? talv::GetClassObject(*entry, iid, out) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow()
{
    return talv::ServerUse::MayUnload() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer()
{
    return talv::Guarded([] {
        talv::WriteFileTypeKeys();
        const HRESULT hr = talv::RegisterClasses();
        talv::RegisterEmbeddedLibrary();  // tells the user itself; the result is that of the classes
        return hr;
    });
}

STDAPI DllUnregisterServer()
{
    return talv::Guarded([]() -> HRESULT {
        talv::RemoveFileTypeKeys();
        if (!talv::RemoveFirstServerKey()) return S_OK;
        const HRESULT hr = talv::UnregisterClasses();
        talv::UnregisterEmbeddedLibrary();
        return hr;
    });
}
