#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <string>

#include "platform/module.h"

namespace talv {
namespace {
std::atomic<void*> rememberedModule{nullptr};

// "_fltLoadBufferCMP@36" -> "fltLoadBufferCMP"; a name that is not decorated stays as it is.
std::string PlainName(const char* decorated)
{
    const char* at = std::strrchr(decorated, '@');
    const bool isDecorated = decorated[0] == '_' && at != nullptr && at[1] != '\0' &&
                             at[1 + std::strspn(at + 1, "0123456789")] == '\0';
    return isDecorated ? std::string(decorated + 1, at) : std::string(decorated);
}

// The handle of the shared library that this code was linked into; of the main program when it is part of
// that.
void* ModuleOfThisCode()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&ModuleOfThisCode), &info) == 0 || info.dli_fname == nullptr)
        return dlopen(nullptr, RTLD_LAZY);
    void* module = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    return module != nullptr ? module : dlopen(nullptr, RTLD_LAZY);
}

void* FindSymbol(void* module, const char* decoratedName)
{
    if (module == nullptr || decoratedName == nullptr) return nullptr;
    return dlsym(module, PlainName(decoratedName).c_str());
}
}  // namespace

void RememberModule(void* moduleHandle)
{
    rememberedModule = moduleHandle;
}

void* FindModuleSymbol(const char* decoratedName)
{
    void* module = rememberedModule;
    if (module != nullptr) return FindSymbol(module, decoratedName);
    static void* const ownModule = ModuleOfThisCode();
    return FindSymbol(ownModule, decoratedName);
}

void* FindHostSymbol(const char* decoratedName)
{
    static void* const host = dlopen(nullptr, RTLD_LAZY);
    return FindSymbol(host, decoratedName);
}
}  // namespace talv
