#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace talv {
/// Bits below the 16 active bits of the arithmetic decoder's registers.
constexpr int kMqScale = 40;
constexpr int64_t kMqHalf = int64_t{0x8000} << kMqScale;

/// One row of the probability table (T.800 table C.2) for one sense of the more probable symbol.
struct MqState
{
    int64_t interval;        ///< Qe, scaled
    const MqState* next[2];  ///< after the more and after the less probable symbol
    int64_t symbol;          ///< the more probable symbol
};

/// State `row` (0..46) with the more probable symbol 0.
const MqState* MqInitialState(int row);

/// What a refill changes; passed by value so that the registers of a pass never need an address.
struct MqSupply
{
    const uint8_t* next;
    const uint8_t* end;
    int64_t code;
    int position;   ///< the next byte's top bit goes below this bit
    uint32_t last;  ///< the byte before `next`
};
MqSupply RefillMqBytes(MqSupply supply);

/// MQ decoder (T.800 C.3). The interval A and the code C are kept less `slack`, the distance both may still
/// shrink before a renormalisation or a less probable symbol is due: the frequent step is one subtraction and
/// one branch.
class MqDecoder
{
  public:
    MqDecoder() = default;
    MqDecoder(const uint8_t* data, size_t size)
    {
        supply_ = RefillMqBytes({data, data + size, 0, kMqScale + 15, 0});
        SplitSlack(kMqHalf, supply_.code);
    }

    uint32_t Decode(const MqState** context)
    {
        const MqState* state = *context;
        slack_ -= state->interval;
        if (slack_ >= 0) [[likely]]
            return static_cast<uint32_t>(state->symbol);
        const int64_t interval = interval_ + slack_;
        const int64_t code = supply_.code + slack_;
        // Below Qe lies the less probable part unless it is the larger one (T.800 C.3.2, conditional
        // exchange).
        const bool lower = code < 0;
        const bool exchange = interval < state->interval;
        const unsigned flip = static_cast<unsigned>(lower) ^ static_cast<unsigned>(exchange);
        *context = state->next[flip];
        const int64_t newInterval = lower ? state->interval : interval;
        const int64_t newCode = lower ? code + state->interval : code;
        const int shift = std::countl_zero(static_cast<uint64_t>(newInterval)) - (63 - kMqScale - 15);
        supply_.code = newCode << shift;
        supply_.position += shift;
        if (supply_.position > kMqScale) Refill();
        SplitSlack(newInterval << shift, supply_.code);
        return static_cast<uint32_t>(state->symbol) ^ flip;
    }

  private:
    void Refill()
    {
        // Four bytes at once unless one of them, or the one before, asks for bit stuffing.
        if (supply_.end - supply_.next >= 4 && supply_.last != 0xFF) {
            const uint32_t word = static_cast<uint32_t>(supply_.next[0]) << 24 |
                                  static_cast<uint32_t>(supply_.next[1]) << 16 |
                                  static_cast<uint32_t>(supply_.next[2]) << 8 | supply_.next[3];
            if (((~word - 0x01010101u) & word & 0x80808080u) == 0) {
                supply_.position -= 32;
                supply_.code += static_cast<int64_t>(word) << supply_.position;
                supply_.next += 4;
                supply_.last = 0;
                return;
            }
        }
        supply_ = RefillMqBytes(supply_);
    }

    void SplitSlack(int64_t interval, int64_t code)
    {
        slack_ = interval - kMqHalf < code ? interval - kMqHalf : code;
        interval_ = interval - slack_;
        supply_.code = code - slack_;
    }

    int64_t slack_ = 0;
    int64_t interval_ = 0;
    MqSupply supply_{};
};

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
