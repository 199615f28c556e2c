#include "filter/directshow/class_factory.h"

#include "filter/directshow/com_object.h"

namespace talv {
namespace {
class ClassFactory final : public ComObject, public IClassFactory
{
  public:
    explicit ClassFactory(const ClassEntry& entry) : ComObject(nullptr), entry_(entry) {}
    TALV_FORWARD_UNKNOWN(Outer())

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override
    {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        // An outer object can only hold the inner one by its own identity.
        if (outer != nullptr && iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
        IUnknown* made = nullptr;
        const HRESULT hr = entry_.make(outer, &made);
        if (FAILED(hr)) return hr;
        const HRESULT found = made->QueryInterface(iid, out);
        made->Release();
        return found;
    }

    STDMETHODIMP LockServer(BOOL lock) override
    {
        ServerUse::LockServer(lock != FALSE);
        return S_OK;
    }

  private:
    IUnknown* FindInterface(REFIID iid) override
    {
        return iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
    }
    const ClassEntry& entry_;
};
}  // namespace

HRESULT GetClassObject(const ClassEntry& entry, REFIID iid, void** out)
{
    return Guarded([&] {
        IUnknown* factory = (new ClassFactory(entry))->Inner();
        const HRESULT hr = factory->QueryInterface(iid, out);
        factory->Release();
        return hr;
    });
}
}  // namespace talv
