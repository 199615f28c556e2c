#pragma once

#include <bit>
#include <cstdint>

namespace talv {
inline void PutU16(uint8_t* bytes, uint16_t value)
{
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

inline void PutU32(uint8_t* bytes, uint32_t value)
{
    PutU16(bytes, static_cast<uint16_t>(value));
    PutU16(bytes + 2, static_cast<uint16_t>(value >> 16));
}

inline void PutU64(uint8_t* bytes, uint64_t value)
{
    PutU32(bytes, static_cast<uint32_t>(value));
    PutU32(bytes + 4, static_cast<uint32_t>(value >> 32));
}

inline void PutDouble(uint8_t* bytes, double value)
{
    PutU64(bytes, std::bit_cast<uint64_t>(value));
}

inline uint16_t GetU16(const uint8_t* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}
inline uint32_t GetU32(const uint8_t* bytes)
{
    return GetU16(bytes) | uint32_t{GetU16(bytes + 2)} << 16;
}
}  // namespace talv
