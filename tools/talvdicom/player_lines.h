#pragma once

#include <string>

#include "tools/talvdicom/video_writer.h"

namespace talv {
/// Command lines, ready to paste into a shell, that play or encode the stream of `file`, one a line.
std::string PlayerLines(const std::string& file, const StreamOptions& options, const VideoShape& shape);
}  // namespace talv
