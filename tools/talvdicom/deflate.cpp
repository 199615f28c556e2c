#include "tools/talvdicom/deflate.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace talv {
namespace {
constexpr size_t kMinMatch = 4;  // the format allows 3; four bytes make one hash word
constexpr size_t kMaxMatch = 258;
constexpr size_t kWindow = 32768;
constexpr uint32_t kEndOfBlock = 256;
constexpr int kHashBits = 15;

/// Bits of a deflate stream: the first bit goes to the lowest place of a byte (RFC 1951 3.1.1).
class BitWriter
{
  public:
    explicit BitWriter(std::vector<uint8_t>* out) : out_(out) {}
    void Put(uint32_t bits, int count)
    {
        held_ |= uint64_t{bits} << heldCount_;
        for (heldCount_ += count; heldCount_ >= 8; heldCount_ -= 8, held_ >>= 8)
            out_->push_back(static_cast<uint8_t>(held_));
    }
    /// Huffman codes are packed from their highest bit on.
    void PutCode(uint32_t code, int count)
    {
        uint32_t reversed = 0;
        for (int i = 0; i < count; ++i) reversed |= (code >> i & 1) << (count - 1 - i);
        Put(reversed, count);
    }
    void Flush()
    {
        if (heldCount_ > 0) Put(0, 8 - heldCount_);
    }

  private:
    std::vector<uint8_t>* out_;
    uint64_t held_ = 0;
    int heldCount_ = 0;
};

/// A literal byte, the end of the block or a length code, by the fixed code (RFC 1951 3.2.6).
void PutSymbol(BitWriter* bits, uint32_t symbol)
{
    if (symbol < 144) return bits->PutCode(0x30 + symbol, 8);
    if (symbol < 256) return bits->PutCode(0x190 + symbol - 144, 9);
    if (symbol < 280) return bits->PutCode(symbol - 256, 7);
    bits->PutCode(0xC0 + symbol - 280, 8);
}

/// Lengths and distances are coded alike: `steps` codes for each doubling, the rest of the value as extra
/// bits. The first two doublings have no extra bits. 4 steps: 0..7 -> codes 0..7, 8..9 -> code 8 and one bit,
/// ...
struct SteppedCode
{
    uint32_t code;
    uint32_t extra;
    int extraBits;
};
SteppedCode StepCode(uint32_t value, int stepBits)
{
    const int extraBits = std::max(0, static_cast<int>(std::bit_width(value)) - 1 - stepBits);
    const uint32_t code = (static_cast<uint32_t>(extraBits) << stepBits) + (value >> extraBits);
    return {code, value & ((1u << extraBits) - 1), extraBits};
}

void PutMatch(BitWriter* bits, size_t length, size_t distance)
{
    if (length == kMaxMatch) {
        PutSymbol(bits, 285);  // has a code of its own
    } else {
        const SteppedCode step = StepCode(static_cast<uint32_t>(length - 3), 2);
        PutSymbol(bits, 257 + step.code);
        bits->Put(step.extra, step.extraBits);
    }
    const SteppedCode step = StepCode(static_cast<uint32_t>(distance - 1), 1);
    bits->PutCode(step.code, 5);
    bits->Put(step.extra, step.extraBits);
}

uint32_t Adler32(const std::vector<uint8_t>& bytes)
{
    uint32_t a = 1, b = 0;
    for (const uint8_t byte : bytes) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    return b << 16 | a;
}

size_t MatchLength(const std::vector<uint8_t>& bytes, size_t earlier, size_t position)
{
    const size_t limit = std::min(kMaxMatch, bytes.size() - position);
    size_t length = 0;
    while (length < limit && bytes[earlier + length] == bytes[position + length]) ++length;
    return length;
}

void PutBlock(BitWriter* bits, const std::vector<uint8_t>& bytes)
{
    std::vector<size_t> lastSeen(size_t{1} << kHashBits, SIZE_MAX);  // by the hash of the four bytes there
    size_t position = 0;
    while (position < bytes.size()) {
        size_t length = 0, earlier = SIZE_MAX;
        if (bytes.size() - position >= kMinMatch) {
            uint32_t word;
            std::memcpy(&word, &bytes[position], sizeof word);
            size_t& seen = lastSeen[word * 2654435761u >> (32 - kHashBits)];
            earlier = seen;
            seen = position;
            if (earlier != SIZE_MAX && position - earlier <= kWindow)
                length = MatchLength(bytes, earlier, position);
        }
        if (length >= kMinMatch) {
            PutMatch(bits, length, position - earlier);
            position += length;
        } else {
            PutSymbol(bits, bytes[position++]);
        }
    }
}
}  // namespace

std::vector<uint8_t> CompressZlib(const std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> out = {0x78, 0x01};
    BitWriter bits(&out);
    bits.Put(1, 1);  // the last block
    bits.Put(1, 2);  // fixed codes
    PutBlock(&bits, bytes);
    PutSymbol(&bits, kEndOfBlock);
    bits.Flush();
    const uint32_t sum = Adler32(bytes);
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(sum >> shift));
    return out;
}
}  // namespace talv
