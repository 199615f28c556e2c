#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/dicplay/logic/player_state.h"

namespace talv {
/// Frames per second over the last second or so of arrivals.
class RateMeter
{
  public:
    /// `nanoseconds` of a clock that never goes back.
    void Add(int64_t nanoseconds);
    void Reset() { count_ = 0; }
    /// 0 with fewer than two arrivals.
    double PerSecond() const;

  private:
    static constexpr size_t kKept = 64;
    int64_t times_[kKept] = {};  ///< a ring
    uint64_t count_ = 0;
};

/// A time of 100-ns units as minutes, seconds and milliseconds, "1:02.040"; hours in front where there are
/// any.
std::string TimeText(int64_t units);

struct StatusFacts
{
    double framesPerSecond = 0;  ///< really shown
    bool hasWindow = false;
    double center = 0, width = 0;
};
/// The line under the picture: "frame 12 of 60 | 0:00.440 / 0:02.400 | 24.9 of 25.0 fps | ...".
std::string StatusText(const PlayerState& state, const StatusFacts& facts);
}  // namespace talv
