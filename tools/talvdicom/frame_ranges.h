#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace talv {
/// Frames as users name them: first and last of each range, counted from 1. Empty: all.
using FrameRanges = std::vector<std::pair<int64_t, int64_t>>;

/// Reads "10-20,35,40-": an open end means the last frame. An error message, empty when `text` is good.
std::string ParseFrameRanges(const std::string& text, FrameRanges* ranges);

/// The frames of `ranges` that a clip of `count` frames has, counted from 0, in the order asked for.
std::vector<int64_t> SelectFrames(const FrameRanges& ranges, int64_t count);
}  // namespace talv
