#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace talv {
using ByteVector = std::vector<uint8_t>;

/// Builds a byte string piece by piece, each number in the byte order its name says.
class ByteWriter
{
  public:
    ByteWriter& U8(uint32_t value) { return Number(value, 1, true); }
    ByteWriter& U16le(uint32_t value) { return Number(value, 2, true); }
    ByteWriter& U16be(uint32_t value) { return Number(value, 2, false); }
    ByteWriter& U32le(uint32_t value) { return Number(value, 4, true); }
    ByteWriter& U32be(uint32_t value) { return Number(value, 4, false); }
    ByteWriter& U64le(uint64_t value) { return Number(value, 8, true); }
    ByteWriter& U64be(uint64_t value) { return Number(value, 8, false); }
    /// The `size` low bytes of `value`.
    ByteWriter& Number(uint64_t value, int size, bool littleEndian)
    {
        for (int i = 0; i < size; ++i)
            bytes_.push_back(static_cast<uint8_t>(value >> 8 * (littleEndian ? i : size - 1 - i)));
        return *this;
    }

    ByteWriter& Bytes(std::initializer_list<uint8_t> bytes)
    {
        bytes_.insert(bytes_.end(), bytes);
        return *this;
    }
    ByteWriter& Bytes(const ByteVector& bytes)
    {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    ByteWriter& Bytes(const void* bytes, size_t count)
    {
        const auto* first = static_cast<const uint8_t*>(bytes);
        bytes_.insert(bytes_.end(), first, first + count);
        return *this;
    }
    ByteWriter& Text(std::string_view text) { return Bytes(text.data(), text.size()); }
    ByteWriter& Fill(size_t count, uint8_t value)
    {
        bytes_.insert(bytes_.end(), count, value);
        return *this;
    }
    ByteWriter& Zeros(size_t count) { return Fill(count, 0); }

    /// Overwrites the four bytes at `position`.
    void PatchU32(size_t position, uint32_t value, bool littleEndian)
    {
        for (int i = 0; i < 4; ++i)
            bytes_[position + i] = static_cast<uint8_t>(value >> 8 * (littleEndian ? i : 3 - i));
    }
    void PatchU32le(size_t position, uint32_t value) { PatchU32(position, value, true); }

    size_t Size() const { return bytes_.size(); }
    const uint8_t* Data() const { return bytes_.data(); }
    const ByteVector& Content() const { return bytes_; }
    operator const ByteVector&() const { return bytes_; }

  private:
    ByteVector bytes_;
};
}  // namespace talv
