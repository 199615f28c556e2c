// The library's own entry points: load, class objects, registration.
#include <windows.h>

#include "filter/directshow/class_factory.h"
#include "filter/directshow/com_object.h"
#include "filter/directshow/server_lock.h"
#include "filter/greydisplay/windows/grey_display_filter.h"
#include "filter/greydisplay/windows/grey_display_ids.h"
#include "filter/greydisplay/windows/grey_registration.h"

namespace {
const talv::ClassEntry kGreyDisplayEntry = {talv::kGreyDisplayName, &talv::kGreyDisplayClass,
                                            &talv::MakeGreyDisplay, true};
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) talv::serverModule = module;
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
