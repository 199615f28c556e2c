#pragma once

#include <cstdint>

namespace talv {
class Condition;

/// A lock that cannot fail, needs no memory and is not recursive; made for std::lock_guard. The standard
/// library's may ask for memory at its first use and end the process, which is the host's, where there is
/// none.
class Lock
{
  public:
    constexpr Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    void lock() noexcept;
    void unlock() noexcept;

  private:
    friend class Condition;
    alignas(8) uint8_t state_[48] = {};  // the system's own lock, which begins as zeros
};

/// What threads wait for that hold a Lock. Needs no memory either.
class Condition
{
  public:
    constexpr Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    /// Gives the held `lock` up, waits, and takes it again. May come back without a reason.
    void Wait(Lock* lock) noexcept;
    /// The same for `milliseconds` at most.
    void WaitFor(Lock* lock, uint32_t milliseconds) noexcept;
    void NotifyOne() noexcept;
    void NotifyAll() noexcept;

  private:
    alignas(8) uint8_t state_[48] = {};
};
}  // namespace talv
