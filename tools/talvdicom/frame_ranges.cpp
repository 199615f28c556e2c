#include "tools/talvdicom/frame_ranges.h"

#include <algorithm>
#include <charconv>

namespace talv {
namespace {
/// Reads the number at `*at`, which moves behind it.
bool ReadFrame(const char** at, const char* end, int64_t* frame)
{
    const auto [next, error] = std::from_chars(*at, end, *frame);
    *at = next;
    return error == std::errc() && *frame >= 1;
}
}  // namespace

std::string ParseFrameRanges(const std::string& text, FrameRanges* ranges)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    const std::string wrong = "\"" + text + "\" is no list of frames like 10-20,35; the first is frame 1";
    ranges->clear();
    for (;;) {
        int64_t first = 0;
        if (at == end || *at == '-' || !ReadFrame(&at, end, &first)) return wrong;
        int64_t last = first;
        if (at != end && *at == '-') {
            ++at;
            if (at == end || *at == ',')
                last = INT64_MAX;
            else if (!ReadFrame(&at, end, &last) || last < first)
                return wrong;
        }
        ranges->emplace_back(first, last);
        if (at == end) return {};
        if (*at++ != ',') return wrong;
    }
}

std::vector<int64_t> SelectFrames(const FrameRanges& ranges, int64_t count)
{
    std::vector<int64_t> frames;
    const FrameRanges all = {{1, count}};
    for (const auto& [first, last] : ranges.empty() ? all : ranges)
        for (int64_t frame = first; frame <= std::min(last, count); ++frame) frames.push_back(frame - 1);
    return frames;
}
}  // namespace talv
