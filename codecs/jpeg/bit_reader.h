#pragma once

#include <cstdint>
#include <cstring>

namespace talv::jpeg {
/// Bits of an entropy-coded segment (T.81 F.2.2.5), most significant first. Stuffed zero bytes are removed;
/// at a marker or at the end of the data the reader stops and supplies zero bits, which `Overrun` tells from
/// real ones.
struct BitReader
{
    const uint8_t* next = nullptr;   ///< first byte that is not in the reservoir
    const uint8_t* clean = nullptr;  ///< up to here there is no 0xFF, and `next` has not passed it
    const uint8_t* end = nullptr;
    uint64_t bits = 0;   ///< unread bits, the first one on top; below `count` there may be bits of `next`
    int count = 0;       ///< unread bits, 63 at most
    int64_t padded = 0;  ///< zero bits supplied past the end, all at the bottom of the reservoir

    void Start(const uint8_t* from, const uint8_t* to)
    {
        *this = BitReader{};
        next = clean = from;
        end = to;
    }

    /// Some of the bits that were read did not exist.
    bool Overrun() const { return padded > count; }

    /// Runs a call that is not inlined on a copy, field by field: else the compiler would keep the reader in
    /// memory all the time.
    template <typename Call>
    inline __attribute__((always_inline)) auto OnCopy(Call call)
    {
        struct WriteBack
        {
            BitReader copy;
            BitReader* to;
            inline __attribute__((always_inline)) ~WriteBack()
            {
                to->next = copy.next;
                to->clean = copy.clean;
                to->end = copy.end;
                to->bits = copy.bits;
                to->count = copy.count;
                to->padded = copy.padded;
            }
        } work;
        work.copy.next = next;
        work.copy.clean = clean;
        work.copy.end = end;
        work.copy.bits = bits;
        work.copy.count = count;
        work.copy.padded = padded;
        work.to = this;
        return call(work.copy);
    }

    /// At least 56 bits.
    inline __attribute__((always_inline)) void Refill()
    {
        if (clean - next >= 8) [[likely]] {
            uint64_t word;
            std::memcpy(&word, next, 8);
            bits |= __builtin_bswap64(word) >> count;
            next += (63 - count) >> 3;
            count |= 56;
            return;
        }
        OnCopy([](BitReader& copy) { copy.RefillBytes(); });
    }

    inline __attribute__((always_inline)) uint32_t Peek(int n) const
    {
        return static_cast<uint32_t>(bits >> (64 - n));
    }
    inline __attribute__((always_inline)) void Skip(int n)
    {
        bits <<= n;
        count -= n;
    }
    /// The next `n` bits, 0 to 16; there must be that many.
    inline __attribute__((always_inline)) uint32_t Take(int n)
    {
        const uint32_t value = static_cast<uint32_t>(bits >> 1 >> (63 - n));
        Skip(n);
        return value;
    }

    __attribute__((noinline)) void RefillBytes();
    /// Leaves the rest of the segment unread: only zero bits follow.
    void Abandon()
    {
        end = clean = next;
        bits = 0;
        count = 0;
        padded = 1;
    }
};

/// The value of `n` extra bits (T.81 F.2.2.1, EXTEND): 2 bits 00, 01, 10, 11 -> -3, -2, 2, 3. `n` is 0 to 16.
inline int32_t Extend(uint32_t value, int n)
{
    if (n == 0) return 0;
    return value >> (n - 1) != 0 ? static_cast<int32_t>(value)
                                 : static_cast<int32_t>(value) - static_cast<int32_t>((1u << n) - 1);
}
}  // namespace talv::jpeg
