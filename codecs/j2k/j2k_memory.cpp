#include "codecs/j2k/j2k_memory.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <new>

#include "platform/lock.h"

namespace talv {
namespace {
constexpr size_t kKeptBytes = size_t{sizeof(void*) >= 8 ? 64u : 24u} << 20;
constexpr std::align_val_t kAlignment{64};

/// What is kept of the frames decoded before.
class KeptMemory
{
  public:
    ~KeptMemory()
    {
        for (const Piece& piece : pieces_) ::operator delete(piece.memory, kAlignment);
    }

    /// A piece of at least `bytes` and at most twice that; null when none is kept.
    void* Take(size_t bytes, size_t* size)
    {
        const std::lock_guard guard(lock_);
        for (Piece& piece : pieces_) {
            if (piece.memory == nullptr || piece.bytes < bytes || piece.bytes / 2 > bytes) continue;
            void* memory = piece.memory;
            *size = piece.bytes;
            kept_ -= piece.bytes;
            piece = {};
            return memory;
        }
        return nullptr;
    }

    /// Keeps a piece where the limit allows it; when the places are taken, the smallest one goes.
    void Give(void* memory, size_t bytes)
    {
        void* dropped = memory;
        {
            const std::lock_guard guard(lock_);
            Piece& place =
                *std::min_element(pieces_.begin(), pieces_.end(),
                                  [](const Piece& a, const Piece& b) { return a.bytes < b.bytes; });
            if (place.bytes < bytes && kept_ - place.bytes + bytes <= kKeptBytes) {
                dropped = place.memory;
                kept_ += bytes - place.bytes;
                place = {memory, bytes};
            }
        }
        ::operator delete(dropped, kAlignment);
    }

  private:
    struct Piece
    {
        void* memory = nullptr;
        size_t bytes = 0;
    };

    // Guards all below; held for a few instructions.
    Lock lock_;
    std::array<Piece, 8> pieces_;
    size_t kept_ = 0;
};

KeptMemory kept;
}  // namespace

void J2kMemoryReturn::operator()(void* memory) const noexcept
{
    kept.Give(memory, bytes);
}

J2kMemory TakeJ2kMemory(size_t bytes)
{
    size_t size = bytes;
    void* memory = kept.Take(bytes, &size);
    if (memory == nullptr) memory = ::operator new(size, kAlignment, std::nothrow);
    return J2kMemory(memory, J2kMemoryReturn{size});
}
}  // namespace talv
