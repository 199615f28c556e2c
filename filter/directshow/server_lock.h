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
}  // namespace talv
