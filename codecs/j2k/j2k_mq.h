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

/// Bytes that must lie behind a segment for the decoder to read ahead: two of 0xFF and any others.
constexpr size_t kMqPadding = 8;

/// What a refill changes.
struct MqSupply
{
    const uint8_t* next;
    MqWord code;
    int ahead;  ///< bits read ahead of the 16 active ones
};
MqSupply RefillMqBytes(MqSupply supply);

// Each file has its own copy of what follows: those for different levels must not share one.
namespace {
/// State `row` (0..46) with the more probable symbol 0.
inline MqContext MqInitialState(int row)
{
    return kMqStates.words[row * 8];
}

/// All ones or none; a compiler that knew where it comes from would make jumps of its uses.
inline MqWord MqMask(bool condition)
{
    MqWord mask = MqWord{0} - static_cast<MqWord>(condition);
    asm("" : "+r"(mask));
    return mask;
}

/// One decision before its renormalisation. All that depends on its outcome is selected without a jump: the
/// part of the interval, the exchange of symbols, the next state.
struct MqStep
{
    MqWord interval, code;
    MqContext context;

    uint32_t Take()
    {
        const MqContext state = context;
        const MqWord qe = state & kMqQeMask;
        const MqContext* row = kMqStates.words + (state & kMqRowMask);
        MqWord part = interval - qe, flip;
        // Below Qe lies the less probable part unless it is the larger one (T.800 C.3.2, conditional
        // exchange). Only a renormalisation moves the context on: then the top bit of the interval is clear.
#if defined(__x86_64__)
        MqWord lower;
        const MqWord old = code;
        MqContext next = row[1];
        asm("cmp %[qe], %[part]\n\t"
            "sbb %[flip], %[flip]\n\t"
            "sub %[qe], %[code]\n\t"
            "cmovb %[old], %[code]\n\t"
            "cmovb %[qe], %[part]\n\t"
            "sbb %[lower], %[lower]\n\t"
            "xor %[lower], %[flip]\n\t"
            "cmovnz %[other], %[next]\n\t"
            "test %[part], %[part]\n\t"
            "cmovs %[state], %[next]"
            : [code] "+&r"(code), [part] "+&r"(part), [lower] "=&r"(lower), [flip] "=&r"(flip),
              [next] "+&r"(next)
            : [qe] "r"(qe), [old] "r"(old), [state] "r"(state), [other] "m"(row[2])
            : "cc");
        context = next;
#else
        const MqWord lower = MqMask(code < qe);
        flip = MqMask(part < qe) ^ lower;
        part += (qe - part) & lower;
        code -= qe & ~lower;
        context = row[1 - flip - (part >> (kMqBelow + 15))];
#endif
        interval = part;
        return static_cast<uint32_t>((state ^ flip) & 1);
    }
};

/// MQ decoder (T.800 C.3) without branches on what it decodes: the chosen part of the interval, the exchange
/// of symbols, the renormalisation and the next state are all selected by arithmetic, so that a decision
/// costs the same whatever its outcome and the processor has nothing to guess.
class MqDecoder
{
  public:
    MqDecoder() = default;

    /// Starts a codeword segment. A byte that is not 0xFF lies before `data`, two bytes 0xFF and
    /// `kMqPadding` bytes in all behind its end.
    explicit MqDecoder(const uint8_t* data) : interval_(MqWord{0x8000} << kMqBelow)
    {
        Take(RefillMqBytes({data, 0, -15}));
    }

    uint32_t Decode(MqContext* context)
    {
        MqStep step{interval_, code_, *context};
        const uint32_t bit = step.Take();
        *context = step.context;
        const int shift = std::countl_zero(step.interval);
        interval_ = step.interval << shift;
        code_ = step.code << shift;
        ahead_ -= shift;
        if (ahead_ < 0) [[unlikely]]
            Refill();
        return bit;
    }

    /// The same for decisions that are nearly always the more probable one.
    uint32_t DecodeLikely(MqContext* context)
    {
        const MqContext state = *context;
        const MqWord qe = state & kMqQeMask;
        const MqWord upper = interval_ - qe;
        if (code_ >= qe && upper >> (kMqBelow + 15) != 0) [[likely]] {
            interval_ = upper;
            code_ -= qe;
            return static_cast<uint32_t>(state & 1);
        }
        return Decode(context);
    }

    /// Takes `count` (up to 16) decisions of one context at once if all are 0 and none renormalises; else
    /// takes none and returns false.
    bool PassZeros(MqContext context, int count)
    {
        const MqWord taken = (context >> kMqBelow) * static_cast<unsigned>(count);
        const MqWord spare = (interval_ >> kMqBelow) - 0x8000;
        if (taken > spare || taken > code_ >> kMqBelow || (context & 1) != 0) return false;
        interval_ -= taken << kMqBelow;
        code_ -= taken << kMqBelow;
        return true;
    }

  private:
    void Refill()
    {
        // Half a register at once unless a byte, or the one before, asks for bit stuffing.
        constexpr int kBytes = sizeof(MqWord) / 2;
        MqWord word = 0, inverse = 0;
        for (int i = 0; i < kBytes; ++i) word = word << 8 | next_[i];
        constexpr MqWord kLow = (MqWord{1} << 8 * kBytes) / 255;  // bit 0 of each byte
        inverse = ~word & ((MqWord{1} << 8 * kBytes) - 1);
        if (((inverse - kLow) & word & (kLow << 7)) == 0 && next_[-1] != 0xFF) {
            ahead_ += 8 * kBytes;
            code_ += word << (kMqBelow - ahead_);
            next_ += kBytes;
            return;
        }
        Take(RefillMqBytes({next_, code_, ahead_}));
    }

    void Take(const MqSupply& supply)
    {
        next_ = supply.next;
        code_ = supply.code;
        ahead_ = supply.ahead;
    }

    // Not as one MqSupply: a call that returned into it would keep them all in memory.
    MqWord interval_ = 0, code_ = 0;
    const uint8_t* next_ = nullptr;
    int ahead_ = 0;
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
}  // namespace
}  // namespace talv
