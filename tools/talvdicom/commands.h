#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace talv {
/// Exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongUsage = 2;

/// Frames are counted from 0; `last` is included.
struct FramesOptions
{
    std::string directory;
    bool raw = false;
    std::optional<int64_t> first, last;
};

// One function for each command: prints its answer on standard output and returns the exit status.
// `file` is an argument of main as it came.
int RunInfo(const std::string& file, bool json);
int RunDump(const std::string& file, bool fullValues);
int RunFrames(const std::string& file, const FramesOptions& options);
int RunStream(const std::string& file);
int RunBench(const std::string& file, bool json);

/// Writes `talvdicom: FILE: MESSAGE` as one line on standard error; returns kRefused.
int Complain(const std::string& file, const std::string& message);
}  // namespace talv
