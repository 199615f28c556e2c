#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace talv {
/// What one frame may cost. A unit of work is a coefficient, a coding pass over 64 of them, or a packet.
class J2kBudget
{
  public:
    /// 32 MiB and 6 bytes per destination byte, on top of what the compressed bytes themselves justify;
    /// 64 units per destination sample and per compressed byte.
    J2kBudget(uint64_t frameBytes, uint64_t frameSamples, uint64_t sourceBytes)
        : memory_(static_cast<int64_t>((32u << 20) + 6 * frameBytes + 2 * sourceBytes)),
          work_(static_cast<int64_t>(64 * frameSamples + 64 * sourceBytes + 1000000))
    {}

    bool TakeMemory(uint64_t bytes)
    {
        return bytes <= INT64_MAX / 4 &&
               memory_.fetch_sub(static_cast<int64_t>(bytes)) >= static_cast<int64_t>(bytes);
    }
    void ReturnMemory(uint64_t bytes) { memory_.fetch_add(static_cast<int64_t>(bytes)); }
    bool TakeWork(uint64_t units)
    {
        return units <= INT64_MAX / 4 &&
               work_.fetch_sub(static_cast<int64_t>(units)) >= static_cast<int64_t>(units);
    }

  private:
    std::atomic<int64_t> memory_, work_;
};

/// Storage that is given back as a whole. Throws std::bad_alloc when memory or the budget is short.
class J2kArena
{
  public:
    explicit J2kArena(J2kBudget* budget) : budget_(budget) {}
    ~J2kArena() { budget_->ReturnMemory(taken_); }
    J2kArena(const J2kArena&) = delete;
    J2kArena& operator=(const J2kArena&) = delete;

    /// `count` zeroed elements of a trivial type.
    template <class T>
    T* Make(size_t count)
    {
        static_assert(alignof(T) <= 8);
        if (count > kMaxPiece / sizeof(T)) throw std::bad_alloc();
        return static_cast<T*>(Take((count * sizeof(T) + 7) & ~size_t{7}));
    }

  private:
    static constexpr size_t kMaxPiece = size_t{1} << 30, kBlock = size_t{1} << 16;

    void* Take(size_t bytes)
    {
        if (bytes > left_) {
            const size_t block = bytes > kBlock / 4 ? bytes : kBlock;
            if (!budget_->TakeMemory(block)) {
                budget_->ReturnMemory(block);
                throw std::bad_alloc();
            }
            taken_ += block;
            blocks_.push_back(std::make_unique<uint8_t[]>(block));
            if (block != kBlock) return blocks_.back().get();
            next_ = blocks_.back().get();
            left_ = block;
        }
        void* result = next_;
        next_ += bytes;
        left_ -= bytes;
        return result;
    }

    J2kBudget* budget_;
    std::vector<std::unique_ptr<uint8_t[]>> blocks_;
    uint8_t* next_ = nullptr;
    size_t left_ = 0;
    uint64_t taken_ = 0;
};
}  // namespace talv
