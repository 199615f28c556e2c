#include "codecs/jpeg/jpeg_kernels.h"

#include <algorithm>

#include "codecs/jpeg/component_rows.h"

namespace talv::jpeg {
namespace {
// One pass over 8 inputs `step` apart. Sums wrap at 32 bits and results saturate at 16, as packed arithmetic
// does; coefficients of real pictures come nowhere near.
void InversePass(const int16_t* in, int16_t* out, int step, int shift)
{
    const auto at = [in, step](int k) { return static_cast<uint32_t>(static_cast<int32_t>(in[k * step])); };
    const auto store = [out, step, shift](int k, uint32_t sum) {
        out[k * step] = static_cast<int16_t>(std::clamp(static_cast<int32_t>(sum) >> shift, -32768, 32767));
    };
    const auto factor = [](int16_t value) { return static_cast<uint32_t>(static_cast<int32_t>(value)); };
    const uint32_t round = 1u << (shift - 1);
    const uint32_t sum04 = (at(0) + at(4)) * kDctOne + round;
    const uint32_t difference04 = (at(0) - at(4)) * kDctOne + round;
    const uint32_t outer26 = at(2) * factor(kDctEven[0][0]) + at(6) * factor(kDctEven[0][1]);
    const uint32_t inner26 = at(2) * factor(kDctEven[1][0]) + at(6) * factor(kDctEven[1][1]);
    const uint32_t even[4] = {sum04 + outer26, difference04 + inner26, difference04 - inner26,
                              sum04 - outer26};
    for (int k = 0; k < 4; ++k) {
        const uint32_t odd = at(1) * factor(kDctOdd[k][0]) + at(3) * factor(kDctOdd[k][1]) +
                             at(5) * factor(kDctOdd[k][2]) + at(7) * factor(kDctOdd[k][3]);
        store(k, even[k] + odd);
        store(7 - k, even[k] - odd);
    }
}

template <int kKeptBits, int kSampleBits, typename Sample>
void InverseBlock(const InverseTask<Sample>& task)
{
    int16_t block[64];
    int16_t columns[64];
    int16_t rows[64];
    for (int i = 0; i < 64; ++i) block[i] = static_cast<int16_t>(task.block[i] * task.quant[i]);
    for (int x = 0; x < 8; ++x) InversePass(block + x, columns + x, 8, kDctBits - kKeptBits);
    for (int y = 0; y < 8; ++y) InversePass(columns + y * 8, rows + y * 8, 1, kDctBits + kKeptBits + 3);
    constexpr int kHalf = 1 << (kSampleBits - 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            task.out[y * task.stride + x] =
                static_cast<Sample>(std::clamp<int>(rows[y * 8 + x], -kHalf, kHalf - 1) + kHalf);
}

void Inverse8(const InverseTask<uint8_t> tasks[2], bool)
{
    InverseBlock<kKeptBits8, 8>(tasks[0]);
    InverseBlock<kKeptBits8, 8>(tasks[1]);
}

void Inverse12(const InverseTask<uint16_t> tasks[2], bool)
{
    InverseBlock<kKeptBits12, 12>(tasks[0]);
    InverseBlock<kKeptBits12, 12>(tasks[1]);
}
}  // namespace

JpegKernels SelectJpegKernels(SimdLevel level)
{
    JpegKernels kernels;
    kernels.inverse8 = Inverse8;
    kernels.inverse12 = Inverse12;
    kernels.widen = WidenRow<uint8_t>;
    kernels.widenBetween = WidenRowBetween<uint8_t>;
    kernels.yccToBgr = YccRowToBgr<8, uint8_t>;
    kernels.planesToBgr = PlanesToBgr<0, uint8_t>;
    kernels.splitThree = SplitThree;
    kernels.predict[0] = nullptr;
    kernels.predict[1] = PredictRow<1>;
    kernels.predict[2] = PredictRow<2>;
    kernels.predict[3] = PredictRow<3>;
    kernels.predict[4] = PredictRow<4>;
    kernels.predict[5] = PredictRow<5>;
    kernels.predict[6] = PredictRow<6>;
    kernels.predict[7] = PredictRow<7>;
    if (level >= SimdLevel::sse2) UseJpegKernelsSse2(&kernels);
    if (level >= SimdLevel::avx2) UseJpegKernelsAvx2(&kernels);
    return kernels;
}
}  // namespace talv::jpeg
