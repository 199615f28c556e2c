#include "codecs/j2k/j2k_workers.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

#include "platform/cpu.h"

namespace talv {
namespace {
constexpr unsigned kMaxThreads = 16;

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

J2kWorkers::J2kWorkers(unsigned count) : count_(WantedThreads(count)) {}

J2kWorkers::~J2kWorkers()
{
    if (threads_.empty()) return;  // a first lock may need memory, and there may be none
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void J2kWorkers::Start()
{
    started_ = true;
    try {
        threads_.reserve(count_ - 1);
        const std::lock_guard ready(mutex_);  // the first lock may fail, later ones do not
        while (threads_.size() + 1 < count_) {
            const auto number = static_cast<unsigned>(threads_.size() + 1);
            threads_.emplace_back([this, number] { Serve(number); });
        }
    } catch (const std::system_error&) {  // no more threads: fewer do as well
    } catch (const std::bad_alloc&) {
    }
}

void J2kWorkers::Run(size_t count, const std::function<void(size_t, unsigned)>& work)
{
    if (count_ > 1 && count > 1 && !started_) Start();
    if (threads_.empty() || count < 2) {
        for (size_t i = 0; i < count; ++i) work(i, 0);
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        work_ = &work;
        workCount_ = count;
        next_ = 0;
        busy_ = static_cast<unsigned>(threads_.size());
        ++generation_;
    }
    wake_.notify_all();
    Drain(0);
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return busy_ == 0; });
}

void J2kWorkers::Drain(unsigned thread)
{
    for (size_t i = next_++; i < workCount_; i = next_++) (*work_)(i, thread);
}

void J2kWorkers::Serve(unsigned thread)
{
    unsigned seen = 0;
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [&] { return stop_ || generation_ != seen; });
        if (stop_) return;
        seen = generation_;
        lock.unlock();
        Drain(thread);
        lock.lock();
        if (--busy_ == 0) done_.notify_one();
    }
}
}  // namespace talv
