#pragma once

#include <filesystem>
#include <string>

// What differs between systems on the command line; posix/ and windows/ implement it.
namespace talv {
/// Makes standard output carry bytes as they are, and writing to a closed pipe an error instead of a signal.
void PrepareConsole();
bool ErrorIsTerminal();
/// Characters that fit on one line of standard output; 0 when that is not a terminal.
int OutputWidth();
/// True when standard output is a terminal that shows colour and the user has not asked for none (NO_COLOR).
bool OutputShowsColour();
/// The path that an argument of main names.
std::filesystem::path PathFromArgument(const std::string& argument);
}  // namespace talv
