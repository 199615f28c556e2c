// The library's own entry points: load, class objects, registration.
#include <windows.h>

#include "filter/directshow/class_factory.h"
#include "filter/directshow/com_object.h"
#include "filter/directshow/server_lock.h"
#include "filter/greydisplay/windows/grey_display_filter.h"
#include "filter/greydisplay/windows/grey_display_ids.h"
#include "filter/greydisplay/windows/grey_registration.h"
#include "platform/windows/runtime_memory.h"

namespace {
const talv::ClassEntry kGreyDisplayEntry = {talv::kGreyDisplayName, &talv::kGreyDisplayClass,
                                            &talv::MakeGreyDisplay, true};
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            talv::serverModule = module;
            return talv::PrepareRuntime();
        case DLL_PROCESS_DETACH:
            talv::ReleaseRuntime();
            break;
        case DLL_THREAD_DETACH:
            talv::ReleaseRuntimeOfThread();
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
    return id == talv::kGreyDisplayClass ? talv::GetClassObject(kGreyDisplayEntry, iid, out)
                                         : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow()
{
    return talv::ServerUse::MayUnload() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer()
{
    return talv::Guarded([] { return talv::RegisterGreyDisplay(); });
}

STDAPI DllUnregisterServer()
{
    return talv::Guarded([] { return talv::UnregisterGreyDisplay(); });
}
