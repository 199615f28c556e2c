#include "tools/talvdicom/printable.h"

#include <algorithm>
#include <cstdint>

namespace talv {
namespace {
constexpr uint32_t kInvalid = 0xFFFFFFFF;

/// Reads one character at `position` and moves on; kInvalid where the bytes are not UTF-8.
uint32_t NextCharacter(std::string_view text, size_t* position)
{
    const auto byteAt = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byteAt((*position)++);
    if (lead < 0x80) return lead;
    const int following = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - *position < size_t(following)) return kInvalid;
    uint32_t character = lead & (0x3F >> following);
    for (int i = 0; i < following; ++i) {
        const uint8_t next = byteAt((*position)++);
        if ((next & 0xC0) != 0x80) return kInvalid;
        character = character << 6 | (next & 0x3F);
    }
    return character;
}

bool IsUtf8(std::string_view text)
{
    for (size_t position = 0; position < text.size();)
        if (NextCharacter(text, &position) == kInvalid) return false;
    return true;
}
}  // namespace

std::string PrintableText(std::string_view text)
{
    const bool utf8 = IsUtf8(text);
    std::string printable;
    for (size_t position = 0; position < text.size();) {
        const size_t start = position;
        const uint32_t character =
            utf8 ? NextCharacter(text, &position) : static_cast<uint8_t>(text[position++]);
        const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
        if (control || (!utf8 && character >= 0x80))
            printable += '.';
        else
            printable += text.substr(start, position - start);
    }
    return printable;
}

std::string PrintableLines(std::string_view text)
{
    std::string lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines += PrintableText(text.substr(0, end)) + '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::vector<std::string> WrapText(const std::string& text, size_t characters)
{
    std::vector<std::string> lines;
    size_t start = 0;
    do {
        size_t end = start, blank = 0;  // of the line, and behind its last blank that may end it
        for (size_t i = 0; i < characters && end < text.size(); ++i) {
            const bool isBlank = text[end] == ' ';
            NextCharacter(text, &end);
            if (isBlank) blank = end;
        }
        if (end < text.size() && text[end] != ' ' && blank > start) end = blank;
        lines.push_back(text.substr(start, end - start));
        lines.back().erase(lines.back().find_last_not_of(' ') + 1);
        start = std::min(text.find_first_not_of(' ', end), text.size());
    } while (start < text.size());
    return lines;
}

std::string CutText(std::string text, size_t characters)
{
    size_t position = 0;
    for (size_t i = 0; i < characters; ++i) {
        if (position >= text.size()) return text;
        NextCharacter(text, &position);
    }
    if (position < text.size()) text.replace(position, std::string::npos, "...");
    return text;
}
}  // namespace talv
