#pragma once

#include <windows.h>

namespace talv {
/// While it lives, calls of the loaded component to the system function `name` go to `replacement`, which has
/// the same signature. Calls of other modules, the test program's own among them, are left alone.
class ImportPatch
{
  public:
    template <class Function>
    ImportPatch(const char* name, Function* replacement)
        : ImportPatch(name, reinterpret_cast<void*>(replacement), 0)
    {}
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    /// False when the component does not call the function.
    bool Placed() const { return slot_ != nullptr; }

  private:
    ImportPatch(const char* name, void* replacement, int);

    void** slot_ = nullptr;
    void* previous_ = nullptr;
};
}  // namespace talv
