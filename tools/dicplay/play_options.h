#pragma once

#include <string>

namespace talv {
struct PlayOptions
{
    std::wstring file;      ///< may be empty in a window
    std::wstring server;    ///< path of the component's file; empty: the registered one
    std::wstring snapshot;  ///< BMP file to write the last frame to
    bool null = false;      ///< no window
    bool noClock = false;   ///< as fast as frames decode
    bool loop = false;
    bool hold = false;  ///< as without it; older scripts say so
    bool exit = false;  ///< close the window at the end
    bool quiet = false;
    bool properties = false;  ///< show the property pages first
    bool logSamples = false;
};

/// Reads the command line; false, with a message printed, when it is wrong.
bool ReadOptions(PlayOptions* options);
void PrintUsage();
}  // namespace talv
