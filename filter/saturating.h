#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace talv {
/// 64-bit arithmetic that stops at the ends of its range instead of wrapping.
inline int64_t SaturatingAdd(int64_t a, int64_t b)
{
    int64_t sum;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return b > 0 ? INT64_MAX : INT64_MIN;
}

inline int64_t SaturatingSubtract(int64_t a, int64_t b)
{
    int64_t difference;
    if (!__builtin_sub_overflow(a, b, &difference)) return difference;
    return b < 0 ? INT64_MAX : INT64_MIN;
}

inline int64_t SaturatingMultiply(int64_t a, int64_t b)
{
    int64_t product;
    if (!__builtin_mul_overflow(a, b, &product)) return product;
    return (a < 0) == (b < 0) ? INT64_MAX : INT64_MIN;
}

/// Truncates toward zero and saturates; a value that is not a number is 0.
inline int64_t TruncateToInt64(double value)
{
    if (std::isnan(value)) return 0;
    if (value >= 9223372036854775808.0) return INT64_MAX;
    if (value < -9223372036854775808.0) return INT64_MIN;
    return static_cast<int64_t>(value);
}
}  // namespace talv
