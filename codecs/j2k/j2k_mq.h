#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace talv {
/// A register of the machine. The arithmetic decoder's 16-bit registers lie in its top bits, what follows
/// below them are bits read ahead.
using MqWord = size_t;
constexpr int kMqBelow = static_cast<int>(8 * sizeof(MqWord)) - 16;

/// One context: Qe in the top 16 bits, the row of `kMqStates` it stands for in bits 2 to 8, the more probable
/// symbol in bit 0.
using MqContext = MqWord;
constexpr MqWord kMqQeMask = MqWord{0xFFFF} << kMqBelow;
constexpr MqWord kMqRowMask = 0x1FC;

/// Four words for each row of the probability table (T.800 table C.2) and sense of the more probable symbol:
/// the context itself, and what it becomes after the more and after the less probable symbol.
struct MqStates
{
    MqContext words[94 * 4];
};
extern const MqStates kMqStates;

/// State `row` (0..46) with the more probable symbol 0.
inline MqContext MqInitialState(int row)
{
    return kMqStates.words[row * 8];
}

/// What a refill changes; passed by value so that the registers of a pass never need an address.
struct MqSupply
{
    const uint8_t* next;
    MqWord code;
    int ahead;  ///< bits read ahead of the 16 active ones
};
MqSupply RefillMqBytes(MqSupply supply);

/// MQ decoder (T.800 C.3) without branches on what it decodes: the chosen part of the interval, the exchange
/// of symbols, the renormalisation and the next state are all selected by arithmetic, so that a decision
/// costs the same whatever its outcome and the processor has nothing to guess.
class MqDecoder
{
  public:
    MqDecoder() = default;

    /// Starts a codeword segment. A byte that is not 0xFF lies before `data`, two bytes 0xFF and
    /// `kMqPadding` bytes in all behind its end.
    explicit MqDecoder(const uint8_t* data) : supply_(RefillMqBytes({data, 0, -15}))
    {
        interval_ = MqWord{0x8000} << kMqBelow;
    }

    uint32_t Decode(MqContext* context)
    {
        const MqContext state = *context;
        const MqWord qe = state & kMqQeMask;
        const MqWord upper = interval_ - qe;
        const MqWord reduced = supply_.code - qe;
        // Below Qe lies the less probable part unless it is the larger one (T.800 C.3.2, conditional
        // exchange).
        const bool lower = __builtin_expect_with_probability(supply_.code < qe, 1, 0.5);
        const auto exchange = static_cast<MqWord>(upper < qe);
        const MqWord part = lower ? qe : upper;
        const MqWord code = lower ? supply_.code : reduced;
        const MqWord flip = static_cast<MqWord>(lower) ^ exchange;
        // Only a renormalisation moves the context on: then the top bit of the interval is clear.
        *context = kMqStates.words[(state & kMqRowMask) + 1 + flip - (part >> (kMqBelow + 15))];
        const int shift = std::countl_zero(part);
        interval_ = part << shift;
        supply_.code = code << shift;
        supply_.ahead -= shift;
        if (supply_.ahead < 0) [[unlikely]]
            Refill();
        return static_cast<uint32_t>((state ^ flip) & 1);
    }

    /// The same for decisions that are nearly always the more probable one.
    uint32_t DecodeLikely(MqContext* context)
    {
        const MqContext state = *context;
        const MqWord qe = state & kMqQeMask;
        const MqWord upper = interval_ - qe;
        if (supply_.code >= qe && upper >> (kMqBelow + 15) != 0) [[likely]] {
            interval_ = upper;
            supply_.code -= qe;
            return static_cast<uint32_t>(state & 1);
        }
        return Decode(context);
    }

  private:
    void Refill()
    {
        // Half a register at once unless a byte, or the one before, asks for bit stuffing.
        constexpr int kBytes = sizeof(MqWord) / 2;
        MqWord word = 0, inverse = 0;
        for (int i = 0; i < kBytes; ++i) word = word << 8 | supply_.next[i];
        constexpr MqWord kLow = (MqWord{1} << 8 * kBytes) / 255;  // bit 0 of each byte
        inverse = ~word & ((MqWord{1} << 8 * kBytes) - 1);
        if (((inverse - kLow) & word & (kLow << 7)) == 0 && supply_.next[-1] != 0xFF) {
            supply_.ahead += 8 * kBytes;
            supply_.code += word << (kMqBelow - supply_.ahead);
            supply_.next += kBytes;
            return;
        }
        supply_ = RefillMqBytes(supply_);
    }

    MqWord interval_ = 0;
    MqSupply supply_{};
};

/// Bytes that must lie behind a segment for the decoder to read ahead: two of 0xFF and any others.
constexpr size_t kMqPadding = 8;

/// Raw bits of the arithmetic-coding bypass (T.800 D.6): a stuffed 0 follows each 0xFF byte.
class RawBitReader
{
  public:
    RawBitReader() = default;
    RawBitReader(const uint8_t* data, size_t size) : next_(data), end_(data + size) {}

    uint32_t Bit()
    {
        if (left_ == 0) {
            const bool stuffed = current_ == 0xFF;
            current_ = next_ < end_ ? *next_++ : 0xFF;
            left_ = stuffed ? 7 : 8;
        }
        return current_ >> --left_ & 1;
    }

  private:
    const uint8_t* next_ = nullptr;
    const uint8_t* end_ = nullptr;
    uint32_t current_ = 0;
    int left_ = 0;
};
}  // namespace talv
