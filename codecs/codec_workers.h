#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

#include "platform/lock.h"

namespace talv {
/// Threads that share loops of one decoding call. They start with the first loop worth sharing and have ended
/// when the object is gone; where none can be started the caller does all the work.
class CodecWorkers
{
  public:
    /// `count` threads in all, the calling one included; 0 for one a processor. The environment variable
    /// FLT_THREADS sets the number where 0 is asked for.
    explicit CodecWorkers(unsigned count);
    ~CodecWorkers();
    CodecWorkers(const CodecWorkers&) = delete;
    CodecWorkers& operator=(const CodecWorkers&) = delete;

    /// Threads a loop may use, at least 1; thread numbers stay below it.
    unsigned Count() const { return count_; }

    /// Calls work(index, thread) for each index below `count`, in any order; returns when all are done.
    /// `work` must not throw.
    void Run(size_t count, const std::function<void(size_t, unsigned)>& work);

  private:
    void Start();
    void Serve(unsigned thread);
    void Drain(unsigned thread);

    unsigned count_;
    bool started_ = false;
    std::vector<std::thread> threads_;
    // `lock_` guards what follows; workers wait on `wake_`, the caller on `done_`.
    Lock lock_;
    Condition wake_, done_;
    const std::function<void(size_t, unsigned)>* work_ = nullptr;
    size_t workCount_ = 0;
    std::atomic<size_t> next_{0};
    // Written under the lock, read without it by those who look for a moment before they wait.
    std::atomic<unsigned> generation_{0}, busy_{0};
    std::atomic<bool> stop_{false};
};
}  // namespace talv
