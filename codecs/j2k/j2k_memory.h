#pragma once

#include <cstddef>
#include <memory>

namespace talv {
/// Gives a block back to where `TakeJ2kMemory` had it from.
struct J2kMemoryReturn
{
    size_t bytes = 0;
    void operator()(void* memory) const noexcept;
};
using J2kMemory = std::unique_ptr<void, J2kMemoryReturn>;

/// Memory of at least `bytes`, aligned to 64 and holding anything; null when there is none. What is given
/// back is kept up to a limit, for the next frame of a clip wants the same again. Any thread may call.
J2kMemory TakeJ2kMemory(size_t bytes);
}  // namespace talv
