#pragma once

#include "codecs/jpeg/jpeg_kernels.h"

// The inverse DCT for any vector of 16-bit lanes in groups of 8, one block a group. `V` supplies the
// operations. Included by the files of one instruction set each: everything here is local to them.
namespace talv::jpeg {
namespace {
template <typename V>
struct InverseDct
{
    using Vector = typename V::Vector;

    // Lanes of two inputs side by side, the low and the high half of each group.
    struct Pair
    {
        Vector low, high;
    };
    static Pair Interleave(Vector a, Vector b) { return {V::UnpackLow(a, b), V::UnpackHigh(a, b)}; }
    static Pair Multiply(Pair p, int16_t a, int16_t b)
    {
        const Vector factors = V::Factors(a, b);
        return {V::MultiplyAdd(p.low, factors), V::MultiplyAdd(p.high, factors)};
    }
    static Pair Add(Pair a, Pair b) { return {V::Add32(a.low, b.low), V::Add32(a.high, b.high)}; }
    static Pair Subtract(Pair a, Pair b) { return {V::Sub32(a.low, b.low), V::Sub32(a.high, b.high)}; }

    template <int kShift, bool kLowOnly>
    static void Pass(Vector r[8])
    {
        const Vector zero = V::Zero();
        const Pair in04 = Interleave(r[0], kLowOnly ? zero : r[4]);
        const Pair in26 = Interleave(r[2], kLowOnly ? zero : r[6]);
        const Pair in13 = Interleave(r[1], r[3]);
        const Pair in57 = Interleave(r[5], r[7]);
        const Vector half = V::All32(1 << (kShift - 1));
        const Pair round = {half, half};
        const Pair sum04 = Add(Multiply(in04, kDctOne, kDctOne), round);
        const Pair difference04 = kLowOnly ? sum04 : Add(Multiply(in04, kDctOne, -kDctOne), round);
        const Pair outer26 = Multiply(in26, kDctEven[0][0], kDctEven[0][1]);
        const Pair inner26 = Multiply(in26, kDctEven[1][0], kDctEven[1][1]);
        const Pair even[4] = {Add(sum04, outer26), Add(difference04, inner26),
                              Subtract(difference04, inner26), Subtract(sum04, outer26)};
        for (int k = 0; k < 4; ++k) {
            Pair odd = Multiply(in13, kDctOdd[k][0], kDctOdd[k][1]);
            if (!kLowOnly) odd = Add(odd, Multiply(in57, kDctOdd[k][2], kDctOdd[k][3]));
            const Pair sum = Add(even[k], odd);
            const Pair difference = Subtract(even[k], odd);
            r[k] = V::Pack32(V::template ShiftRight32<kShift>(sum.low),
                             V::template ShiftRight32<kShift>(sum.high));
            r[7 - k] = V::Pack32(V::template ShiftRight32<kShift>(difference.low),
                                 V::template ShiftRight32<kShift>(difference.high));
        }
    }

    static void Transpose(Vector r[8])
    {
        Vector a[8], b[8];
        for (int i = 0; i < 4; ++i) {
            a[2 * i] = V::UnpackLow(r[2 * i], r[2 * i + 1]);
            a[2 * i + 1] = V::UnpackHigh(r[2 * i], r[2 * i + 1]);
        }
        for (int i = 0; i < 8; i += 4) {
            b[i] = V::UnpackLow32(a[i], a[i + 2]);
            b[i + 1] = V::UnpackHigh32(a[i], a[i + 2]);
            b[i + 2] = V::UnpackLow32(a[i + 1], a[i + 3]);
            b[i + 3] = V::UnpackHigh32(a[i + 1], a[i + 3]);
        }
        for (int i = 0; i < 4; ++i) {
            r[2 * i] = V::UnpackLow64(b[i], b[i + 4]);
            r[2 * i + 1] = V::UnpackHigh64(b[i], b[i + 4]);
        }
    }

    /// Leaves row y of every block in r[y], before the level shift.
    template <int kKeptBits>
    static void Transform(Vector r[8], bool lowOnly)
    {
        if (lowOnly) {
            Pass<kDctBits - kKeptBits, true>(r);
            Transpose(r);
            Pass<kDctBits + kKeptBits + 3, true>(r);
        } else {
            Pass<kDctBits - kKeptBits, false>(r);
            Transpose(r);
            Pass<kDctBits + kKeptBits + 3, false>(r);
        }
        Transpose(r);
    }
};
}  // namespace
}  // namespace talv::jpeg
