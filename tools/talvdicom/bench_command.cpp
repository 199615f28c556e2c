#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <vector>

#include "filter/memory_sample.h"
#include "tools/talvdicom/commands.h"
#include "tools/talvdicom/console.h"
#include "tools/talvdicom/opened_file.h"
#include "tools/talvdicom/output.h"
#include "tools/talvdicom/progress.h"

namespace talv {
namespace {
using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// The smallest time that `percent` of all times do not exceed (nearest rank); `times` is sorted.
double Percentile(const std::vector<double>& times, size_t percent)
{
    if (times.empty()) return 0;
    return times[std::max<size_t>((times.size() * percent + 99) / 100, 1) - 1];
}
}  // namespace

int RunBench(const std::string& file, bool json)
{
    OpenedFile opened;
    const Clock::time_point start = Clock::now();
    if (!opened.OpenForFrames(file)) return Complain(file, opened.refusal);
    const double openMs = MillisecondsSince(start);

    const int64_t count = opened.FramesToDecode();
    MemorySample sample(opened.source.SampleSize());
    std::vector<double> times;
    Progress progress("frame", count);
    for (int64_t frame = 0; frame < count && !Interrupted(); ++frame) {
        const Clock::time_point frameStart = Clock::now();
        opened.source.ReadFrameIntoSample(&sample, frame);
        times.push_back(MillisecondsSince(frameStart));
        progress.Show(frame + 1);
    }
    progress.Clear();
    std::sort(times.begin(), times.end());
    const double median = Percentile(times, 50), p99 = Percentile(times, 99);
    const int64_t bytes = opened.source.SampleSize();
    const int32_t undecodable = opened.source.undecodableFrames;
    if (json) {
        const nlohmann::ordered_json answer = {
            {"openMs", openMs},  {"frames", count},        {"frameMsMedian", median},
            {"frameMsP99", p99}, {"bytesPerFrame", bytes}, {"undecodableFrames", undecodable},
        };
        Print("%s\n", answer.dump(2).c_str());
        return kDone;
    }
    Print("open           %10.3f ms\n", openMs);
    Print("frames         %10lld of %lld bytes\n", static_cast<long long>(count),
          static_cast<long long>(bytes));
    Print("frame, median  %10.3f ms\n", median);
    Print("frame, p99     %10.3f ms\n", p99);
    if (undecodable > 0) Print("undecodable    %10d\n", undecodable);
    return kDone;
}
}  // namespace talv
