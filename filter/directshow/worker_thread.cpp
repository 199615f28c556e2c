#include "filter/directshow/worker_thread.h"

#include <objbase.h>

namespace talv {
namespace {
// Downstream's filters run on this stack too, and the host's own choice may be a small one.
constexpr SIZE_T kStackSize = 1 << 20;
}  // namespace

WorkerThread::WorkerThread()
    : posted_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      taken_(CreateEventW(nullptr, FALSE, FALSE, nullptr))
{}

WorkerThread::~WorkerThread()
{
    if (IsCurrent())
        CloseHandle(thread_);  // the worker ends its own object, as the last thing it does
    else
        Join();
    if (posted_ != nullptr) CloseHandle(posted_);
    if (taken_ != nullptr) CloseHandle(taken_);
}

bool WorkerThread::Start(Body body, void* context)
{
    if (leaving_ && !IsCurrent()) WaitForEnd();
    if (thread_ != nullptr || posted_ == nullptr || taken_ == nullptr) return false;
    // A command left from an earlier worker must not be the first one that this worker takes.
    command_ = static_cast<LONG>(WorkerCommand::none);
    ResetEvent(posted_);
    ResetEvent(taken_);
    body_ = body;
    context_ = context;
    thread_ = CreateThread(nullptr, kStackSize, &WorkerThread::Run, this, STACK_SIZE_PARAM_IS_A_RESERVATION,
                           &threadId_);
    return thread_ != nullptr;
}

DWORD WINAPI WorkerThread::Run(void* self)
{
    // A library that may be unloaded must not go while the thread's last steps are in it.
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&WorkerThread::Run),
                       &library);
    {
        const ServerUse keepsLibrary;
        auto* worker = static_cast<WorkerThread*>(self);
        // Downstream filters expect a streaming thread to be able to call components.
        const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        worker->body_(worker->context_);  // may have deleted the worker
        if (SUCCEEDED(hr)) CoUninitialize();
    }
    if (library != nullptr) FreeLibraryAndExitThread(library, 0);
    return 0;
}

void WorkerThread::Post(WorkerCommand command)
{
    InterlockedExchange(&command_, static_cast<LONG>(command));
    SetEvent(posted_);
}

void WorkerThread::Send(WorkerCommand command)
{
    if (!Exists()) return;
    Post(command);
    const HANDLE either[] = {taken_, thread_};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
}

void WorkerThread::Join()
{
    if (thread_ == nullptr) return;
    if (IsCurrent()) {
        leaving_ = true;
        Post(WorkerCommand::exit);
        return;
    }
    if (!leaving_) Send(WorkerCommand::exit);
    WaitForEnd();
}

void WorkerThread::WaitForEnd()
{
    WaitForSingleObject(thread_, INFINITE);
    CloseHandle(thread_);
    thread_ = nullptr;
    threadId_ = 0;
    leaving_ = false;
}

WorkerCommand WorkerThread::Wait()
{
    WaitForSingleObject(posted_, INFINITE);
    ResetEvent(posted_);
    const LONG command = InterlockedExchange(&command_, static_cast<LONG>(WorkerCommand::none));
    SetEvent(taken_);
    return static_cast<WorkerCommand>(command);
}

bool WorkerThread::Pending(DWORD milliseconds) const
{
    return WaitForSingleObject(posted_, milliseconds) == WAIT_OBJECT_0;
}
}  // namespace talv
