#pragma once

#include <unknwn.h>

#include <new>

#include "filter/directshow/server_lock.h"

namespace talv {
/// Life and identity of a component object. The derived class lists its interfaces in FindInterface and
/// forwards the three IUnknown methods of each with TALV_FORWARD_UNKNOWN. Aggregation: interfaces forward to
/// the outer object, which alone holds the inner one.
class ComObject
{
  public:
    explicit ComObject(IUnknown* outer) : inner_(*this), outer_(outer != nullptr ? outer : &inner_) {}
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    /// The identity that owns the object; starts with a count of 1 for its maker.
    IUnknown* Inner() { return &inner_; }
    IUnknown* Outer() { return outer_; }

  protected:
    virtual ~ComObject() = default;
    /// The pointer for `iid` without a reference, null when the object does not have it.
    virtual IUnknown* FindInterface(REFIID iid) = 0;
    /// The last reference is gone: deletes the object, now or as soon as it can be spared.
    virtual void End() { delete this; }

  private:
    class InnerUnknown final : public IUnknown
    {
      public:
        explicit InnerUnknown(ComObject& object) : object_(object) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override
        {
            if (out == nullptr) return E_POINTER;
            *out = nullptr;
            IUnknown* found = iid == IID_IUnknown ? this : object_.FindInterface(iid);
            if (found == nullptr) return E_NOINTERFACE;
            found->AddRef();
            *out = found;
            return S_OK;
        }
        STDMETHODIMP_(ULONG) AddRef() override { return InterlockedIncrement(&count_); }
        STDMETHODIMP_(ULONG) Release() override
        {
            const LONG left = InterlockedDecrement(&count_);
            if (left == 0) {
                count_ = 1;  // what the destructor hands out and takes back must not destroy again
                object_.End();
            }
            return left;
        }

      private:
        ComObject& object_;
        LONG count_ = 1;
    };

    ServerUse serverUse_;
    InnerUnknown inner_;
    IUnknown* outer_;
};

#define TALV_FORWARD_UNKNOWN(target)                             \
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override \
    {                                                            \
        return (target)->QueryInterface(iid, out);               \
    }                                                            \
    STDMETHODIMP_(ULONG) AddRef() override                       \
    {                                                            \
        return (target)->AddRef();                               \
    }                                                            \
    STDMETHODIMP_(ULONG) Release() override                      \
    {                                                            \
        return (target)->Release();                              \
    }

/// Runs the body of an interface method; no exception leaves it.
template <class Body>
HRESULT Guarded(Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}
}  // namespace talv
