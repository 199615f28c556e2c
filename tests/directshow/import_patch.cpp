#include "tests/directshow/import_patch.h"

#include <cstring>

#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
void WriteSlot(void** slot, void* value)
{
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    *slot = value;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

// Calls visit(library's name, import's name, its place in the table) for each import by name until it answers
// true.
template <class Visit>
void VisitImports(HMODULE module, Visit visit)
{
    auto* image = reinterpret_cast<uint8_t*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + table.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA*>(image + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(image + library->FirstThunk);
        for (; entry->u1.AddressOfData != 0; ++entry, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(entry->u1.Ordinal)) continue;
            const auto* named =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + entry->u1.AddressOfData);
            if (visit(reinterpret_cast<const char*>(image + library->Name),
                      reinterpret_cast<const char*>(named->Name), slot))
                return;
        }
    }
}

// The place through which the module calls `wanted`; null when there is none.
void** FindSlot(HMODULE module, const char* wanted)
{
    void** found = nullptr;
    VisitImports(module, [&](const char*, const char* name, void** slot) {
        if (std::strcmp(name, wanted) == 0) found = slot;
        return found != nullptr;
    });
    return found;
}
}  // namespace

ImportPatch::ImportPatch(const char* name, void* replacement, int)
    : slot_(FindSlot(Server::Get().module, name))
{
    if (slot_ == nullptr) return;
    previous_ = *slot_;
    WriteSlot(slot_, replacement);
}

ImportPatch::~ImportPatch()
{
    if (slot_ != nullptr) WriteSlot(slot_, previous_);
}

bool ResolveImports(HMODULE module, std::initializer_list<Replacement> replacements)
{
    bool complete = true;
    VisitImports(module, [&](const char* library, const char* name, void** slot) {
        void* target = reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(library), name));
        for (const Replacement& replacement : replacements)
            if (std::strcmp(name, replacement.name) == 0) target = replacement.function;
        WriteSlot(slot, target);
        complete = complete && target != nullptr;
        return false;
    });
    return complete;
}
}  // namespace talv
