#include <windows.h>

#include <limits>

#include "platform/text.h"

namespace talv {
namespace {
constexpr size_t kLongest = std::numeric_limits<int>::max();
}  // namespace

bool NarrowFromWide(std::u16string_view wide, std::string* out)
{
    out->clear();
    if (wide.empty()) return true;
    if (wide.size() > kLongest) return false;
    // A best fit would turn a character into one that merely looks like it, and so name another file.
    const bool isUtf8 = GetACP() == CP_UTF8;
    const DWORD flags = isUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    BOOL substituted = FALSE;
    BOOL* const substitution =
        isUtf8 ? nullptr : &substituted;  // that code page takes no substitution argument
    const auto* source = reinterpret_cast<const wchar_t*>(wide.data());
    const int count = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_ACP, flags, source, count, nullptr, 0, nullptr, substitution);
    if (length <= 0 || substituted) return false;
    out->resize(static_cast<size_t>(length));
    const int written =
        WideCharToMultiByte(CP_ACP, flags, source, count, out->data(), length, nullptr, substitution);
    if (written == length && !substituted) return true;
    out->clear();
    return false;
}

std::u16string WideFromNarrow(std::string_view narrow)
{
    std::u16string wide;
    if (narrow.empty() || narrow.size() > kLongest) return wide;
    const int count = static_cast<int>(narrow.size());
    const int length = MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, nullptr, 0);
    if (length <= 0) return wide;
    wide.resize(static_cast<size_t>(length));
    MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, reinterpret_cast<wchar_t*>(wide.data()), length);
    return wide;
}
}  // namespace talv
