#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

// What differs between systems on the command line; posix/ and windows/ implement it.
namespace talv {
/// Makes standard input and output carry bytes as they are, writing to a closed pipe an error instead of a
/// signal, and Ctrl-C (or a polite request to end) a mark that Interrupted tells. The second one ends the
/// program.
void PrepareConsole();
bool Interrupted();
/// The arguments of main in UTF-8.
std::vector<std::string> ArgumentsInUtf8(int argc, char** argv);
/// The path that an argument in UTF-8 names; on Windows in the form that may be longer than 260 characters.
std::filesystem::path PathFromArgument(const std::string& argument);
std::FILE* OpenForReading(const std::filesystem::path& path);
std::FILE* OpenForWriting(const std::filesystem::path& path);  ///< an existing file becomes empty
/// A new, empty file of this user only in the system's temporary folder; an empty path when there can be
/// none.
std::filesystem::path MakeTemporaryFile();
/// Number of this process.
unsigned long ProcessNumber();

bool ErrorIsTerminal();
bool OutputIsTerminal();
/// True when standard output is a file, which nobody watches being written.
bool OutputIsFile();
/// Characters that fit on one line of standard output; 0 when that is not a terminal.
int OutputWidth();
/// Makes the terminal of standard output understand colours; false when it cannot.
bool PrepareColours();
}  // namespace talv
