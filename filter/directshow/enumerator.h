#pragma once

#include <dshow.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "filter/directshow/com_object.h"
#include "filter/directshow/com_pointer.h"
#include "filter/directshow/media_type.h"
#include "filter/directshow/pin_base.h"
#include "platform/lock.h"

namespace talv {
/// IEnumPins and IEnumMediaTypes over a list taken when the enumerator is made. `Traits` names the interface,
/// its identifier, what Next writes, what is kept, how one item is handed out, whether it is still what the
/// filter has (a walk is out of sync otherwise), and what stands in its place after a reset.
template <class Traits>
class Enumerator final : public ComObject, public Traits::Interface
{
  public:
    using Items = std::shared_ptr<const std::vector<typename Traits::Kept>>;

    Enumerator(Items items, size_t position)
        : ComObject(nullptr), items_(std::move(items)), position_(position)
    {}
    TALV_FORWARD_UNKNOWN(Outer())

    /// Makes an enumerator over `list`; throws std::bad_alloc.
    static typename Traits::Interface* Make(std::vector<typename Traits::Kept>&& list)
    {
        return new Enumerator(std::make_shared<const std::vector<typename Traits::Kept>>(std::move(list)), 0);
    }

    STDMETHODIMP Next(ULONG count, typename Traits::Out* out, ULONG* fetched) override
    {
        if (fetched != nullptr) *fetched = 0;
        if (out == nullptr) return E_POINTER;
        if (fetched == nullptr && count > 1) return E_INVALIDARG;
        std::fill_n(out, count, nullptr);
        const std::lock_guard guard(lock_);
        if (!InSync()) return VFW_E_ENUM_OUT_OF_SYNC;
        ULONG done = 0;
        for (; done < count && position_ < items_->size(); ++done, ++position_) {
            const HRESULT hr = Traits::HandOut((*items_)[position_], &out[done]);
            if (FAILED(hr)) {
                if (fetched != nullptr) *fetched = done;
                return hr;
            }
        }
        if (fetched != nullptr) *fetched = done;
        return done == count ? S_OK : S_FALSE;
    }

    STDMETHODIMP Skip(ULONG count) override
    {
        const std::lock_guard guard(lock_);
        if (!InSync()) return VFW_E_ENUM_OUT_OF_SYNC;
        const size_t left = items_->size() - position_;
        position_ += std::min<size_t>(count, left);
        return count <= left ? S_OK : S_FALSE;
    }

    STDMETHODIMP Reset() override
    {
        return Guarded([&] {
            Items renewed;  // the old ones go with the lock free
            const std::lock_guard guard(lock_);
            if (!InSync()) {
                std::vector<typename Traits::Kept> list;
                for (const auto& item : *items_) list.push_back(Traits::Renew(item));
                renewed = std::make_shared<const std::vector<typename Traits::Kept>>(std::move(list));
                std::swap(items_, renewed);
            }
            position_ = 0;
            return S_OK;
        });
    }

    STDMETHODIMP Clone(typename Traits::Interface** out) override
    {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        return Guarded([&]() -> HRESULT {
            const std::lock_guard guard(lock_);
            if (!InSync()) return VFW_E_ENUM_OUT_OF_SYNC;
            *out = new Enumerator(items_, position_);
            return S_OK;
        });
    }

  private:
    IUnknown* FindInterface(REFIID iid) override
    {
        return iid == Traits::Iid() ? static_cast<typename Traits::Interface*>(this) : nullptr;
    }

    bool InSync() const { return std::all_of(items_->begin(), items_->end(), Traits::IsCurrent); }

    Items items_;
    Lock lock_;  ///< guards all; a leaf
    size_t position_;
};

/// A pin with a reference.
struct KeptPin
{
    explicit KeptPin(PinBase* kept) : pin(kept), reference(kept) {}
    PinBase* pin;
    ComPointer<IPin> reference;
};

struct PinTraits
{
    using Interface = IEnumPins;
    using Out = IPin*;
    using Kept = KeptPin;
    static REFIID Iid() { return IID_IEnumPins; }
    static HRESULT HandOut(const Kept& kept, Out* out)
    {
        *out = ComPointer<IPin>(kept.reference).Detach();
        return S_OK;
    }
    static bool IsCurrent(const Kept& kept) { return &kept.pin->Shown() == kept.pin; }
    static Kept Renew(const Kept& kept) { return KeptPin(&kept.pin->Shown()); }
};
using PinEnumerator = Enumerator<PinTraits>;

struct MediaTypeTraits
{
    using Interface = IEnumMediaTypes;
    using Out = AM_MEDIA_TYPE*;
    using Kept = MediaType;
    static REFIID Iid() { return IID_IEnumMediaTypes; }
    static HRESULT HandOut(const Kept& kept, Out* out)
    {
        auto* record = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (record == nullptr) return E_OUTOFMEMORY;
        const HRESULT hr = kept.CopyTo(record);
        if (FAILED(hr)) {
            CoTaskMemFree(record);
            return hr;
        }
        *out = record;
        return S_OK;
    }
    static bool IsCurrent(const Kept&) { return true; }
    static Kept Renew(const Kept&) { return {}; }
};
using MediaTypeEnumerator = Enumerator<MediaTypeTraits>;
}  // namespace talv
