#include "component.h"

#include "filter/directshow/server_ids.h"

namespace talv {
HRESULT MakeReaderFilter(const std::wstring& serverPath, ComPointer<IBaseFilter>* out)
{
    if (serverPath.empty())
        return CoCreateInstance(kReaderClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, out->OutVoid());

    // Stays loaded until the process ends.
    wchar_t full[MAX_PATH] = {};
    if (GetFullPathNameW(serverPath.c_str(), MAX_PATH, full, nullptr) == 0) return E_INVALIDARG;
    const HMODULE server = LoadLibraryExW(full, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (server == nullptr) return HRESULT_FROM_WIN32(GetLastError());
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(GetProcAddress(server, "DllGetClassObject")));
    if (getClassObject == nullptr) return E_NOINTERFACE;
    ComPointer<IClassFactory> factory;
    const HRESULT hr = getClassObject(kReaderClass, IID_IClassFactory, factory.OutVoid());
    return FAILED(hr) ? hr : factory->CreateInstance(nullptr, IID_IBaseFilter, out->OutVoid());
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
