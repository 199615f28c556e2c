#include <immintrin.h>

#include "codecs/jpeg/inverse_dct_vector.h"
#include "codecs/jpeg/jpeg_kernels.h"

namespace talv::jpeg {
namespace {
// One block in each half of a register.
struct Avx2
{
    using Vector = __m256i;
    static Vector Zero() { return _mm256_setzero_si256(); }
    static Vector All32(int value) { return _mm256_set1_epi32(value); }
    static Vector Factors(int16_t a, int16_t b)
    {
        return _mm256_set1_epi32(static_cast<int>(static_cast<uint16_t>(a) |
                                                  static_cast<uint32_t>(static_cast<uint16_t>(b)) << 16));
    }
    static Vector UnpackLow(Vector a, Vector b) { return _mm256_unpacklo_epi16(a, b); }
    static Vector UnpackHigh(Vector a, Vector b) { return _mm256_unpackhi_epi16(a, b); }
    static Vector UnpackLow32(Vector a, Vector b) { return _mm256_unpacklo_epi32(a, b); }
    static Vector UnpackHigh32(Vector a, Vector b) { return _mm256_unpackhi_epi32(a, b); }
    static Vector UnpackLow64(Vector a, Vector b) { return _mm256_unpacklo_epi64(a, b); }
    static Vector UnpackHigh64(Vector a, Vector b) { return _mm256_unpackhi_epi64(a, b); }
    static Vector MultiplyAdd(Vector a, Vector b) { return _mm256_madd_epi16(a, b); }
    static Vector Add32(Vector a, Vector b) { return _mm256_add_epi32(a, b); }
    static Vector Sub32(Vector a, Vector b) { return _mm256_sub_epi32(a, b); }
    static Vector Pack32(Vector a, Vector b) { return _mm256_packs_epi32(a, b); }
    template <int kShift>
    static Vector ShiftRight32(Vector a)
    {
        return _mm256_srai_epi32(a, kShift);
    }
};

__m128i Load128(const void* from)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void Store128(void* to, __m128i value)
{
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// Row `y` of both.
__m256i LoadTwo(const void* first, const void* second)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(first)), Load128(second), 1);
}

template <typename Sample>
void LoadBlocks(const InverseTask<Sample> tasks[2], __m256i r[8])
{
    for (int i = 0; i < 8; ++i)
        r[i] = _mm256_mullo_epi16(LoadTwo(tasks[0].block + 8 * i, tasks[1].block + 8 * i),
                                  LoadTwo(tasks[0].quant + 8 * i, tasks[1].quant + 8 * i));
}

void Inverse8(const InverseTask<uint8_t> tasks[2], bool lowOnly)
{
    __m256i r[8];
    LoadBlocks(tasks, r);
    InverseDct<Avx2>::Transform<kKeptBits8>(r, lowOnly);
    const __m256i half = _mm256_set1_epi8(-128);
    uint8_t* first = tasks[0].out;
    uint8_t* second = tasks[1].out;
    for (int y = 0; y < 8; y += 2) {
        const __m256i rows = _mm256_add_epi8(_mm256_packs_epi16(r[y], r[y + 1]), half);
        const __m128i a = _mm256_castsi256_si128(rows);
        const __m128i b = _mm256_extracti128_si256(rows, 1);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(first), a);
        _mm_storeh_pi(reinterpret_cast<__m64*>(first + tasks[0].stride), _mm_castsi128_ps(a));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(second), b);
        _mm_storeh_pi(reinterpret_cast<__m64*>(second + tasks[1].stride), _mm_castsi128_ps(b));
        first += 2 * tasks[0].stride;
        second += 2 * tasks[1].stride;
    }
}

void Inverse12(const InverseTask<uint16_t> tasks[2], bool lowOnly)
{
    __m256i r[8];
    LoadBlocks(tasks, r);
    InverseDct<Avx2>::Transform<kKeptBits12>(r, lowOnly);
    const __m256i low = _mm256_set1_epi16(-2048);
    const __m256i high = _mm256_set1_epi16(2047);
    for (int y = 0; y < 8; ++y) {
        const __m256i row = _mm256_sub_epi16(_mm256_min_epi16(_mm256_max_epi16(r[y], low), high), low);
        Store128(tasks[0].out + y * tasks[0].stride, _mm256_castsi256_si128(row));
        Store128(tasks[1].out + y * tasks[1].stride, _mm256_extracti128_si256(row, 1));
    }
}

__m256i Load16(const uint8_t* from)
{
    return _mm256_cvtepu8_epi16(Load128(from));
}
__m256i TimesThree(__m256i v)
{
    return _mm256_add_epi16(v, _mm256_add_epi16(v, v));
}

template <int kShift>
__m256i Mix(__m256i left, __m256i middle, __m256i right, int roundEven, int roundOdd)
{
    const __m256i main = TimesThree(middle);
    const __m256i even = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_add_epi16(main, left), _mm256_set1_epi16(static_cast<short>(roundEven))),
        kShift);
    const __m256i odd = _mm256_srli_epi16(
        _mm256_add_epi16(_mm256_add_epi16(main, right), _mm256_set1_epi16(static_cast<short>(roundOdd))),
        kShift);
    return _mm256_or_si256(even, _mm256_slli_epi16(odd, 8));
}

// Calls `sixteen(x)` for the samples between the first and the last one, the last time once more over some
// that are done, and `edge(x)` for each of those that are left.
template <typename Edge, typename Sixteen>
void ForInnerSixteens(int width, Edge edge, Sixteen sixteen)
{
    if (width < 18) {
        for (int x = 0; x < width; ++x) edge(x);
        return;
    }
    edge(0);
    int x = 1;
    for (; x + 17 <= width; x += 16) sixteen(x);
    if (x + 1 < width) sixteen(width - 17);
    edge(width - 1);
}

void Widen(const uint8_t* in, uint8_t* out, int width)
{
    const auto edge = [=](int x) {
        const int left = in[x > 0 ? x - 1 : 0];
        const int right = in[x < width - 1 ? x + 1 : x];
        out[2 * x] = static_cast<uint8_t>((3 * in[x] + left + 1) >> 2);
        out[2 * x + 1] = static_cast<uint8_t>((3 * in[x] + right + 2) >> 2);
    };
    ForInnerSixteens(width, edge, [=](int x) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * x),
                            Mix<2>(Load16(in + x - 1), Load16(in + x), Load16(in + x + 1), 1, 2));
    });
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
    const auto columns = [=](int x) {
        return _mm256_add_epi16(TimesThree(Load16(near + x)), Load16(far + x));
    };
    ForInnerSixteens(width, edge, [=](int x) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * x),
                            Mix<4>(columns(x - 1), columns(x), columns(x + 1), 8, 7));
    });
}

// 16 pixels of three byte planes to 48 bytes: each 16 bytes of output gather a third of their bytes from each
// plane.
void StoreBgr(__m128i blue, __m128i green, __m128i red, uint8_t* out)
{
    const char z = -1;
    const __m128i b0 = _mm_setr_epi8(0, z, z, 1, z, z, 2, z, z, 3, z, z, 4, z, z, 5);
    const __m128i g0 = _mm_setr_epi8(z, 0, z, z, 1, z, z, 2, z, z, 3, z, z, 4, z, z);
    const __m128i r0 = _mm_setr_epi8(z, z, 0, z, z, 1, z, z, 2, z, z, 3, z, z, 4, z);
    const __m128i b1 = _mm_setr_epi8(z, z, 6, z, z, 7, z, z, 8, z, z, 9, z, z, 10, z);
    const __m128i g1 = _mm_setr_epi8(5, z, z, 6, z, z, 7, z, z, 8, z, z, 9, z, z, 10);
    const __m128i r1 = _mm_setr_epi8(z, 5, z, z, 6, z, z, 7, z, z, 8, z, z, 9, z, z);
    const __m128i b2 = _mm_setr_epi8(z, 11, z, z, 12, z, z, 13, z, z, 14, z, z, 15, z, z);
    const __m128i g2 = _mm_setr_epi8(z, z, 11, z, z, 12, z, z, 13, z, z, 14, z, z, 15, z);
    const __m128i r2 = _mm_setr_epi8(10, z, z, 11, z, z, 12, z, z, 13, z, z, 14, z, z, 15);
    const auto merge = [&](__m128i b, __m128i g, __m128i r) {
        return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(blue, b), _mm_shuffle_epi8(green, g)),
                            _mm_shuffle_epi8(red, r));
    };
    Store128(out, merge(b0, g0, r0));
    Store128(out + 16, merge(b1, g1, r1));
    Store128(out + 32, merge(b2, g2, r2));
}

__m128i Narrow(__m256i v)
{
    const __m256i packed = _mm256_packus_epi16(v, v);
    return _mm256_castsi256_si128(_mm256_permute4x64_epi64(packed, 0x08));
}

void YccToBgr(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* out, int width)
{
    const __m256i half = _mm256_set1_epi16(128);
    const __m256i greenFactors = Avx2::Factors(-kCbToGreen, -kCrToGreen);
    const __m256i round = _mm256_set1_epi32(8192);
    const auto sixteen = [=](int x) {
        const __m256i luma = Load16(y + x);
        const __m256i blue = _mm256_sub_epi16(Load16(cb + x), half);
        const __m256i red = _mm256_sub_epi16(Load16(cr + x), half);
        // (2c * f + 2^14) >> 15 equals (c * f + 2^13) >> 14.
        const __m256i b = _mm256_add_epi16(
            luma, _mm256_mulhrs_epi16(_mm256_add_epi16(blue, blue), _mm256_set1_epi16(kCbToBlue)));
        const __m256i r = _mm256_add_epi16(
            luma, _mm256_mulhrs_epi16(_mm256_add_epi16(red, red), _mm256_set1_epi16(kCrToRed)));
        const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(blue, red), greenFactors);
        const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(blue, red), greenFactors);
        const __m256i g =
            _mm256_add_epi16(luma, _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(low, round), 14),
                                                      _mm256_srai_epi32(_mm256_add_epi32(high, round), 14)));
        StoreBgr(Narrow(b), Narrow(g), Narrow(r), out + 3 * x);
    };
    int x = 0;
    for (; x + 16 <= width; x += 16) sixteen(x);
    if (width >= 16 && x < width) {  // some pixels once more
        sixteen(width - 16);
        return;
    }
    const auto store = [](int value) {
        return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    };
    for (; x < width; ++x) {
        const int blue = cb[x] - 128;
        const int red = cr[x] - 128;
        out[3 * x] = store(y[x] + ((blue * kCbToBlue + 8192) >> 14));
        out[3 * x + 1] = store(y[x] + ((8192 - blue * kCbToGreen - red * kCrToGreen) >> 14));
        out[3 * x + 2] = store(y[x] + ((red * kCrToRed + 8192) >> 14));
    }
}

void PlanesToPixels(const uint8_t* first, const uint8_t* second, const uint8_t* third, uint8_t* out,
                    int width)
{
    int x = 0;
    for (; x + 16 <= width; x += 16)
        StoreBgr(Load128(third + x), Load128(second + x), Load128(first + x), out + 3 * x);
    for (; x < width; ++x) {
        out[3 * x] = third[x];
        out[3 * x + 1] = second[x];
        out[3 * x + 2] = first[x];
    }
}
// Byte places for words number r, r + 3, ... of 24 that lie in three registers: [r][register].
struct ThirdPlaces
{
    alignas(16) int8_t places[3][3][16] = {};

    constexpr ThirdPlaces()
    {
        for (int r = 0; r < 3; ++r) {
            for (int part = 0; part < 3; ++part) {
                for (int i = 0; i < 8; ++i) {
                    const int word = r + 3 * i - 8 * part;
                    const bool here = word >= 0 && word < 8;
                    places[r][part][2 * i] = static_cast<int8_t>(here ? 2 * word : -1);
                    places[r][part][2 * i + 1] = static_cast<int8_t>(here ? 2 * word + 1 : -1);
                }
            }
        }
    }
};
constexpr ThirdPlaces kThirds;

__m128i EveryThird(const __m128i in[3], int r)
{
    return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(in[0], Load128(kThirds.places[r][0])),
                                     _mm_shuffle_epi8(in[1], Load128(kThirds.places[r][1]))),
                        _mm_shuffle_epi8(in[2], Load128(kThirds.places[r][2])));
}

void SplitThreeWords(const uint16_t* in, uint16_t* first, uint16_t* second, uint16_t* third, int count)
{
    int x = 0;
    for (; x + 8 <= count; x += 8, in += 24) {
        const __m128i words[3] = {Load128(in), Load128(in + 8), Load128(in + 16)};
        Store128(first + x, EveryThird(words, 0));
        Store128(second + x, EveryThird(words, 1));
        Store128(third + x, EveryThird(words, 2));
    }
    for (; x < count; ++x, in += 3) {
        first[x] = in[0];
        second[x] = in[1];
        third[x] = in[2];
    }
}
}  // namespace

void UseJpegKernelsAvx2(JpegKernels* kernels)
{
    kernels->inverse8 = Inverse8;
    kernels->inverse12 = Inverse12;
    kernels->widen = Widen;
    kernels->widenBetween = WidenBetween;
    kernels->yccToBgr = YccToBgr;
    kernels->planesToBgr = PlanesToPixels;
    kernels->splitThree = SplitThreeWords;
}
}  // namespace talv::jpeg
