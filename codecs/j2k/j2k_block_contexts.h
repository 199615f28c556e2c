#pragma once

#include <array>
#include <cstdint>

// Context formation of the coefficient bit modelling (T.800 D.3). The flags of a column of four coefficients
// are one word; a column further left or right is the neighbouring word, the stripes above and below are a
// whole row of words away.
//
//   bits 0..17   significance of three columns by six rows, row -1 first: bit 3 * (row + 1) + column
//   bit 18 + 3r  row r was visited by the current significance pass
//   bit 19 + 3r  row r was refined before
//   bit 20 + 3r  row r is negative
//   bit 30, 31   the coefficient above the column, below the column is negative
//
// All that belongs to row r is thus reached by one shift of 3r.
namespace talv::j2k_flags {
constexpr uint32_t kSignificance = 0x3FFFF;
constexpr uint32_t kEachRow = 0x249;  ///< bit 3r of rows 0 to 3
constexpr int kOwn = 4, kVisited = 18, kRefined = 19, kNegative = 20;
constexpr uint32_t kAboveNegative = 1u << 30, kBelowNegative = 1u << 31;

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
