#pragma once

#include <cstdint>

#include "codecs/j2k/j2k_budget.h"

namespace talv {
/// Bits of packet headers: a stuffed 0 follows each 0xFF byte (T.800 B.10.1). Past the end it yields zeros
/// and is no longer good.
class PacketBitReader
{
  public:
    PacketBitReader(const uint8_t* data, size_t size) : next_(data), end_(data + size) {}

    uint32_t Bit()
    {
        if (left_ == 0) {
            const bool stuffed = current_ == 0xFF;
            if (next_ == end_) {
                good_ = false;
                return 0;
            }
            current_ = *next_++;
            left_ = stuffed ? 7 : 8;
        }
        return current_ >> --left_ & 1;
    }
    uint32_t Bits(int count)
    {
        uint32_t value = 0;
        while (count-- > 0) value = value << 1 | Bit();
        return value;
    }
    /// Skips to the byte behind the header, over the byte stuffed after a last 0xFF.
    const uint8_t* Finish()
    {
        if (current_ == 0xFF) {
            if (next_ == end_)
                good_ = false;
            else
                ++next_;
        }
        return next_;
    }
    bool Good() const { return good_; }

  private:
    const uint8_t* next_;
    const uint8_t* end_;
    uint32_t current_ = 0;
    int left_ = 0;
    bool good_ = true;
};

/// A tag tree (T.800 B.10.2): each node holds the minimum of up to four below it.
class J2kTagTree
{
  public:
    void Create(J2kArena* arena, uint32_t width, uint32_t height)
    {
        width_ = width;
        height_ = height;
        size_t nodes = 0;
        for (uint32_t w = width, h = height;; w = (w + 1) / 2, h = (h + 1) / 2) {
            nodes += size_t{w} * h;
            ++levels_;
            if (w * h <= 1) break;
        }
        nodes_ = arena->Make<Node>(nodes);
    }

    /// True once the leaf's value is known to be below `threshold`.
    bool Decode(PacketBitReader& bits, uint32_t x, uint32_t y, uint32_t threshold)
    {
        Node* path[20];
        size_t offset = 0;
        uint32_t w = width_, h = height_;
        for (int level = 0; level < levels_; ++level) {
            path[level] = nodes_ + offset + size_t{y >> level} * w + (x >> level);
            offset += size_t{w} * h;
            w = (w + 1) / 2;
            h = (h + 1) / 2;
        }
        uint32_t low = 0;
        for (int level = levels_ - 1; level >= 0; --level) {
            Node& node = *path[level];
            if (node.low < low) node.low = low;
            while (!node.known && node.low < threshold && bits.Good()) {
                if (bits.Bit() != 0)
                    node.known = 1;
                else
                    ++node.low;
            }
            low = node.low;
        }
        return path[0]->known != 0 && path[0]->low < threshold;
    }

  private:
    struct Node
    {
        uint32_t low : 31;
        uint32_t known : 1;
    };

    Node* nodes_;
    uint32_t width_, height_;
    int levels_;
};
}  // namespace talv
