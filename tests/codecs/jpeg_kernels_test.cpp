#include "codecs/jpeg/jpeg_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "codecs/jpeg/component_rows.h"

namespace talv::jpeg {
namespace {
class EveryLevel : public testing::TestWithParam<SimdLevel>
{
  protected:
    void SetUp() override
    {
        if (GetParam() > DetectedSimdLevel()) GTEST_SKIP() << "this processor has no such level";
        kernels = SelectJpegKernels(GetParam());
    }
    JpegKernels plain = SelectJpegKernels(SimdLevel::plain);
    JpegKernels kernels{};
    std::mt19937 random{20240};
};

TEST_P(EveryLevel, InverseTransformEqualsThePlainOne)
{
    for (int round = 0; round < 3000; ++round) {
        alignas(32) int16_t blocks[128] = {};
        const bool low = round % 3 == 0;
        // From single coefficients to the extremes of 16 bits, where sums wrap and results saturate.
        const int range = 1 << (3 + round % 14);
        for (int i = 0; i < 128; ++i) {
            const bool inLow = (i & 0x24) == 0;
            if ((low && !inLow) || random() % 4 > static_cast<unsigned>(round % 5)) continue;
            blocks[i] =
                static_cast<int16_t>(static_cast<int>(random() % static_cast<unsigned>(range)) - range / 2);
        }
        uint16_t quant[2][64];
        for (int i = 0; i < 128; ++i)
            quant[i / 64][i % 64] = static_cast<uint16_t>(round % 2 == 0   ? 1
                                                          : round % 7 == 1 ? random()
                                                                           : random() % 64);
        const auto compare = [&](auto sample, auto kernel) {
            using Sample = decltype(sample);
            Sample expected[2][64], actual[2][64];
            const auto run = [&](const JpegKernels& k, Sample(*out)[64]) {
                const InverseTask<Sample> tasks[2] = {{blocks, quant[0], out[0], 8},
                                                      {blocks + 64, quant[1], out[1], 8}};
                (k.*kernel)(tasks, low);
            };
            run(plain, expected);
            run(kernels, actual);
            return std::equal(&expected[0][0], &expected[0][0] + 128, &actual[0][0]);
        };
        ASSERT_TRUE(compare(uint8_t{}, &JpegKernels::inverse8)) << "round " << round;
        ASSERT_TRUE(compare(uint16_t{}, &JpegKernels::inverse12)) << "round " << round;
    }
}

TEST_P(EveryLevel, PredictorsEqualThePlainOnesAtEveryWidth)
{
    for (int width = 1; width < 90; ++width) {
        std::vector<uint16_t> differences(static_cast<size_t>(width)), above(static_cast<size_t>(width) + 1);
        for (uint16_t& d : differences) d = static_cast<uint16_t>(random());
        for (uint16_t& a : above) a = static_cast<uint16_t>(random());
        std::vector<uint16_t> turns(static_cast<size_t>(width) * 3), apart(turns.size()), plainApart(turns);
        for (uint16_t& t : turns) t = static_cast<uint16_t>(random());
        plain.splitThree(turns.data(), &plainApart[0], &plainApart[static_cast<size_t>(width)],
                         &plainApart[static_cast<size_t>(width) * 2], width);
        kernels.splitThree(turns.data(), &apart[0], &apart[static_cast<size_t>(width)],
                           &apart[static_cast<size_t>(width) * 2], width);
        ASSERT_EQ(plainApart, apart) << width;
        for (int predictor = 1; predictor <= 7; ++predictor) {
            std::vector<uint16_t> expected(static_cast<size_t>(width) + 9, static_cast<uint16_t>(random()));
            std::vector<uint16_t> actual(expected);
            plain.predict[predictor](differences.data(), expected.data() + 1, above.data() + 1, width);
            kernels.predict[predictor](differences.data(), actual.data() + 1, above.data() + 1, width);
            ASSERT_EQ(expected, actual) << "predictor " << predictor << ", width " << width;
        }
    }
}

TEST_P(EveryLevel, RowOperationsEqualThePlainOnesAtEveryWidth)
{
    for (int width = 1; width < 90; ++width) {
        std::vector<uint8_t> in[3];
        for (auto& row : in) {
            row.resize(static_cast<size_t>(width) + 64);
            for (uint8_t& byte : row)
                byte = static_cast<uint8_t>(random() % 5 == 0 ? 255 * (random() & 1) : random());
        }
        const auto compare = [&](const char* what, auto run) {
            std::vector<uint8_t> expected(static_cast<size_t>(width) * 3 + 64, 0x77), actual(expected);
            run(plain, expected.data() + 1);
            run(kernels, actual.data() + 1);
            ASSERT_EQ(expected, actual) << what << ", width " << width;
        };
        compare("widen", [&](const JpegKernels& k, uint8_t* out) { k.widen(in[0].data() + 3, out, width); });
        compare("between", [&](const JpegKernels& k, uint8_t* out) {
            k.widenBetween(in[0].data() + 1, in[1].data() + 2, out, width);
        });
        compare("colour", [&](const JpegKernels& k, uint8_t* out) {
            k.yccToBgr(in[0].data(), in[1].data() + 1, in[2].data() + 2, out, width);
        });
        compare("planes", [&](const JpegKernels& k, uint8_t* out) {
            k.planesToBgr(in[0].data(), in[1].data(), in[2].data(), out, width);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(JpegKernels, EveryLevel,
                         testing::Values(SimdLevel::plain, SimdLevel::sse2, SimdLevel::avx2));

TEST(JpegKernels, RedOfFullCrIsBelowJfif)
{
    // 127 * 1.402 = 178.05 would be 178; 127 * 22890 / 16384 = 177.43.
    const uint8_t y = 0, cb = 128, cr = 255;
    uint8_t bgr[3];
    SelectJpegKernels(DetectedSimdLevel()).yccToBgr(&y, &cb, &cr, bgr, 1);
    EXPECT_EQ(bgr[2], 177);
    EXPECT_EQ(bgr[0], 0);
}

TEST(JpegKernels, TheWholeColourCubeIsWithinOneOfTheRealFactors)
{
    for (int y = 0; y < 256; y += 5) {
        for (int cb = 0; cb < 256; cb += 3) {
            for (int cr = 0; cr < 256; cr += 3) {
                const uint8_t in[3] = {static_cast<uint8_t>(y), static_cast<uint8_t>(cb),
                                       static_cast<uint8_t>(cr)};
                uint8_t bgr[3];
                YccRowToBgr<8>(&in[0], &in[1], &in[2], bgr, 1);
                EXPECT_NEAR(bgr[0], std::clamp(y + 1.772 * (cb - 128), 0.0, 255.0), 1.0);
                EXPECT_NEAR(bgr[1], std::clamp(y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128), 0.0, 255.0),
                            1.0);
                EXPECT_NEAR(bgr[2], std::clamp(y + 1.402 * (cr - 128), 0.0, 255.0), 1.2);
            }
        }
    }
}
}  // namespace
}  // namespace talv::jpeg
