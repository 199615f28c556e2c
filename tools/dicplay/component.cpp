#include "component.h"

#include "filter/directshow/server_ids.h"
#include "filter/greydisplay/windows/grey_display_ids.h"

namespace talv {
namespace {
constexpr wchar_t kGreyServer[] = L"TVGreyDisplay.ax";

// Makes a filter from a server file, which stays loaded until the process ends.
HRESULT MakeFromFile(const std::wstring& path, const GUID& classId, ComPointer<IBaseFilter>* out)
{
    wchar_t full[MAX_PATH] = {};
    if (GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr) == 0) return E_INVALIDARG;
    const HMODULE server = LoadLibraryExW(full, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (server == nullptr) return HRESULT_FROM_WIN32(GetLastError());
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(GetProcAddress(server, "DllGetClassObject")));
    if (getClassObject == nullptr) return E_NOINTERFACE;
    ComPointer<IClassFactory> factory;
    const HRESULT hr = getClassObject(classId, IID_IClassFactory, factory.OutVoid());
    return FAILED(hr) ? hr : factory->CreateInstance(nullptr, IID_IBaseFilter, out->OutVoid());
}

std::wstring Beside(const std::wstring& file, const wchar_t* name)
{
    const size_t slash = file.find_last_of(L"\\/");
    return slash == std::wstring::npos ? name : file.substr(0, slash + 1) + name;
}
}  // namespace

HRESULT MakeReaderFilter(const std::wstring& serverPath, ComPointer<IBaseFilter>* out)
{
    if (!serverPath.empty()) return MakeFromFile(serverPath, kReaderClass, out);
    return CoCreateInstance(kReaderClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, out->OutVoid());
}

HRESULT MakeGreyDisplayFilter(const std::wstring& serverPath, ComPointer<IBaseFilter>* out)
{
    if (!serverPath.empty() &&
        SUCCEEDED(MakeFromFile(Beside(serverPath, kGreyServer), kGreyDisplayClass, out)))
        return S_OK;
    const HRESULT registered =
        CoCreateInstance(kGreyDisplayClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, out->OutVoid());
    if (SUCCEEDED(registered)) return registered;
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH - 1);
    return SUCCEEDED(MakeFromFile(Beside(self, kGreyServer), kGreyDisplayClass, out)) ? S_OK : registered;
}

HRESULT ConnectPins(IGraphBuilder* graph, IPin* output, IPin* input)
{
    if (output == nullptr || input == nullptr) return E_POINTER;
    return graph->ConnectDirect(output, input, nullptr);
}

ComPointer<IPin> FindPin(IBaseFilter* filter, PIN_DIRECTION direction)
{
    ComPointer<IEnumPins> pins;
    if (FAILED(filter->EnumPins(pins.Out()))) return {};
    ComPointer<IPin> pin;
    while (pins->Next(1, pin.Out(), nullptr) == S_OK) {
        PIN_DIRECTION found;
        if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction) return pin;
    }
    return {};
}
}  // namespace talv
