#include "raster/codec_binding.h"

#include <atomic>
#include <cstdio>
#include <thread>

#include "platform/module.h"

namespace talv {
namespace {
constexpr size_t kFormatCount = 2;

struct FormatEntry
{
    const char* word;
    int32_t missing;  ///< status when the host does not bring the codec along
    uint32_t useCount;
    CodecFunctions functions;
};

FormatEntry formats[kFormatCount] = {
    {"CMP", kRasterNoCmpCodec, 0, {}},
    {"FAX", kRasterNoFaxCodec, 0, {}},
};

void* (*findSymbol)(const char* decoratedName) = FindHostSymbol;

/// Guards `formats` and `findSymbol`. Taken for a table access or two look-ups at most, under no other lock.
class FormatLock
{
  public:
    FormatLock()
    {
        while (holders.fetch_add(1, std::memory_order_acquire) != 0) {
            holders.fetch_sub(1, std::memory_order_relaxed);
            std::this_thread::yield();
        }
    }
    ~FormatLock() { holders.fetch_sub(1, std::memory_order_release); }
    FormatLock(const FormatLock&) = delete;
    FormatLock& operator=(const FormatLock&) = delete;

  private:
    static std::atomic<int32_t> holders;
};
std::atomic<int32_t> FormatLock::holders{0};

FormatEntry* EntryOf(BoundCodec format)
{
    const auto index = static_cast<uint32_t>(format);
    return index < kFormatCount ? &formats[index] : nullptr;
}

CodecFunction LookUp(const char* pattern, const char* word)
{
    char name[32];
    std::snprintf(name, sizeof name, pattern, word);
    return reinterpret_cast<CodecFunction>(findSymbol(name));
}
}  // namespace

int32_t BindCodec(BoundCodec format)
{
    FormatEntry* entry = EntryOf(format);
    if (entry == nullptr) return kRasterInvalid;
    const FormatLock lock;
    if (entry->useCount == 0) {
        entry->functions.loadBuffer = LookUp("_fltLoadBuffer%s@36", entry->word);
        entry->functions.saveBuffer = LookUp("_fltSaveBuffer%s@36", entry->word);
        if (entry->functions.loadBuffer == nullptr || entry->functions.saveBuffer == nullptr) {
            entry->functions = {};
            return entry->missing;
        }
    }
    ++entry->useCount;
    return kRasterOk;
}

void UnbindCodec(BoundCodec format)
{
    FormatEntry* entry = EntryOf(format);
    if (entry == nullptr) return;
    const FormatLock lock;
    if (entry->useCount > 0 && --entry->useCount == 0) entry->functions = {};
}

void SetCodecLookUp(void* (*lookUp)(const char* decoratedName))
{
    const FormatLock lock;
    findSymbol = lookUp != nullptr ? lookUp : FindHostSymbol;
}

CodecFunctions GetBoundCodec(BoundCodec format)
{
    const FormatEntry* entry = EntryOf(format);
    if (entry == nullptr) return {};
    const FormatLock lock;
    return entry->functions;
}
}  // namespace talv
