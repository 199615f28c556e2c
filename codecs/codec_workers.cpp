#include "codecs/codec_workers.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <system_error>

#include "platform/cpu.h"

namespace talv {
namespace {
constexpr unsigned kMaxThreads = 16;
constexpr int kLooks = 1000;  // some 20 microseconds

/// Looks for a moment whether what a thread waits for has come: the loops of a frame follow each other
/// closely, and to fall asleep and be woken takes longer than most gaps.
template <class Condition>
bool ComesSoon(Condition condition)
{
    for (int i = 0; i < kLooks; ++i) {
        if (condition()) return true;
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
    return false;
}

unsigned WantedThreads(unsigned asked)
{
    if (asked == 0) {
        const char* text = std::getenv("FLT_THREADS");
        asked = text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : 0;
    }
    if (asked == 0) asked = ProcessorCount();
    return std::clamp(asked, 1u, kMaxThreads);
}
}  // namespace

CodecWorkers::CodecWorkers(unsigned count) : count_(WantedThreads(count)) {}

CodecWorkers::~CodecWorkers()
{
    {
        const std::lock_guard guard(lock_);
        stop_ = true;
    }
    wake_.NotifyAll();
    for (std::thread& thread : threads_) thread.join();
}

void CodecWorkers::Start()
{
    started_ = true;
    try {
        threads_.reserve(count_ - 1);
        while (threads_.size() + 1 < count_) {
            const auto number = static_cast<unsigned>(threads_.size() + 1);
            threads_.emplace_back([this, number] { Serve(number); });
        }
    } catch (const std::system_error&) {  // no more threads: fewer do as well
    } catch (const std::bad_alloc&) {
    }
}

void CodecWorkers::Run(size_t count, const std::function<void(size_t, unsigned)>& work)
{
    if (count_ > 1 && count > 1 && !started_) Start();
    if (threads_.empty() || count < 2) {
        for (size_t i = 0; i < count; ++i) work(i, 0);
        return;
    }
    {
        const std::lock_guard guard(lock_);
        work_ = &work;
        workCount_ = count;
        next_ = 0;
        busy_ = static_cast<unsigned>(threads_.size());
        ++generation_;
    }
    wake_.NotifyAll();
    Drain(0);
    if (ComesSoon([this] { return busy_ == 0; })) return;
    const std::lock_guard guard(lock_);
    while (busy_ != 0) done_.Wait(&lock_);
}

void CodecWorkers::Drain(unsigned thread)
{
    for (size_t i = next_++; i < workCount_; i = next_++) (*work_)(i, thread);
}

void CodecWorkers::Serve(unsigned thread)
{
    unsigned seen = 0;
    const auto called = [&] { return stop_ || generation_ != seen; };
    for (;;) {
        ComesSoon(called);
        {
            const std::lock_guard guard(lock_);
            while (!called()) wake_.Wait(&lock_);
            if (stop_) return;
            seen = generation_;
        }
        Drain(thread);
        const std::lock_guard guard(lock_);
        if (--busy_ == 0) done_.NotifyOne();
    }
}
}  // namespace talv
