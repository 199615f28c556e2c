#include <emmintrin.h>

#include <cstring>

#include "codecs/jpeg/component_rows.h"
#include "codecs/jpeg/inverse_dct_vector.h"
#include "codecs/jpeg/jpeg_kernels.h"

namespace talv::jpeg {
namespace {
struct Sse2
{
    using Vector = __m128i;
    static Vector Zero() { return _mm_setzero_si128(); }
    static Vector All32(int value) { return _mm_set1_epi32(value); }
    static Vector Factors(int16_t a, int16_t b)
    {
        return _mm_set1_epi32(static_cast<int>(static_cast<uint16_t>(a) |
                                               static_cast<uint32_t>(static_cast<uint16_t>(b)) << 16));
    }
    static Vector UnpackLow(Vector a, Vector b) { return _mm_unpacklo_epi16(a, b); }
    static Vector UnpackHigh(Vector a, Vector b) { return _mm_unpackhi_epi16(a, b); }
    static Vector UnpackLow32(Vector a, Vector b) { return _mm_unpacklo_epi32(a, b); }
    static Vector UnpackHigh32(Vector a, Vector b) { return _mm_unpackhi_epi32(a, b); }
    static Vector UnpackLow64(Vector a, Vector b) { return _mm_unpacklo_epi64(a, b); }
    static Vector UnpackHigh64(Vector a, Vector b) { return _mm_unpackhi_epi64(a, b); }
    static Vector MultiplyAdd(Vector a, Vector b) { return _mm_madd_epi16(a, b); }
    static Vector Add32(Vector a, Vector b) { return _mm_add_epi32(a, b); }
    static Vector Sub32(Vector a, Vector b) { return _mm_sub_epi32(a, b); }
    static Vector Pack32(Vector a, Vector b) { return _mm_packs_epi32(a, b); }
    template <int kShift>
    static Vector ShiftRight32(Vector a)
    {
        return _mm_srai_epi32(a, kShift);
    }
};

__m128i Load(const void* from)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void Store(void* to, __m128i value)
{
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

template <typename Sample>
void LoadBlock(const InverseTask<Sample>& task, __m128i r[8])
{
    for (int i = 0; i < 8; ++i) r[i] = _mm_mullo_epi16(Load(task.block + 8 * i), Load(task.quant + 8 * i));
}

void InverseOne8(const InverseTask<uint8_t>& task, bool lowOnly)
{
    __m128i r[8];
    LoadBlock(task, r);
    InverseDct<Sse2>::Transform<kKeptBits8>(r, lowOnly);
    const __m128i half = _mm_set1_epi8(-128);
    for (int y = 0; y < 8; y += 2) {
        const __m128i rows = _mm_add_epi8(_mm_packs_epi16(r[y], r[y + 1]), half);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(task.out + y * task.stride), rows);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(task.out + (y + 1) * task.stride),
                         _mm_srli_si128(rows, 8));
    }
}

void Inverse8(const InverseTask<uint8_t> tasks[2], bool lowOnly)
{
    InverseOne8(tasks[0], lowOnly);
    InverseOne8(tasks[1], lowOnly);
}

void InverseOne12(const InverseTask<uint16_t>& task, bool lowOnly)
{
    __m128i r[8];
    LoadBlock(task, r);
    InverseDct<Sse2>::Transform<kKeptBits12>(r, lowOnly);
    const __m128i low = _mm_set1_epi16(-2048);
    const __m128i high = _mm_set1_epi16(2047);
    for (int y = 0; y < 8; ++y)
        Store(task.out + y * task.stride, _mm_sub_epi16(_mm_min_epi16(_mm_max_epi16(r[y], low), high), low));
}

void Inverse12(const InverseTask<uint16_t> tasks[2], bool lowOnly)
{
    InverseOne12(tasks[0], lowOnly);
    InverseOne12(tasks[1], lowOnly);
}

// 8 bytes as 16-bit lanes.
__m128i Load8(const uint8_t* from)
{
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)), _mm_setzero_si128());
}
__m128i TimesThree(__m128i v)
{
    return _mm_add_epi16(v, _mm_add_epi16(v, v));
}

// The even outputs in the low and the odd ones in the high bytes of each lane.
template <int kShift>
__m128i Mix(__m128i left, __m128i middle, __m128i right, int roundEven, int roundOdd)
{
    const __m128i main = TimesThree(middle);
    const __m128i even = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(main, left), _mm_set1_epi16(static_cast<short>(roundEven))), kShift);
    const __m128i odd = _mm_srli_epi16(
        _mm_add_epi16(_mm_add_epi16(main, right), _mm_set1_epi16(static_cast<short>(roundOdd))), kShift);
    return _mm_or_si128(even, _mm_slli_epi16(odd, 8));
}

void Widen(const uint8_t* in, uint8_t* out, int width)
{
    const auto edge = [=](int x) {
        const int left = in[x > 0 ? x - 1 : 0];
        const int right = in[x < width - 1 ? x + 1 : x];
        out[2 * x] = static_cast<uint8_t>((3 * in[x] + left + 1) >> 2);
        out[2 * x + 1] = static_cast<uint8_t>((3 * in[x] + right + 2) >> 2);
    };
    if (width > 0) edge(0);
    int x = 1;
    for (; x + 9 <= width; x += 8)
        Store(out + 2 * x, Mix<2>(Load8(in + x - 1), Load8(in + x), Load8(in + x + 1), 1, 2));
    for (; x < width; ++x) edge(x);
}

void WidenBetween(const uint8_t* near, const uint8_t* far, uint8_t* out, int width)
{
    const auto column = [=](int x) { return 3 * near[x] + far[x]; };
    const auto edge = [=](int x) {
        const int left = column(x > 0 ? x - 1 : 0);
        const int right = column(x < width - 1 ? x + 1 : x);
        out[2 * x] = static_cast<uint8_t>((3 * column(x) + left + 8) >> 4);
        out[2 * x + 1] = static_cast<uint8_t>((3 * column(x) + right + 7) >> 4);
    };
    const auto columns = [=](int x) { return _mm_add_epi16(TimesThree(Load8(near + x)), Load8(far + x)); };
    if (width > 0) edge(0);
    int x = 1;
    for (; x + 9 <= width; x += 8)
        Store(out + 2 * x, Mix<4>(columns(x - 1), columns(x), columns(x + 1), 8, 7));
    for (; x < width; ++x) edge(x);
}

// 8 pixels, byte lanes in the low halves, to 24 bytes. Writes 4 bytes at a time, the last of them 1 beyond
// the pixel: the caller has a pixel more to write.
void StoreBgr(__m128i blue, __m128i green, __m128i red, uint8_t* out)
{
    const __m128i bg = _mm_unpacklo_epi8(blue, green);
    const __m128i r0 = _mm_unpacklo_epi8(red, _mm_setzero_si128());
    __m128i pixels[2] = {_mm_unpacklo_epi16(bg, r0), _mm_unpackhi_epi16(bg, r0)};
    for (__m128i& four : pixels) {
        for (int i = 0; i < 4; ++i, out += 3) {
            const int pixel = _mm_cvtsi128_si32(four);
            std::memcpy(out, &pixel, 4);
            four = _mm_srli_si128(four, 4);
        }
    }
}

void StorePixel(int y, int cb, int cr, uint8_t* out)
{
    const auto store = [](int value) {
        return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    };
    const int blue = cb - 128;
    const int red = cr - 128;
    out[0] = store(y + ((blue * kCbToBlue + 8192) >> 14));
    out[1] = store(y + ((8192 - blue * kCbToGreen - red * kCrToGreen) >> 14));
    out[2] = store(y + ((red * kCrToRed + 8192) >> 14));
}

// (chroma pair * factors + a half) / 16384 for 8 lanes.
__m128i Scale(__m128i a, __m128i b, int factorA, int factorB)
{
    const __m128i factors = Sse2::Factors(static_cast<int16_t>(factorA), static_cast<int16_t>(factorB));
    const __m128i half = _mm_set1_epi32(8192);
    const __m128i low = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), factors), half);
    const __m128i high = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), factors), half);
    return _mm_packs_epi32(_mm_srai_epi32(low, 14), _mm_srai_epi32(high, 14));
}

void YccToBgr(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* out, int width)
{
    const __m128i half = _mm_set1_epi16(128);
    int x = 0;
    for (; x + 9 <= width; x += 8) {
        const __m128i luma = Load8(y + x);
        const __m128i blue = _mm_sub_epi16(Load8(cb + x), half);
        const __m128i red = _mm_sub_epi16(Load8(cr + x), half);
        const __m128i b = _mm_add_epi16(luma, Scale(blue, red, kCbToBlue, 0));
        const __m128i g = _mm_add_epi16(luma, Scale(blue, red, -kCbToGreen, -kCrToGreen));
        const __m128i r = _mm_add_epi16(luma, Scale(blue, red, 0, kCrToRed));
        StoreBgr(_mm_packus_epi16(b, b), _mm_packus_epi16(g, g), _mm_packus_epi16(r, r), out + 3 * x);
    }
    for (; x < width; ++x) StorePixel(y[x], cb[x], cr[x], out + 3 * x);
}

void PlanesToPixels(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* out,
                    int width)
{
    const auto load = [](const uint8_t* from) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    };
    int x = 0;
    for (; x + 9 <= width; x += 8) StoreBgr(load(third + x), load(second + x), load(first + x), out + 3 * x);
    for (; x < width; ++x) {
        out[3 * x] = third[x];
        out[3 * x + 1] = second[x];
        out[3 * x + 2] = first[x];
    }
}
// What predictors 1, 4 and 5 add to the sample on the left, for 8 samples.
template <int kPredictor>
__m128i StepFromLeft(const uint16_t* differences, const uint16_t* above)
{
    const __m128i difference = Load(differences);
    if (kPredictor == 1) return difference;
    const __m128i b = Load(above), c = Load(above - 1);
    if (kPredictor == 4) return _mm_add_epi16(difference, _mm_sub_epi16(b, c));
    // (b - c) >> 1 without a seventeenth bit: the halves, less one where only c is odd.
    const __m128i halves = _mm_sub_epi16(_mm_srli_epi16(b, 1), _mm_srli_epi16(c, 1));
    const __m128i borrow = _mm_and_si128(_mm_andnot_si128(b, c), _mm_set1_epi16(1));
    return _mm_add_epi16(difference, _mm_sub_epi16(halves, borrow));
}

/// Predictors that add to the sample on the left: running sums, 8 at a time.
template <int kPredictor>
void PredictFromLeft(const uint16_t* differences, uint16_t* row, const uint16_t* above, int count)
{
    __m128i left = _mm_set1_epi16(static_cast<short>(row[-1]));
    int x = 0;
    for (; x + 8 <= count; x += 8) {
        __m128i sum = StepFromLeft<kPredictor>(differences + x, above + (kPredictor == 1 ? 0 : x));
        sum = _mm_add_epi16(sum, _mm_slli_si128(sum, 2));
        sum = _mm_add_epi16(sum, _mm_slli_si128(sum, 4));
        sum = _mm_add_epi16(sum, _mm_slli_si128(sum, 8));
        const __m128i last = _mm_shufflehi_epi16(sum, 0xFF);
        Store(row + x, _mm_add_epi16(sum, left));
        left = _mm_add_epi16(left, _mm_unpackhi_epi64(last, last));
    }
    PredictRow<kPredictor>(differences + x, row + x, above + (kPredictor == 1 ? 0 : x), count - x);
}

/// Predictors 2 and 3: the sample above, or the one before it.
template <int kPredictor>
void PredictFromAbove(const uint16_t* differences, uint16_t* row, const uint16_t* above, int count)
{
    int x = 0;
    for (; x + 8 <= count; x += 8)
        Store(row + x, _mm_add_epi16(Load(differences + x), Load(above + x - (kPredictor - 2))));
    PredictRow<kPredictor>(differences + x, row + x, above + x, count - x);
}
}  // namespace

void UseJpegKernelsSse2(JpegKernels* kernels)
{
    kernels->inverse8 = Inverse8;
    kernels->inverse12 = Inverse12;
    kernels->widen = Widen;
    kernels->widenBetween = WidenBetween;
    kernels->yccToBgr = YccToBgr;
    kernels->planesToBgr = PlanesToPixels;
    kernels->predict[1] = PredictFromLeft<1>;
    kernels->predict[2] = PredictFromAbove<2>;
    kernels->predict[3] = PredictFromAbove<3>;
    kernels->predict[4] = PredictFromLeft<4>;
    kernels->predict[5] = PredictFromLeft<5>;
}
}  // namespace talv::jpeg
