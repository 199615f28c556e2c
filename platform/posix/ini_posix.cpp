// INI files with the habits of the Windows profile calls: section and key names compare without regard to
// case, blanks around names and values do not count, one pair of quotes around a value is taken off, the
// first match wins.

#include <strings.h>

#include <new>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "platform/settings_store.h"

namespace talv {
namespace {
constexpr int64_t kLargestIniFile = 16 << 20;  // far above any real one, so a wrong file cannot cost memory

std::string_view Trim(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool SameName(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view Unquoted(std::string_view value)
{
    const bool quoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
    return quoted ? value.substr(1, value.size() - 2) : value;
}

bool ReadWholeFile(const File& file, std::string* text)
{
    const int64_t size = file.Size();
    if (size < 0 || size > kLargestIniFile) return false;
    text->resize(static_cast<size_t>(size));
    const int64_t got = file.ReadAt(0, text->data(), text->size());
    if (got < 0) return false;
    text->resize(static_cast<size_t>(got));
    return true;
}

// Where an entry stands in the text, or where it belongs.
struct Entry
{
    bool sectionFound = false;
    bool keyFound = false;
    size_t lineBegin = 0;  ///< of the entry; without one: where its line is to be inserted
    size_t lineEnd = 0;    ///< after the line's end mark
    std::string_view value;
};

Entry FindEntry(std::string_view text, std::string_view section, std::string_view key)
{
    Entry entry;
    entry.lineBegin = entry.lineEnd = text.size();
    bool inside = false;
    for (size_t begin = 0; begin < text.size();) {
        const size_t mark = text.find('\n', begin);
        const size_t end = mark == std::string_view::npos ? text.size() : mark + 1;
        const std::string_view line = Trim(text.substr(begin, end - begin));
        if (!line.empty() && line.front() == '[') {
            if (inside) break;
            inside = SameName(Trim(line.substr(1, line.find(']', 1) - 1)), section);
            entry.sectionFound = inside;
            if (inside) entry.lineBegin = entry.lineEnd = end;
        } else if (inside && !line.empty()) {
            const size_t equals = line.find('=');
            if (line.front() != ';' && equals != std::string_view::npos &&
                SameName(Trim(line.substr(0, equals)), key))
                return {true, true, begin, end, Unquoted(Trim(line.substr(equals + 1)))};
            entry.lineBegin = entry.lineEnd = end;
        }
        begin = end;
    }
    return entry;
}
}  // namespace

bool WriteIniText(const char* fileName, const char* section, const char* key, const char* text)
{
    try {
        File file = File::Open(fileName, kFileRead | kFileWrite);
        if (!file.IsOpen()) file = File::Open(fileName, kFileRead | kFileWrite | kFileCreate);
        std::string content;
        if (!file.IsOpen() || !ReadWholeFile(file, &content)) return false;
        const Entry entry = FindEntry(content, section, key);
        const bool continuesLine = entry.lineBegin > 0 && content[entry.lineBegin - 1] != '\n';
        std::string line = continuesLine ? "\r\n" : "";
        if (!entry.sectionFound) line += std::string("[") + section + "]\r\n";
        line += std::string(key) + '=' + text + "\r\n";
        content.replace(entry.lineBegin, entry.lineEnd - entry.lineBegin, line);
        return file.WriteAt(0, content.data(), content.size()) == static_cast<int64_t>(content.size()) &&
               file.Resize(content.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void ReadIniText(const char* fileName, const char* section, const char* key, const char* fallback,
                 char* buffer, size_t bufferSize)
{
    if (bufferSize == 0) return;
    std::string content;
    std::string_view value = fallback != nullptr ? fallback : "";
    try {
        const File file = File::Open(fileName, kFileRead);
        if (file.IsOpen() && ReadWholeFile(file, &content)) {
            const Entry entry = FindEntry(content, section, key);
            if (entry.keyFound) value = entry.value;
        }
    } catch (const std::bad_alloc&) {
        // The fallback stands.
    }
    buffer[value.copy(buffer, bufferSize - 1)] = '\0';
}
}  // namespace talv
