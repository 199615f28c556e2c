#include "tools/talvdicom/progress.h"

#include <cstdio>
#include <utility>

#include "platform/clock.h"
#include "tools/talvdicom/console.h"

namespace talv {
namespace {
constexpr uint32_t kRedrawMs = 100;
}

Progress::Progress(std::string what, int64_t total)
    : what_(std::move(what)), total_(total), visible_(ErrorIsTerminal()), lastDraw_(TickCount())
{}

Progress::~Progress()
{
    Clear();
}

void Progress::Show(int64_t done)
{
    if (!visible_ || TickCount() - lastDraw_ < kRedrawMs) return;
    lastDraw_ = TickCount();
    std::fprintf(stderr, "\r%s %lld of %lld", what_.c_str(), static_cast<long long>(done),
                 static_cast<long long>(total_));
    std::fflush(stderr);
    drawn_ = true;
}

void Progress::Clear()
{
    if (drawn_) std::fprintf(stderr, "\r%*s\r", static_cast<int>(what_.size()) + 44, "");
    drawn_ = false;
}
}  // namespace talv
