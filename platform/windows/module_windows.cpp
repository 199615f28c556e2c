#include <windows.h>

#include <atomic>

#include "platform/module.h"

namespace talv {
namespace {
std::atomic<void*> rememberedModule{nullptr};

HMODULE ModuleOfThisCode()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ModuleOfThisCode), &module);
    return module;
}

void* FindSymbol(HMODULE module, const char* decoratedName)
{
    if (module == nullptr || decoratedName == nullptr) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(module, decoratedName));
}
}  // namespace

void RememberModule(void* moduleHandle)
{
    rememberedModule = moduleHandle;
}

void* FindModuleSymbol(const char* decoratedName)
{
    void* module = rememberedModule;
    return FindSymbol(module != nullptr ? static_cast<HMODULE>(module) : ModuleOfThisCode(), decoratedName);
}

void* FindHostSymbol(const char* decoratedName)
{
    return FindSymbol(GetModuleHandleW(nullptr), decoratedName);
}
}  // namespace talv
