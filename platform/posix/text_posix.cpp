#include <cstdint>

#include "platform/text.h"

namespace talv {
namespace {
constexpr char16_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendUtf8(uint32_t code, std::string* out)
{
    const auto tail = [&](int shift) { out->push_back(static_cast<char>(0x80 | ((code >> shift) & 0x3F))); };
    if (code < 0x80) {
        out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (code >> 6)));
        tail(0);
    } else if (code < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (code >> 12)));
        tail(6), tail(0);
    } else {
        out->push_back(static_cast<char>(0xF0 | (code >> 18)));
        tail(12), tail(6), tail(0);
    }
}

// Reads one code point at `*position` and moves on. An ill-formed sequence gives one U+FFFD for its longest
// well-formed beginning (Unicode 3.9, "maximal subpart").
uint32_t NextCodePoint(std::string_view text, size_t* position)
{
    const auto first = static_cast<uint8_t>(text[(*position)++]);
    if (first < 0x80) return first;
    if (first < 0xC2 || first > 0xF4) return kReplacement;
    const int tailCount = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    // The second byte's range is narrower after these, which keeps out overlong forms, surrogates and >
    // 10FFFF.
    uint8_t low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    uint8_t high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    uint32_t code = first & (0x3F >> tailCount);
    for (int i = 0; i < tailCount; ++i) {
        if (*position == text.size()) return kReplacement;
        const auto byte = static_cast<uint8_t>(text[*position]);
        if (byte < low || byte > high) return kReplacement;
        code = (code << 6) | (byte & 0x3F);
        ++*position;
        low = 0x80, high = 0xBF;
    }
    return code;
}
}  // namespace

bool NarrowFromWide(std::u16string_view wide, std::string* out)
{
    out->clear();
    for (size_t i = 0; i < wide.size(); ++i) {
        uint32_t code = wide[i];
        if (IsHighSurrogate(wide[i]) && i + 1 < wide.size() && IsLowSurrogate(wide[i + 1])) {
            code = 0x10000 + ((code - 0xD800) << 10) + (wide[i + 1] - 0xDC00u);
            ++i;
        } else if (IsHighSurrogate(wide[i]) || IsLowSurrogate(wide[i])) {
            out->clear();
            return false;
        }
        AppendUtf8(code, out);
    }
    return true;
}

std::u16string WideFromNarrow(std::string_view narrow)
{
    std::u16string wide;
    for (size_t position = 0; position < narrow.size();) {
        const uint32_t code = NextCodePoint(narrow, &position);
        if (code >= 0x10000) {
            wide.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
            wide.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            wide.push_back(static_cast<char16_t>(code));
        }
    }
    return wide;
}
}  // namespace talv
