#include "filter/directshow/registration.h"

#include <dshow.h>

#include <string>

#include "filter/directshow/class_table.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/type_library.h"

namespace talv {
namespace {
constexpr DWORD kMeritDoNotUse = 0x200000;
constexpr wchar_t kThreadingModel[] = L"Both";

std::wstring ClassKey(const GUID& id)
{
    wchar_t text[40] = {};
    StringFromGUID2(id, text, 40);
    return std::wstring(L"CLSID\\") + text;
}

LSTATUS WriteText(const std::wstring& path, const wchar_t* name, const wchar_t* text)
{
    return RegSetKeyValueW(HKEY_CLASSES_ROOT, path.c_str(), name, REG_SZ, text,
                           static_cast<DWORD>((lstrlenW(text) + 1) * sizeof(wchar_t)));
}

HRESULT WriteClassKeys(const ClassEntry& entry, const wchar_t* serverPath)
{
    const std::wstring path = ClassKey(*entry.id);
    const std::wstring server = path + L"\\InprocServer32";
    LSTATUS status = WriteText(path, nullptr, entry.name);
    if (status == ERROR_SUCCESS) status = WriteText(server, nullptr, serverPath);
    if (status == ERROR_SUCCESS) status = WriteText(server, L"ThreadingModel", kThreadingModel);
    return HRESULT_FROM_WIN32(status);
}

// The framework's registration calls need components; a caller may not have set them up.
class ComponentUse
{
  public:
    ComponentUse() : hr_(CoInitialize(nullptr)) {}
    ~ComponentUse()
    {
        if (SUCCEEDED(hr_)) CoUninitialize();
    }
    ComponentUse(const ComponentUse&) = delete;
    ComponentUse& operator=(const ComponentUse&) = delete;

  private:
    const HRESULT hr_;
};

HRESULT MakeMapper(ComPointer<IFilterMapper2>* mapper)
{
    return CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                            mapper->OutVoid());
}

HRESULT RegisterFilter(IFilterMapper2* mapper, const ClassEntry& entry)
{
    REGPINTYPES types[] = {{&MEDIATYPE_Video, &GUID_NULL}};
    wchar_t pinName[] = L"Output";
    REGFILTERPINS pin = {};
    pin.strName = pinName;
    pin.bRendered = FALSE;
    pin.bOutput = TRUE;
    pin.bZero = FALSE;
    pin.bMany = FALSE;
    pin.clsConnectsToFilter = &CLSID_NULL;
    pin.strConnectsToPin = nullptr;
    pin.nMediaTypes = 1;
    pin.lpMediaType = types;
    REGFILTER2 filter = {};
    filter.dwVersion = 1;
    filter.dwMerit = kMeritDoNotUse;
    filter.cPins = 1;
    filter.rgPins = &pin;
    IMoniker* moniker = nullptr;
    const HRESULT hr = mapper->RegisterFilter(*entry.id, entry.name, &moniker, nullptr, nullptr, &filter);
    if (moniker != nullptr) moniker->Release();
    return hr;
}

HRESULT UnregisterFilter(IFilterMapper2* mapper, const ClassEntry& entry)
{
    const HRESULT hr = mapper->UnregisterFilter(nullptr, nullptr, *entry.id);
    return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : hr;
}
}  // namespace

HRESULT RegisterClasses()
{
    wchar_t serverPath[MAX_PATH + 1] = {};
    if (!GetServerPath(serverPath)) return E_FAIL;
    for (const ClassEntry& entry : kClassTable) {
        const HRESULT hr = WriteClassKeys(entry, serverPath);
        if (FAILED(hr)) return hr;
    }
    const ComponentUse components;
    ComPointer<IFilterMapper2> mapper;
    HRESULT hr = MakeMapper(&mapper);
    for (const ClassEntry& entry : kClassTable) {
        if (FAILED(hr)) break;
        if (!entry.isFilter) continue;
        UnregisterFilter(mapper.Get(), entry);
        hr = RegisterFilter(mapper.Get(), entry);
    }
    return SUCCEEDED(hr) ? S_OK : hr;
}

HRESULT UnregisterClasses()
{
    HRESULT hr = S_OK;
    {
        const ComponentUse components;
        ComPointer<IFilterMapper2> mapper;
        hr = MakeMapper(&mapper);
        for (const ClassEntry& entry : kClassTable)
            if (SUCCEEDED(hr) && entry.isFilter) hr = UnregisterFilter(mapper.Get(), entry);
    }
    for (const ClassEntry& entry : kClassTable)
        RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(*entry.id).c_str());
    return hr;
}

bool RemoveFirstServerKey()
{
    const std::wstring path = ClassKey(*kClassTable[0].id) + L"\\InprocServer32";
    return RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str()) == ERROR_SUCCESS;
}
}  // namespace talv
