// Room for exceptions and guards of static objects that needs no memory. The functions with names of the
// runtime take the place of its own ones: those of the C++ ABI (Itanium C++ ABI, 2.4.2 and 3.3.3) and the one
// through which GCC reaches variables of a thread.
#include "platform/windows/runtime_memory.h"

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>

#include "platform/lock.h"

namespace talv {
namespace {
// --- exceptions in flight

// The runtime's own header lies right before the thrown object; it is a little more than half of this.
constexpr size_t kHeader = 256;
constexpr size_t kRoom = 256;  // for the object itself; larger ones come from the heap only
constexpr int kSpares = 32;

struct alignas(16) Spare
{
    uint8_t bytes[kHeader + kRoom];
};
Spare spares[kSpares];
volatile LONG spareTaken[kSpares];

uint8_t* TakeSpare()
{
    for (int i = 0; i < kSpares; ++i)
        if (InterlockedCompareExchange(&spareTaken[i], 1, 0) == 0) return spares[i].bytes;
    return nullptr;
}

void* AllocateException(size_t size)
{
    auto* block = static_cast<uint8_t*>(std::malloc(kHeader + size));
    if (block == nullptr && size <= kRoom) block = TakeSpare();
    if (block == nullptr) std::terminate();
    std::memset(block, 0, kHeader);
    return block + kHeader;
}

void FreeException(void* object)
{
    uint8_t* const block = static_cast<uint8_t*>(object) - kHeader;
    const auto offset = reinterpret_cast<uintptr_t>(block) - reinterpret_cast<uintptr_t>(spares);
    if (offset < sizeof(spares))
        InterlockedExchange(&spareTaken[offset / sizeof(Spare)], 0);
    else
        std::free(block);
}

// --- what the runtime knows of a thread's exceptions

constexpr int kThreads = 64;
constexpr size_t kThreadBytes = 32;

// Rooms of 64 threads, found by the thread's number; more of them are made when these are taken.
struct ThreadRooms
{
    volatile LONG owners[kThreads];
    alignas(16) uint8_t bytes[kThreads][kThreadBytes];
    ThreadRooms* volatile next;
};
ThreadRooms firstRooms;

ThreadRooms* MoreRooms(ThreadRooms* last)
{
    auto* made =
        static_cast<ThreadRooms*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadRooms)));
    if (made == nullptr) std::abort();
    void* const other =
        InterlockedCompareExchangePointer(reinterpret_cast<void* volatile*>(&last->next), made, nullptr);
    if (other == nullptr) return made;
    HeapFree(GetProcessHeap(), 0, made);
    return static_cast<ThreadRooms*>(other);
}

uint8_t* FindRoom(LONG thread)
{
    for (ThreadRooms* rooms = &firstRooms; rooms != nullptr; rooms = rooms->next)
        for (int i = 0; i < kThreads; ++i)
            if (rooms->owners[i] == thread) return rooms->bytes[i];
    return nullptr;
}

uint8_t* TakeRoom(LONG thread)
{
    for (ThreadRooms* rooms = &firstRooms;; rooms = rooms->next != nullptr ? rooms->next : MoreRooms(rooms))
        for (int i = 0; i < kThreads; ++i)
            if (InterlockedCompareExchange(&rooms->owners[i], thread, 0) == 0) return rooms->bytes[i];
}

// --- static objects of functions

// The guard of such an object: its first byte tells that the object is made, the second that a thread is at
// it.
Lock guardLock;
Condition guardChanged;

void LeaveGuard(volatile uint8_t* guard, bool made)
{
    {
        const std::lock_guard held(guardLock);
        __atomic_store_n(&guard[0], static_cast<uint8_t>(made), __ATOMIC_RELEASE);
        guard[1] = 0;
    }
    guardChanged.NotifyAll();
}
}  // namespace

bool PrepareRuntime()
{
    // The first throw of all lets the runtime set up tables. They are small.
    void* const probe = std::malloc(1 << 16);
    if (probe == nullptr) return false;
    std::free(probe);
    try {
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
    }
    return true;
}

void ReleaseRuntimeOfThread()
{
    const auto thread = static_cast<LONG>(GetCurrentThreadId());
    for (ThreadRooms* rooms = &firstRooms; rooms != nullptr; rooms = rooms->next)
        for (int i = 0; i < kThreads; ++i)
            if (rooms->owners[i] == thread) {
                std::memset(rooms->bytes[i], 0, kThreadBytes);
                InterlockedExchange(&rooms->owners[i], 0);
            }
}

void ReleaseRuntime()
{
    ThreadRooms* rooms = firstRooms.next;
    firstRooms.next = nullptr;
    while (rooms != nullptr) {
        ThreadRooms* const next = rooms->next;
        HeapFree(GetProcessHeap(), 0, rooms);
        rooms = next;
    }
}
}  // namespace talv

extern "C" {
void* __cxa_allocate_exception(size_t size) noexcept
{
    return talv::AllocateException(size);
}
void __cxa_free_exception(void* object) noexcept
{
    talv::FreeException(object);
}
// A dependent exception is all header.
void* __cxa_allocate_dependent_exception() noexcept
{
    void* const block = talv::AllocateException(talv::kHeader);
    std::memset(block, 0, talv::kHeader);
    return block;
}
void __cxa_free_dependent_exception(void* object) noexcept
{
    talv::FreeException(object);
}

int __cxa_guard_acquire(volatile uint8_t* guard)
{
    const std::lock_guard held(talv::guardLock);
    while (guard[0] == 0 && guard[1] != 0) talv::guardChanged.Wait(&talv::guardLock);
    if (guard[0] != 0) return 0;
    guard[1] = 1;
    return 1;
}
void __cxa_guard_release(volatile uint8_t* guard) noexcept
{
    talv::LeaveGuard(guard, true);
}
void __cxa_guard_abort(volatile uint8_t* guard) noexcept
{
    talv::LeaveGuard(guard, false);
}

/// A variable that each thread has of its own, as GCC describes it. The only one of these builds is the
/// runtime's of two words.
struct ThreadVariable
{
    size_t size, alignment;
    void* unused;
    void* initial;
};
void* __emutls_get_address(const ThreadVariable* variable)
{
    if (variable->size > talv::kThreadBytes || variable->initial != nullptr) std::abort();
    const auto thread = static_cast<LONG>(GetCurrentThreadId());
    uint8_t* const known = talv::FindRoom(thread);
    return known != nullptr ? known : talv::TakeRoom(thread);
}
}
