#pragma once

#include <windows.h>

#include "filter/directshow/server_lock.h"

namespace talv {
/// What a pin's worker is told. `pause` sets sample production going, `stop` ends it, `exit` ends the thread.
enum class WorkerCommand
{
    none,
    pause,
    stop,
    exit,
};

/// A thread with a slot for one command. Send waits until the worker has taken the command, that is, until it
/// has left what it was doing. One thread at a time may call Start, Send and Join (the pin's worker lock sees
/// to it); the worker calls Wait and Pending. While the thread runs the library is not unloaded. The body may
/// end by deleting the object.
class WorkerThread
{
  public:
    using Body = void (*)(void* context);

    WorkerThread();
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    /// False when the system gives no thread or no event, and on the thread of a worker that has not ended.
    bool Start(Body body, void* context);
    /// True from Start to Join.
    bool Exists() const { return thread_ != nullptr && !leaving_; }
    bool IsCurrent() const { return thread_ != nullptr && GetCurrentThreadId() == threadId_; }
    /// Posts `command` and waits until it is taken; nothing happens when there is no thread.
    void Send(WorkerCommand command);
    /// Sends exit and waits for the end of the thread. The worker itself, called from downstream, cannot
    /// wait: it ends when it gets back here, and the next Start or the destructor waits for that.
    void Join();

    /// Worker: waits for a command and takes it.
    WorkerCommand Wait();
    /// Worker: whether a command waits to be taken; waits for one up to `milliseconds`.
    bool Pending(DWORD milliseconds = 0) const;

  private:
    static DWORD WINAPI Run(void* self);
    void Post(WorkerCommand command);
    void WaitForEnd();

    HANDLE thread_ = nullptr;
    DWORD threadId_ = 0;
    bool leaving_ = false;  ///< told to exit by itself
    HANDLE posted_;         ///< manual reset: a command is in the slot
    HANDLE taken_;          ///< auto reset: the worker has taken it
    volatile LONG command_ = 0;
    Body body_ = nullptr;
    void* context_ = nullptr;
};
}  // namespace talv
