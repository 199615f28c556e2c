#include "platform/windows/file_name.h"

#include <array>

namespace talv {
namespace {
bool IsSeparator(char16_t c)
{
    return c == u'\\' || c == u'/';
}

char16_t Upper(char16_t c)
{
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool EqualIgnoringCase(std::u16string_view text, std::u16string_view upperCase)
{
    if (text.size() != upperCase.size()) return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (Upper(text[i]) != upperCase[i]) return false;
    return true;
}

// The system takes the part before the first dot and drops blanks behind it: "nul .txt" is the null device.
bool IsDeviceName(std::u16string_view component)
{
    component = component.substr(0, component.find(u'.'));
    while (!component.empty() && component.back() == u' ') component.remove_suffix(1);
    constexpr std::array<std::u16string_view, 6> kDevices = {u"CON", u"PRN",    u"AUX",
                                                             u"NUL", u"CONIN$", u"CONOUT$"};
    for (const std::u16string_view device : kDevices)
        if (EqualIgnoringCase(component, device)) return true;
    // Ports are numbered 1 to 9; the superscript digits 1 to 3 count too.
    if (component.size() != 4) return false;
    const char16_t digit = component[3];
    const bool numbered = (digit >= u'1' && digit <= u'9') || digit == 0xB9 || digit == 0xB2 || digit == 0xB3;
    const std::u16string_view port = component.substr(0, 3);
    return numbered && (EqualIgnoringCase(port, u"COM") || EqualIgnoringCase(port, u"LPT"));
}
}  // namespace

bool NamesDiskFile(std::u16string_view name)
{
    constexpr std::u16string_view kLongPathPrefix = u"\\\\?\\";
    if (name.starts_with(kLongPathPrefix)) {
        // Behind this prefix lies the device name space too; only a drive letter leads to a disk for certain.
        name.remove_prefix(kLongPathPrefix.size());
        if (name.size() < 3 || name[1] != u':' || name[2] != u'\\') return false;
    } else if (name.size() >= 4 && IsSeparator(name[0]) && IsSeparator(name[1]) &&
               (name[2] == u'.' || name[2] == u'?') && IsSeparator(name[3])) {
        return false;
    } else if (name.starts_with(u"\\??\\")) {
        return false;
    }
    if (name.empty()) return false;
    const size_t colon = name.find(u':', name.size() >= 2 && name[1] == u':' ? 2 : 0);
    if (colon != std::u16string_view::npos || name.find_first_of(u"*?\"<>|") != std::u16string_view::npos)
        return false;
    size_t last = name.size();
    while (last > 0 && !IsSeparator(name[last - 1]) && name[last - 1] != u':') --last;
    return !IsDeviceName(name.substr(last));
}
}  // namespace talv
