#include "filter/greydisplay/grey_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace talv {
namespace {
constexpr size_t kGuard = 64;

std::vector<uint8_t> RandomWords(size_t count, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<uint8_t> bytes(2 * count);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t word = i % 5 == 0 ? 0 : i % 7 == 0 ? 0xFFFF : random();
        bytes[2 * i] = static_cast<uint8_t>(word);
        bytes[2 * i + 1] = static_cast<uint8_t>(word >> 8);
    }
    return bytes;
}

const GreyRamp kRamps[] = {
    {0, 0xFFFF, 0, 255.0f / 65535, 0.5f},     {0, 0x0FFF, 840, 255.0f / 399, 0.5f},
    {4, 0x0FFF, 100, -255.0f / 1023, 255.5f}, {15, 1, 0, 255, 0.5f},
    {0, 0xFFFF, 65535, 0.01f, -12345.678f},   {3, 0x00FF, 4, -16000, 1e9f},
    {0, 0xFFFF, 32768, 16000, -1e9f},         {0, 0xFFFF, 32767, 255.0f / 254, 0.4980392f}};

TEST(GreyKernels, EveryLevelEqualsThePlainOne)
{
    std::vector<uint32_t> entries(65536);
    std::mt19937 random(7);
    for (uint32_t& entry : entries) entry = random() & 0xFFFFFF;
    for (const SimdLevel level : {SimdLevel::sse2, SimdLevel::avx2, SimdLevel::avx512}) {
        if (DetectedSimdLevel() < level) continue;
        const GreyKernels kernels = SelectGreyKernels(level);
        for (size_t count = 0; count <= 131; ++count)
            for (const size_t shift : {0, 1, 3})
                for (size_t form = 0; form <= 2 * std::size(kRamps) + 1; ++form) {
                    // The 12-bit forms take a shorter row, which ends at the end of its memory.
                    const bool packed = form > std::size(kRamps);
                    const size_t bytes = packed ? (3 * count + 1) / 2 : 2 * count;
                    std::vector<uint8_t> words = RandomWords(count, static_cast<uint32_t>(count));
                    words.resize(bytes);
                    words.insert(words.begin(), shift, 0);
                    words.shrink_to_fit();
                    std::vector<uint8_t> expected(4 * count + 2 * kGuard + shift, 0xEE), got = expected;
                    const auto run = [&](const GreyKernels& chosen, std::vector<uint8_t>* out) {
                        uint8_t* at = out->data() + kGuard + shift;
                        const uint8_t* from = words.data() + shift;
                        const size_t ramp = packed ? form - std::size(kRamps) - 1 : form;
                        if (ramp < std::size(kRamps))
                            (packed ? chosen.ramp12 : chosen.ramp)(from, at, count, kRamps[ramp]);
                        else
                            (packed ? chosen.lookUp12 : chosen.lookUp)(from, at, count, entries.data());
                    };
                    run(kPlainGreyKernels, &expected);
                    run(kernels, &got);
                    ASSERT_EQ(got, expected) << "level " << static_cast<int>(level) << ", " << count
                                             << " pixels, form " << form << ", misaligned by " << shift;
                }
    }
}
}  // namespace
}  // namespace talv
