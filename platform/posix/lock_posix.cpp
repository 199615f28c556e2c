#include <pthread.h>
#include <time.h>

#include "platform/lock.h"

namespace talv {
namespace {
// A mutex and a condition of default attributes begin as zeros here and hold no resource.
static_assert(sizeof(pthread_mutex_t) <= sizeof(Lock) && sizeof(pthread_cond_t) <= sizeof(Condition));

pthread_mutex_t* Native(uint8_t* state)
{
    return reinterpret_cast<pthread_mutex_t*>(state);
}
pthread_cond_t* NativeCondition(uint8_t* state)
{
    return reinterpret_cast<pthread_cond_t*>(state);
}
}  // namespace

void Lock::lock() noexcept
{
    pthread_mutex_lock(Native(state_));
}
void Lock::unlock() noexcept
{
    pthread_mutex_unlock(Native(state_));
}

void Condition::Wait(Lock* lock) noexcept
{
    pthread_cond_wait(NativeCondition(state_), Native(lock->state_));
}
void Condition::WaitFor(Lock* lock, uint32_t milliseconds) noexcept
{
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    const int64_t nanoseconds = until.tv_nsec + int64_t{milliseconds % 1000} * 1'000'000;
    until.tv_sec += static_cast<time_t>(milliseconds / 1000 + nanoseconds / 1'000'000'000);
    until.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    pthread_cond_timedwait(NativeCondition(state_), Native(lock->state_), &until);
}
void Condition::NotifyOne() noexcept
{
    pthread_cond_signal(NativeCondition(state_));
}
void Condition::NotifyAll() noexcept
{
    pthread_cond_broadcast(NativeCondition(state_));
}
}  // namespace talv
