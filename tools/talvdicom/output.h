#pragma once

#include <cstddef>
#include <string>

namespace talv {
enum class ColourChoice
{
    automatic,  ///< on a terminal, unless the user asks for none (NO_COLOR)
    always,
    never,
};
/// Decides for the whole run.
void ChooseColours(ColourChoice choice);

/// Terminal colours of words that stand out; empty texts where there are none.
struct TextStyle
{
    const char* tag = "";
    const char* name = "";
    const char* good = "";
    const char* warning = "";
    const char* error = "";
    const char* plain = "";  ///< ends each of them
};
/// Of standard output.
const TextStyle& OutputStyle();

// Standard output. A failed write is remembered; what comes after it is dropped.
bool WriteOutput(const void* bytes, size_t count);
bool WriteOutput(const std::string& text);
bool FlushOutput();
/// printf on standard output.
[[gnu::format(gnu_printf, 1, 2)]] bool Print(const char* format, ...);
/// A line of `indent`, `label` in `colour` padded to `labelWidth`, and `text`; on a terminal as many lines as
/// the text takes.
void PrintFact(const char* indent, const char* colour, const char* label, int labelWidth,
               const std::string& text);
/// True when writing failed, mostly because nobody reads any more: time to stop.
bool OutputEnded();
/// The exit status of a run that would end with `status`: 1, with a message, when standard output could not
/// take everything for another reason than a reader that has gone.
int FinishOutput(int status);

/// Writes `talvdicom: FILE: MESSAGE` as one line on standard error; returns kRefused.
int Complain(const std::string& file, const std::string& message);
/// Likewise without a file.
void Say(const std::string& message);
}  // namespace talv
