#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "codecs/j2k/j2k_block_rows.h"
#include "codecs/j2k/j2k_blocks.h"

namespace talv {
namespace {
// Four columns of a stripe become four pieces of rows; the columns behind a block's last one are memory of
// the block decoder too.
template <class Value>
inline void StoreRows(const J2kBlockRows& block, char* first, Value value)
{
    const uint32_t* samples = block.samples;
    const size_t rowBytes = 4 * block.rowStep;
    const int stripeStep = J2kBlockDecoder::StripeStep(block.width);
    for (int y = 0; y < block.height; y += 4, samples += stripeStep, first += 4 * rowBytes) {
        const int rows = std::min(4, block.height - y);
        for (int x = 0; x < block.width; x += 4) {
            const auto column = [&](int i) {
                return value(_mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + 4 * (x + i))));
            };
            const __m128i a = column(0), b = column(1), c = column(2), d = column(3);
            const __m128i abLow = _mm_unpacklo_epi32(a, b), cdLow = _mm_unpacklo_epi32(c, d);
            const __m128i abHigh = _mm_unpackhi_epi32(a, b), cdHigh = _mm_unpackhi_epi32(c, d);
            const __m128i pieces[4] = {_mm_unpacklo_epi64(abLow, cdLow), _mm_unpackhi_epi64(abLow, cdLow),
                                       _mm_unpacklo_epi64(abHigh, cdHigh),
                                       _mm_unpackhi_epi64(abHigh, cdHigh)};
            char* to = first + 4 * x;
            if (rows == 4 && x + 4 <= block.width) {
                for (int r = 0; r < 4; ++r, to += rowBytes)
                    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), pieces[r]);
            } else {
                const auto bytes = static_cast<size_t>(std::min(4, block.width - x)) * 4;
                for (int r = 0; r < rows; ++r, to += rowBytes) std::memcpy(to, &pieces[r], bytes);
            }
        }
    }
}

inline __m128i Signed(__m128i magnitude, __m128i sample)
{
    const __m128i sign = _mm_srai_epi32(sample, 31);
    return _mm_sub_epi32(_mm_xor_si128(magnitude, sign), sign);
}

void StoreWhole(const J2kBlockRows& block, int32_t* first)
{
    const __m128i mask = _mm_set1_epi32(0x7FFFFFFF), shift = _mm_cvtsi32_si128(block.fraction);
    StoreRows(block, reinterpret_cast<char*>(first), [=](__m128i sample) {
        return Signed(_mm_srl_epi32(_mm_and_si128(sample, mask), shift), sample);
    });
}

void StoreReal(const J2kBlockRows& block, float* first)
{
    const __m128i mask = _mm_set1_epi32(0x7FFFFFFF);
    const __m128 step = _mm_set1_ps(block.step);
    StoreRows(block, reinterpret_cast<char*>(first), [=](__m128i sample) {
        return _mm_castps_si128(
            _mm_mul_ps(_mm_cvtepi32_ps(Signed(_mm_and_si128(sample, mask), sample)), step));
    });
}

constexpr J2kBlockRowKernels kSse2 = {StoreWhole, StoreReal};
}  // namespace

const J2kBlockRowKernels& Sse2J2kBlockRowKernels()
{
    return kSse2;
}
}  // namespace talv
