#pragma once

#include <windows.h>

#include <initializer_list>

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

/// A function to be called in place of the system's of that name.
struct Replacement
{
    template <class Function>
    Replacement(const char* nameOfIt, Function* replacement)
        : name(nameOfIt), function(reinterpret_cast<void*>(replacement))
    {}
    const char* name;
    void* function;
};
/// Fills the import table of a module that was loaded without its references. False when something is
/// missing.
bool ResolveImports(HMODULE module, std::initializer_list<Replacement> replacements);
}  // namespace talv
