#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/memory.h"

// The frames of a clip are made and freed one after the other, all of one size. A fresh mapping for each
// costs a page fault for every 4096 bytes, several times the copying of the pixels; so the last few mappings
// that bitmaps gave back are kept and used again. Any thread may call; no call ever waits for another.

namespace talv {
inline constexpr size_t kMaxSpareMappings = 4;
inline constexpr uint64_t kMaxSpareBytes = uint64_t{64} << 20;

/// A mapping of exactly `size` bytes: a spare one of that size, zero-filled when `cleared`, or a new one. A
/// null view when there is no memory even without the spares.
MappedMemory TakeMapping(uint64_t size, bool cleared = true);
/// Takes over `mapping`. The oldest spares are released until the limits above hold; a mapping that is too
/// large by itself, or comes while another thread is at the list, is released at once.
void KeepSpareMapping(MappedMemory mapping);
/// Releases all of them.
void ReleaseSpareMappings();
/// Bytes of the spares kept now; 0 while another thread is at the list.
uint64_t SpareBytesKept();
}  // namespace talv
