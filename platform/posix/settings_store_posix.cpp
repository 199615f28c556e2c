// The machine-wide store as a table of this process: enough for the portable core and its tests to keep
// settings.

#include <strings.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/settings_store.h"

namespace talv {
namespace {
struct IgnoreCase
{
    bool operator()(const std::string& a, const std::string& b) const
    {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};
using Values = std::map<std::string, std::vector<uint8_t>, IgnoreCase>;

struct Store
{
    std::mutex mutex;  ///< guards `keys` and every value below it; taken by whoever reads or writes a setting
    std::map<std::string, Values, IgnoreCase> keys;  ///< keys are never removed, so their addresses last
};

Store& TheStore()
{
    static Store* const store =
        new Store;  // outlives every static object that may still write settings at exit
    return *store;
}

struct OpenKey
{
    Values* values;
    bool writable;
};

constexpr int32_t kErrorNotEnoughMemory = 8;
constexpr int32_t kErrorInvalidParameter = 87;
}  // namespace

bool SettingsKey::OpenForReading(const char* path)
{
    Close();
    if (path == nullptr) return false;
    try {
        Store& store = TheStore();
        const std::lock_guard lock(store.mutex);
        const auto found = store.keys.find(path);
        if (found == store.keys.end()) return false;
        key_ = new OpenKey{&found->second, false};
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

int32_t SettingsKey::Create(const char* path)
{
    Close();
    if (path == nullptr || *path == '\0') return kErrorInvalidParameter;
    try {
        Store& store = TheStore();
        const std::lock_guard lock(store.mutex);
        key_ = new OpenKey{&store.keys[path], true};
        return 0;
    } catch (const std::bad_alloc&) {
        return kErrorNotEnoughMemory;
    }
}

void SettingsKey::Close()
{
    delete static_cast<OpenKey*>(key_);
    key_ = nullptr;
}

bool SettingsKey::ReadBytes(const char* name, void* buffer, size_t count) const
{
    const auto* key = static_cast<const OpenKey*>(key_);
    if (key == nullptr || name == nullptr) return false;
    try {
        const std::lock_guard lock(TheStore().mutex);
        const auto found = key->values->find(name);
        if (found == key->values->end() || found->second.size() != count) return false;
        if (count != 0) std::memcpy(buffer, found->second.data(), count);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool SettingsKey::WriteBytes(const char* name, const void* bytes, size_t count)
{
    auto* key = static_cast<OpenKey*>(key_);
    if (key == nullptr || name == nullptr || !key->writable) return false;
    try {
        const auto* first = static_cast<const uint8_t*>(bytes);
        std::vector<uint8_t> value(first, first + count);
        const std::lock_guard lock(TheStore().mutex);
        (*key->values)[name] = std::move(value);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}
}  // namespace talv
