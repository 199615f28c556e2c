#pragma once

#include <windows.h>

namespace talv {
/// Counts what keeps the library in memory: living component objects, worker threads and LockServer calls.
class ServerUse
{
  public:
    ServerUse() { InterlockedIncrement(&count_); }
    ~ServerUse() { InterlockedDecrement(&count_); }
    ServerUse(const ServerUse&) = delete;
    ServerUse& operator=(const ServerUse&) = delete;

    static void LockServer(bool lock)
    {
        if (lock)
            InterlockedIncrement(&count_);
        else
            InterlockedDecrement(&count_);
    }
    static bool MayUnload() { return InterlockedCompareExchange(&count_, 0, 0) == 0; }

  private:
    static inline LONG count_ = 0;
};

/// The handle under which the library was loaded; set at process attach.
inline HINSTANCE serverModule = nullptr;

/// A lock that cannot fail and is not recursive; made for std::lock_guard.
class Lock
{
  public:
    void lock() noexcept { AcquireSRWLockExclusive(&lock_); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&lock_); }
    /// Held by the caller: gives it up, waits for `changed` or the timeout (ms), and takes it again.
    void Wait(CONDITION_VARIABLE* changed, DWORD timeout) noexcept
    {
        SleepConditionVariableSRW(changed, &lock_, timeout, 0);
    }

  private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};
}  // namespace talv
