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

// --- variables that each thread has of its own: what the runtime knows of a thread's exceptions

/// Such a variable as GCC describes it.
struct ThreadVariable
{
    size_t size, alignment;
    void* unused;
    const void* initial;  // null: zeros
};

constexpr int kRooms = 64;
constexpr size_t kRoomBytes = 32;

// 64 rooms, each for one variable of one thread; more of them are made when these are taken. Only the owner
// reads what belongs to a room, so its number alone is shared.
struct ThreadRooms
{
    volatile LONG owners[kRooms];
    const ThreadVariable* variables[kRooms];
    alignas(16) uint8_t bytes[kRooms][kRoomBytes];
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

uint8_t* FindRoom(LONG thread, const ThreadVariable* variable)
{
    for (ThreadRooms* rooms = &firstRooms; rooms != nullptr; rooms = rooms->next)
        for (int i = 0; i < kRooms; ++i)
            if (rooms->owners[i] == thread && rooms->variables[i] == variable) return rooms->bytes[i];
    return nullptr;
}

uint8_t* TakeRoom(LONG thread, const ThreadVariable* variable)
{
    for (ThreadRooms* rooms = &firstRooms;; rooms = rooms->next != nullptr ? rooms->next : MoreRooms(rooms))
        for (int i = 0; i < kRooms; ++i)
            if (InterlockedCompareExchange(&rooms->owners[i], thread, 0) == 0) {
                rooms->variables[i] = variable;
                if (variable->initial != nullptr)
                    std::memcpy(rooms->bytes[i], variable->initial, variable->size);
                return rooms->bytes[i];
            }
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
        for (int i = 0; i < kRooms; ++i)
            if (rooms->owners[i] == thread) {
                std::memset(rooms->bytes[i], 0, kRoomBytes);
                rooms->variables[i] = nullptr;
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

void* __emutls_get_address(const talv::ThreadVariable* variable)
{
    if (variable->size > talv::kRoomBytes || variable->alignment > 16) std::abort();
    const auto thread = static_cast<LONG>(GetCurrentThreadId());
    uint8_t* const known = talv::FindRoom(thread, variable);
    return known != nullptr ? known : talv::TakeRoom(thread, variable);
}
}
