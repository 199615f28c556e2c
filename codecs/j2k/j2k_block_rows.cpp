#include "codecs/j2k/j2k_block_rows.h"

#include <algorithm>

#include "codecs/j2k/j2k_blocks.h"
#include "platform/cpu.h"

namespace talv {
namespace {
template <class T, class Value>
void StoreRows(const J2kBlockRows& block, T* row, Value value)
{
    const uint32_t* samples = block.samples;
    const int stripeStep = J2kBlockDecoder::StripeStep(block.width);
    for (int y = 0; y < block.height; y += 4, samples += stripeStep) {
        for (int r = 0; r < std::min(4, block.height - y); ++r, row += block.rowStep) {
            for (int x = 0; x < block.width; ++x) {
                const int32_t sign = static_cast<int32_t>(samples[4 * x + r]) >> 31;
                row[x] = value(samples[4 * x + r] & 0x7FFFFFFF, sign);
            }
        }
    }
}

void StoreWhole(const J2kBlockRows& block, int32_t* first)
{
    StoreRows(block, first, [fraction = block.fraction](uint32_t magnitude, int32_t sign) {
        return (static_cast<int32_t>(magnitude >> fraction) ^ sign) - sign;
    });
}

void StoreReal(const J2kBlockRows& block, float* first)
{
    StoreRows(block, first, [step = block.step](uint32_t magnitude, int32_t sign) {
        return static_cast<float>((static_cast<int32_t>(magnitude) ^ sign) - sign) * step;
    });
}

constexpr J2kBlockRowKernels kPlain = {StoreWhole, StoreReal};
}  // namespace

const J2kBlockRowKernels& PlainJ2kBlockRowKernels()
{
    return kPlain;
}

const J2kBlockRowKernels& BestJ2kBlockRowKernels()
{
#if defined(__x86_64__) || defined(__i386__)
    if (DetectedSimdLevel() >= SimdLevel::sse2) return Sse2J2kBlockRowKernels();
#endif
    return kPlain;
}
}  // namespace talv
