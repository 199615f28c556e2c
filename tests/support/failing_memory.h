#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>

// operator new of a test program, made to fail once, at a chosen call of the thread. For one source of the
// program only: it replaces the library's.

namespace {
thread_local int32_t callsUntilFailure = -1;  // negative: never

void* TakeMemory(std::size_t size) noexcept
{
    if (callsUntilFailure >= 0 && callsUntilFailure-- == 0) return nullptr;
    return std::malloc(size != 0 ? size : 1);
}

void* TakeMemoryOrThrow(std::size_t size)
{
    void* block = TakeMemory(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
}  // namespace

// Out of line: one of a pair inlined beside a call of the other looks to the compiler as if they did not
// match.
// clang-format off
[[gnu::noinline]] void* operator new(std::size_t size) { return TakeMemoryOrThrow(size); }
[[gnu::noinline]] void* operator new[](std::size_t size) { return TakeMemoryOrThrow(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return TakeMemory(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return TakeMemory(size); }
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
// clang-format on

namespace talv {
namespace {
/// Runs `work` with its first, second, ... allocation failing until it needs no more; every failure must be
/// `noMemory` or, where there is a substitute, a success. Returns the allocations that were made to fail.
template <class Work>
int32_t FailEveryAllocation(int32_t noMemory, Work work)
{
    for (int32_t failures = 0;; ++failures) {
        callsUntilFailure = failures;
        const int32_t status = work();
        const bool reached = callsUntilFailure < 0;
        callsUntilFailure = -1;
        if (!reached) {
            EXPECT_GT(status, 0);
            return failures;
        }
        EXPECT_TRUE(status > 0 || status == noMemory) << "allocation " << failures << ": " << status;
    }
}
}  // namespace
}  // namespace talv
