// Row operations of the inverse wavelets as plain loops over the two halves of a row, so that a compiler can
// widen them; each level compiles its own copy. No sum is reordered, so all copies agree bit for bit.

#include "codecs/j2k/j2k_wavelet.h"

namespace talv {
namespace {
inline int32_t Wrap(uint32_t value)
{
    return static_cast<int32_t>(value);
}
inline uint32_t Bits(int32_t value)
{
    return static_cast<uint32_t>(value);
}

inline int32_t Updated(int32_t target, int32_t a, int32_t b)
{
    return Wrap(Bits(target) - Bits(Wrap(Bits(a) + Bits(b) + 2) >> 2));
}
inline int32_t Predicted(int32_t target, int32_t a, int32_t b)
{
    return Wrap(Bits(target) + Bits(Wrap(Bits(a) + Bits(b)) >> 1));
}

void Update53(int32_t* __restrict target, const int32_t* a, const int32_t* b, size_t count)
{
    for (size_t i = 0; i < count; ++i) target[i] = Updated(target[i], a[i], b[i]);
}

void Predict53(int32_t* __restrict target, const int32_t* a, const int32_t* b, size_t count)
{
    for (size_t i = 0; i < count; ++i) target[i] = Predicted(target[i], a[i], b[i]);
}

void Lift97(float* __restrict target, const float* a, const float* b, float factor, size_t count)
{
    for (size_t i = 0; i < count; ++i) target[i] -= factor * (a[i] + b[i]);
}

/// One lifting step on a row in halves: target[i] with its neighbours other[i - back] and other[i + 1 -
/// back], mirrored at the ends.
template <class T, class Step>
inline void LiftHalf(T* __restrict target, size_t count, const T* other, size_t otherCount, size_t back,
                     Step step)
{
    const auto at = [&](size_t i) {  // i counts from the first left neighbour
        if (i < back) return other[0];
        return other[i - back < otherCount ? i - back : otherCount - 1];
    };
    size_t i = 0;
    for (; i < back && i < count; ++i) target[i] = step(target[i], at(i), at(i + 1));
    const size_t inner = otherCount + back - 1 < count ? otherCount + back - 1 : count;
    const T* left = other - back;
    for (; i < inner; ++i) target[i] = step(target[i], left[i], left[i + 1]);
    for (; i < count; ++i) target[i] = step(target[i], at(i), at(i + 1));
}

template <class T>
inline void Interleave(T* __restrict row, const T* __restrict even, const T* __restrict odd, size_t evenCount,
                       size_t oddCount, int first)
{
    const T* a = first == 0 ? even : odd;
    const T* b = first == 0 ? odd : even;
    const size_t pairs = evenCount < oddCount ? evenCount : oddCount;
    for (size_t i = 0; i < pairs; ++i) {
        row[2 * i] = a[i];
        row[2 * i + 1] = b[i];
    }
    if (evenCount != oddCount) row[2 * pairs] = a[pairs];
}

template <class T>
inline void Copy(T* __restrict to, const T* __restrict from, size_t count)
{
    for (size_t i = 0; i < count; ++i) to[i] = from[i];
}

void Row53(int32_t* row, int32_t* spare, size_t low, size_t high, int first)
{
    if (low + high < 2) {
        if (high == 1) row[0] >>= 1;
        return;
    }
    Copy(spare + 8, row, low + high);
    int32_t* even = spare + 8;
    int32_t* odd = even + low;
    // An even sample has the odd one of its own index on its right when the row starts even, else on its
    // left.
    LiftHalf(even, low, odd, high, first == 0 ? 1 : 0, Updated);
    LiftHalf(odd, high, even, low, first == 0 ? 0 : 1, Predicted);
    Interleave(row, even, odd, low, high, first);
}

void Row97(float* row, float* spare, size_t low, size_t high, int first)
{
    if (low + high < 2) return;
    Copy(spare + 8, row, low + high);
    float* even = spare + 8;
    float* odd = even + low;
    for (size_t step = 0; step < 4; ++step) {
        const float factor = kLift97[step];
        const auto lift = [factor](float target, float a, float b) { return target - factor * (a + b); };
        if (step % 2 == 0)
            LiftHalf(even, low, odd, high, first == 0 ? 1 : 0, lift);
        else
            LiftHalf(odd, high, even, low, first == 0 ? 0 : 1, lift);
    }
    Interleave(row, even, odd, low, high, first);
}

constexpr J2kWaveletKernels kKernels = {Row53, Row97, Update53, Predict53, Lift97};
}  // namespace
}  // namespace talv
