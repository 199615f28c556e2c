#include "filter/greydisplay/windows/grey_registration.h"

#include <dshow.h>

#include <string>

#include "filter/directshow/com_pointer.h"
#include "filter/directshow/server_ids.h"
#include "filter/directshow/server_lock.h"
#include "filter/greydisplay/windows/grey_display_ids.h"

namespace talv {
namespace {
// The framework's registration calls need components; a caller may not have set them up.
class ComponentSetUp
{
  public:
    ComponentSetUp() : hr_(CoInitialize(nullptr)) {}
    ~ComponentSetUp()
    {
        if (SUCCEEDED(hr_)) CoUninitialize();
    }
    ComponentSetUp(const ComponentSetUp&) = delete;
    ComponentSetUp& operator=(const ComponentSetUp&) = delete;

  private:
    const HRESULT hr_;
};

std::wstring ClassKey()
{
    wchar_t text[40] = {};
    StringFromGUID2(kGreyDisplayClass, text, 40);
    return std::wstring(L"CLSID\\") + text;
}

LSTATUS WriteText(const std::wstring& key, const wchar_t* name, const std::wstring& text)
{
    return RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

HRESULT WriteClassKey()
{
    wchar_t path[MAX_PATH + 1] = {};
    const DWORD length = GetModuleFileNameW(serverModule, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return E_FAIL;
    const std::wstring server = ClassKey() + L"\\InprocServer32";
    LSTATUS status = WriteText(ClassKey(), nullptr, kGreyDisplayName);
    if (status == ERROR_SUCCESS) status = WriteText(server, nullptr, path);
    if (status == ERROR_SUCCESS) status = WriteText(server, L"ThreadingModel", L"Both");
    return HRESULT_FROM_WIN32(status);
}

HRESULT MakeMapper(ComPointer<IFilterMapper2>* mapper)
{
    return CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                            mapper->OutVoid());
}

HRESULT WriteFilterData(IFilterMapper2* mapper)
{
    const REGPINTYPES taken = {&MEDIATYPE_Video, &kSubtypeGrey};
    const REGPINTYPES given = {&MEDIATYPE_Video, &MEDIASUBTYPE_RGB32};
    REGFILTERPINS2 pins[2] = {};
    for (REGFILTERPINS2& pin : pins) pin.nMediaTypes = 1;
    pins[0].lpMediaType = &taken;
    pins[1].dwFlags = REG_PINFLAG_B_OUTPUT;
    pins[1].lpMediaType = &given;
    REGFILTER2 filter = {};
    filter.dwVersion = 2;
    filter.dwMerit = MERIT_NORMAL;
    filter.cPins2 = 2;
    filter.rgPins2 = pins;
    IMoniker* moniker = nullptr;
    const HRESULT hr =
        mapper->RegisterFilter(kGreyDisplayClass, kGreyDisplayName, &moniker, nullptr, nullptr, &filter);
    if (moniker != nullptr) moniker->Release();
    return hr;
}
}  // namespace

HRESULT RegisterGreyDisplay()
{
    HRESULT hr = WriteClassKey();
    if (FAILED(hr)) return hr;
    const ComponentSetUp components;
    ComPointer<IFilterMapper2> mapper;
    hr = MakeMapper(&mapper);
    if (FAILED(hr)) return hr;
    mapper->UnregisterFilter(nullptr, nullptr, kGreyDisplayClass);  // what an earlier version wrote
    hr = WriteFilterData(mapper.Get());
    return SUCCEEDED(hr) ? S_OK : hr;
}

HRESULT UnregisterGreyDisplay()
{
    HRESULT hr = S_OK;
    {
        const ComponentSetUp components;
        ComPointer<IFilterMapper2> mapper;
        hr = MakeMapper(&mapper);
        if (SUCCEEDED(hr)) hr = mapper->UnregisterFilter(nullptr, nullptr, kGreyDisplayClass);
        if (hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)) hr = S_OK;
    }
    RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey().c_str());
    return hr;
}
}  // namespace talv
