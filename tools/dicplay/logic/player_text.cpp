#include "tools/dicplay/logic/player_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace talv {
namespace {
constexpr int64_t kSecond = 1'000'000'000;  // ns

template <class... Values>
std::string Format(const char* form, Values... values)
{
    char text[160];
    std::snprintf(text, sizeof(text), form, values...);
    return text;
}
}  // namespace

void RateMeter::Add(int64_t nanoseconds)
{
    times_[count_ % kKept] = nanoseconds;
    ++count_;
}

double RateMeter::PerSecond() const
{
    const auto have = static_cast<size_t>(std::min<uint64_t>(count_, kKept));
    if (have < 2) return 0;
    const int64_t newest = times_[(count_ - 1) % kKept];
    size_t back = 1;
    while (back + 1 < have && newest - times_[(count_ - 1 - back) % kKept] < kSecond) ++back;
    const int64_t span = newest - times_[(count_ - 1 - back) % kKept];
    return span > 0 ? static_cast<double>(back) * 1e9 / static_cast<double>(span) : 0;
}

std::string TimeText(int64_t units)
{
    const int64_t milliseconds = std::max<int64_t>(units, 0) / 10'000;
    const int64_t seconds = milliseconds / 1000, minutes = seconds / 60, hours = minutes / 60;
    if (hours > 0)
        return Format("%" PRId64 ":%02" PRId64 ":%02" PRId64 ".%03" PRId64, hours, minutes % 60, seconds % 60,
                      milliseconds % 1000);
    return Format("%" PRId64 ":%02" PRId64 ".%03" PRId64, minutes, seconds % 60, milliseconds % 1000);
}

std::string StatusText(const PlayerState& state, const StatusFacts& facts)
{
    if (state.frames == 0) return "";
    std::string text = Format("frame %" PRId64 " of %" PRId64, state.shown + 1, state.frames);
    text +=
        " | " + TimeText(state.shown * state.frameUnits) + " / " + TimeText(state.frames * state.frameUnits);
    if (state.frameUnits > 0) {
        const double wanted = 1e7 / static_cast<double>(state.frameUnits) * state.Speed();
        if (state.playing && facts.framesPerSecond > 0)
            text += Format(" | %.1f of %.1f fps", facts.framesPerSecond, wanted);
        else
            text += Format(" | %.1f fps", wanted);
    }
    if (state.speedStep != 0) text += Format(" | speed %g", state.Speed());
    if (state.loop) text += " | loop";
    if (facts.hasWindow) text += Format(" | C %.0f W %.0f", facts.center, facts.width);
    if (!state.playing) text += state.atEnd ? " | end" : " | paused";
    return text;
}
}  // namespace talv
