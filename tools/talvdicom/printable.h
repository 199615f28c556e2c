#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talv {
/// `text` safe for a terminal: control characters become dots, and so does every byte beyond ASCII unless the
/// whole text is valid UTF-8.
std::string PrintableText(std::string_view text);

/// Likewise line by line.
std::string PrintableLines(std::string_view text);

/// `text` in lines of at most `characters`, broken at blanks where there are any.
std::vector<std::string> WrapText(const std::string& text, size_t characters);
/// The first `characters` characters of printable text, with "..." when there are more.
std::string CutText(std::string text, size_t characters);
}  // namespace talv
