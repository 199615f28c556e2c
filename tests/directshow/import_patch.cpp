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

// The place in the import table through which the module calls `name`; null when there is none.
void** FindSlot(HMODULE module, const char* name)
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
            if (std::strcmp(reinterpret_cast<const char*>(named->Name), name) == 0) return slot;
        }
    }
    return nullptr;
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
}  // namespace talv
