#include <windows.h>

#include "platform/lock.h"

namespace talv {
namespace {
// Both begin as zeros (SRWLOCK_INIT, CONDITION_VARIABLE_INIT) and hold no resource.
static_assert(sizeof(SRWLOCK) <= sizeof(Lock) && sizeof(CONDITION_VARIABLE) <= sizeof(Condition));

SRWLOCK* Native(uint8_t* state)
{
    return reinterpret_cast<SRWLOCK*>(state);
}
CONDITION_VARIABLE* NativeCondition(uint8_t* state)
{
    return reinterpret_cast<CONDITION_VARIABLE*>(state);
}
}  // namespace

void Lock::lock() noexcept
{
    AcquireSRWLockExclusive(Native(state_));
}
void Lock::unlock() noexcept
{
    ReleaseSRWLockExclusive(Native(state_));
}

void Condition::Wait(Lock* lock) noexcept
{
    SleepConditionVariableSRW(NativeCondition(state_), Native(lock->state_), INFINITE, 0);
}
void Condition::WaitFor(Lock* lock, uint32_t milliseconds) noexcept
{
    SleepConditionVariableSRW(NativeCondition(state_), Native(lock->state_), milliseconds, 0);
}
void Condition::NotifyOne() noexcept
{
    WakeConditionVariable(NativeCondition(state_));
}
void Condition::NotifyAll() noexcept
{
    WakeAllConditionVariable(NativeCondition(state_));
}
}  // namespace talv
