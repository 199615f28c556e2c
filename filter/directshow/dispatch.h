#pragma once

#include <oaidl.h>

namespace talv {
/// The type information of `iid` from the library embedded in this server, with a reference; null when it
/// cannot be loaded.
HRESULT GetEmbeddedTypeInfo(REFIID iid, ITypeInfo** out);

/// IDispatch of a dual interface, served from the embedded type library.
template <class Interface>
class DualInterface : public Interface
{
  public:
    STDMETHODIMP GetTypeInfoCount(UINT* out) override
    {
        if (out == nullptr) return E_POINTER;
        *out = 1;
        return S_OK;
    }

    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** out) override
    {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        return index == 0 ? GetEmbeddedTypeInfo(iid_, out) : DISP_E_BADINDEX;
    }

    STDMETHODIMP GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID, DISPID* ids) override
    {
        if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        if (names == nullptr || ids == nullptr) return E_POINTER;
        ITypeInfo* info = nullptr;
        HRESULT hr = GetEmbeddedTypeInfo(iid_, &info);
        if (FAILED(hr)) return hr;
        hr = info->GetIDsOfNames(names, count, ids);
        info->Release();
        return hr;
    }

    STDMETHODIMP Invoke(DISPID member, REFIID reserved, LCID, WORD flags, DISPPARAMS* arguments,
                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError) override
    {
        if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        if (arguments == nullptr) return E_POINTER;
        ITypeInfo* info = nullptr;
        HRESULT hr = GetEmbeddedTypeInfo(iid_, &info);
        if (FAILED(hr)) return hr;
        hr = info->Invoke(static_cast<Interface*>(this), member, flags, arguments, result, exception,
                          argumentError);
        info->Release();
        return hr;
    }

  protected:
    explicit DualInterface(REFIID iid) : iid_(iid) {}
    ~DualInterface() = default;

  private:
    const IID iid_;
};
}  // namespace talv
