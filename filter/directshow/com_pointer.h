#pragma once

#include <unknwn.h>

#include <utility>

namespace talv {
/// Owns one reference to a component interface.
template <class Interface>
class ComPointer
{
  public:
    ComPointer() = default;
    /// Adds a reference of its own.
    explicit ComPointer(Interface* pointer) : pointer_(pointer)
    {
        if (pointer_ != nullptr) pointer_->AddRef();
    }
    ComPointer(const ComPointer& other) : ComPointer(other.pointer_) {}
    ComPointer(ComPointer&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPointer& operator=(ComPointer other) noexcept
    {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPointer() { Reset(); }

    void Reset()
    {
        if (Interface* pointer = std::exchange(pointer_, nullptr)) pointer->Release();
    }
    Interface* Get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }
    /// Gives the reference up to the caller.
    Interface* Detach() { return std::exchange(pointer_, nullptr); }
    /// For calls that write an interface pointer with a reference; drops what was held.
    Interface** Out()
    {
        Reset();
        return &pointer_;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

  private:
    Interface* pointer_ = nullptr;
};

template <class Wanted, class Interface>
ComPointer<Wanted> QueryFor(Interface* from, REFIID iid)
{
    ComPointer<Wanted> wanted;
    if (from == nullptr || FAILED(from->QueryInterface(iid, wanted.OutVoid()))) wanted = {};
    return wanted;
}
}  // namespace talv
