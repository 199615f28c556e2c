#pragma once

#include <array>
#include <cstdint>

// Context formation of the coefficient bit modelling (T.800 D.3). A column of four coefficients and what lies
// around it are one word:
//
//   bits 0..17    significance of three columns by six rows, row -1 first: bit 3 * (row + 1) + column
//   bits 32..49   the same places: significant and negative
//
// All that row r of the column has around it is thus reached by one shift of 3r.
namespace talv::j2k_flags {
using J2kColumn = uint64_t;

constexpr int kContextMagnitude = 14, kContextRun = 17, kContextUniform = 18, kContexts = 19;

/// Context of zero coding from horizontal, vertical and diagonal counts (T.800 table D.1).
constexpr uint8_t ZeroContext(int orientation, int h, int v, int d)
{
    if (orientation == 3) {
        const int hv = h + v;
        if (d >= 3) return 8;
        if (d == 2) return hv >= 1 ? 7 : 6;
        if (d == 1) return static_cast<uint8_t>(hv >= 2 ? 5 : 3 + hv);
        return static_cast<uint8_t>(hv >= 2 ? 2 : hv);
    }
    const int first = orientation == 1 ? v : h, second = orientation == 1 ? h : v;
    if (first == 2) return 8;
    if (first == 1) return second >= 1 ? 7 : d >= 1 ? 6 : 5;
    if (second == 2) return 4;
    if (second == 1) return 3;
    return static_cast<uint8_t>(d >= 2 ? 2 : d);
}

using ZeroTable = std::array<uint8_t, 512>;

/// Indexed by the 3x3 significance around a coefficient, north-west in bit 0, south-east in bit 8.
constexpr ZeroTable MakeZeroTable(int orientation)
{
    ZeroTable table{};
    for (unsigned i = 0; i < 512; ++i) {
        const auto bit = [i](int n) { return static_cast<int>(i >> n & 1); };
        table[i] =
            ZeroContext(orientation, bit(3) + bit(5), bit(1) + bit(7), bit(0) + bit(2) + bit(6) + bit(8));
    }
    return table;
}

/// Context of sign coding in bits 0..6, the bit to flip in bit 7 (T.800 tables D.2 and D.3).
constexpr uint8_t SignContext(int h, int v)
{
    const bool flip = h < 0 || (h == 0 && v < 0);
    if (flip) {
        h = -h;
        v = -v;
    }
    const int context = h == 0 ? 9 + v : 12 + v;
    return static_cast<uint8_t>(context | (flip ? 0x80 : 0));
}
static_assert(SignContext(1, -1) == 11 && SignContext(0, -1) == (10 | 0x80) &&
              SignContext(-1, -1) == (13 | 0x80));

using SignTable = std::array<uint8_t, 256>;

/// Indexed by significance of north, west, east, south in bits 1, 3, 5, 7 and their signs in bits 0, 2, 4, 6.
constexpr SignTable MakeSignTable()
{
    SignTable table{};
    for (unsigned i = 0; i < 256; ++i) {
        const auto part = [i](int n) { return (i >> (n + 1) & 1) == 0 ? 0 : (i >> n & 1) != 0 ? -1 : 1; };
        const auto limit = [](int sum) { return sum > 1 ? 1 : sum < -1 ? -1 : sum; };
        table[i] = SignContext(limit(part(2) + part(4)), limit(part(0) + part(6)));
    }
    return table;
}
}  // namespace talv::j2k_flags
