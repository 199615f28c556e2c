#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/talvdicom/frame_ranges.h"
#include "tools/talvdicom/grey_view.h"

namespace talv {
/// Exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kWarningsFound = 3;  ///< by `check`
inline constexpr int kErrorsFound = 4;    ///< by `check`
inline constexpr int kInterrupted = 130;  ///< as shells say for Ctrl-C

struct DumpOptions
{
    bool fullValues = false, json = false;
    std::string find;  ///< a tag or a part of a name; empty: everything
};

struct FramesOptions
{
    std::string directory;
    bool raw = false, sixteenBits = false, overwrite = false;
    std::optional<int64_t> first, last;  ///< counted from 0; `last` is included
    FrameRanges ranges;
    WindowRule window;
};

enum class VideoFormat
{
    y4m,
    bgr24,
    rgb24,
    gray,
    gray16le,
};

struct StreamOptions
{
    VideoFormat format = VideoFormat::y4m;
    bool maxSpeed = false, sweep = false, quiet = false;
    int64_t loops = 1;  ///< 0: without end
    FrameRanges ranges;
    WindowRule window;
    std::string framesText, windowText;  ///< both as the user wrote them; empty when not given
};

struct CheckOptions
{
    bool json = false, quick = false;
};

// One function for each command: prints its answer on standard output and returns the exit status.
// `file` is a name in UTF-8, or "-" for standard input.
int RunInfo(const std::string& file, bool json);
int RunDump(const std::string& file, const DumpOptions& options);
int RunFrames(const std::string& file, const FramesOptions& options);
int RunStream(const std::string& file, const StreamOptions& options);
int RunCheck(const std::string& file, const CheckOptions& options);
int RunBench(const std::string& file, bool json);
}  // namespace talv
