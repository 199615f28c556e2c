#include "image/image_kernels.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <vector>

namespace talv {
namespace {
using Bytes = std::vector<uint8_t>;
constexpr size_t kGuard = 64;
constexpr size_t kMostSamples = 67;
constexpr unsigned kSeed = 20240607;

std::vector<SimdLevel> Levels()
{
    std::vector<SimdLevel> levels;
    for (SimdLevel level : {SimdLevel::sse2, SimdLevel::avx2, SimdLevel::avx512})
        if (level <= DetectedSimdLevel()) levels.push_back(level);
    return levels;
}

Bytes RandomBytes(std::mt19937* random, size_t count)
{
    Bytes bytes(count);
    const bool extremes = (*random)() % 4 == 0;
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(extremes ? ((*random)() % 2) * 255 : (*random)());
    return bytes;
}

/// Runs `loop(kernels, block)` with the reference and with every level on equal random blocks of
/// `bytesPerSample` per sample and guards on both sides; the blocks must come out equal.
template <class Loop>
void ExpectLevelsAgree(size_t bytesPerSample, Loop loop)
{
    std::mt19937 random(kSeed);
    for (size_t count = 0; count <= kMostSamples * 8; count += count < kMostSamples ? 1 : 37)
        for (size_t skew : {size_t{0}, size_t{1}, size_t{3}}) {
            const Bytes start = RandomBytes(&random, 2 * kGuard + skew + count * bytesPerSample);
            Bytes expected = start;
            loop(kPlainImageKernels, expected.data() + kGuard + skew, count);
            for (SimdLevel level : Levels()) {
                Bytes got = start;
                loop(SelectImageKernels(level), got.data() + kGuard + skew, count);
                ASSERT_EQ(got, expected) << "level " << static_cast<int>(level) << ", count " << count
                                         << ", skew " << skew << ", seed " << kSeed;
            }
        }
}
}  // namespace

TEST(ImageKernels, LevelsAgreeInPlace)
{
    ExpectLevelsAgree(3, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.swapRgb(block, block, count);
    });
    ExpectLevelsAgree(2, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.flipWords(block, block, count, 0x8000);
    });
    ExpectLevelsAgree(2, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.swapWords(block, count);
    });
    ExpectLevelsAgree(3, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.ybrToRgb(block, block + count, block + 2 * count, count);
    });
    ExpectLevelsAgree(3, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.ybrPixelsToBgr(block, count);
    });
}

TEST(ImageKernels, LevelsAgreeWhenTheTargetLiesAnyWayBeforeTheSource)
{
    for (size_t distance : {1, 2, 3, 7, 16, 33}) {
        ExpectLevelsAgree(3, [&](const ImageKernels& kernels, uint8_t* block, size_t count) {
            kernels.swapRgb(block, block - distance, count);
        });
        ExpectLevelsAgree(2, [&](const ImageKernels& kernels, uint8_t* block, size_t count) {
            kernels.flipWords(block, block - distance, count, 0x0800);
        });
        ExpectLevelsAgree(1, [&](const ImageKernels& kernels, uint8_t* block, size_t count) {
            kernels.scaleBytes(block, block - distance, count, 17, 200);
        });
    }
}

TEST(ImageKernels, LevelsAgreeOnEveryScaledByte)
{
    Bytes bytes(256);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    for (SimdLevel level : Levels())
        for (int ends = 0; ends < 65536; ++ends) {
            const auto smallest = static_cast<uint8_t>(ends), largest = static_cast<uint8_t>(ends >> 8);
            Bytes got(256), expected(256);
            SelectImageKernels(level).scaleBytes(bytes.data(), got.data(), 256, smallest, largest);
            kPlainImageKernels.scaleBytes(bytes.data(), expected.data(), 256, smallest, largest);
            ASSERT_EQ(got, expected) << int{smallest} << " to " << int{largest};
        }
}

TEST(ImageKernels, LevelsAgreeInterleavingAndCopying)
{
    ExpectLevelsAgree(4, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.interleave2(block, block + count, block + 2 * count, count);
    });
    ExpectLevelsAgree(6, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.interleave3(block, block + count, block + 2 * count, block + 3 * count, count);
    });
    ExpectLevelsAgree(2, [](const ImageKernels& kernels, uint8_t* block, size_t count) {
        kernels.copyPastCaches(block + count, block, count);
    });
}

TEST(ImageKernels, LevelsAgreeOnRanges)
{
    // The range takes the place of the samples, so that the common comparison sees it.
    const auto put = [](uint8_t* block, size_t bytes, const ValueRange& range) {
        for (size_t i = 0; i < bytes; ++i)
            block[i] =
                static_cast<uint8_t>(i % 2 == 0 ? range.smallest : range.largest >> (i % 4 == 1 ? 0 : 8));
    };
    ExpectLevelsAgree(1, [&](const ImageKernels& kernels, uint8_t* block, size_t count) {
        ValueRange range;
        kernels.rangeOfBytes(block, count, &range);
        put(block, count, range);
    });
    for (WordValue value : {WordValue{0, 0xFFFF, 0}, WordValue{0x8000, 0xFFFF, 0}, WordValue{0, 0x0FFF, 4},
                            WordValue{0x0800, 0x0FFF, 0}, WordValue{0, 1, 15}})
        ExpectLevelsAgree(2, [&](const ImageKernels& kernels, uint8_t* block, size_t count) {
            ValueRange range;
            kernels.rangeOfWords(block, count, value, &range);
            put(block, 2 * count, range);
        });
}

TEST(YbrToRgb, UsesTheStudioRangeMatrix)
{
    struct
    {
        uint8_t y, cb, cr, red, green, blue;
    } const cases[] = {{16, 128, 128, 0, 0, 0},    {235, 128, 128, 254, 254, 254},
                       {10, 128, 128, 0, 0, 0},    {255, 128, 128, 255, 255, 255},
                       {128, 0, 128, 130, 180, 0}, {81, 90, 240, 254, 0, 0}};
    for (const auto& one : cases) {
        uint8_t pixel[3] = {one.y, one.cb, one.cr};
        kPlainImageKernels.ybrPixelsToBgr(pixel, 1);
        EXPECT_EQ(Bytes(pixel, pixel + 3), Bytes({one.blue, one.green, one.red})) << int{one.y};
    }
}

// Every value that a level's fixed-point division can meet.
TEST(YbrToRgb, LevelsAgreeOnEveryColor)
{
    Bytes cb(256 * 256), cr(256 * 256);
    for (size_t i = 0; i < cb.size(); ++i)
        cb[i] = static_cast<uint8_t>(i), cr[i] = static_cast<uint8_t>(i >> 8);
    for (SimdLevel level : Levels())
        for (int y = 0; y < 256; ++y) {
            Bytes a(cb.size(), static_cast<uint8_t>(y)), b = cb, c = cr, expectedA = a, expectedB = b,
                                                         expectedC = c;
            SelectImageKernels(level).ybrToRgb(a.data(), b.data(), c.data(), a.size());
            kPlainImageKernels.ybrToRgb(expectedA.data(), expectedB.data(), expectedC.data(), a.size());
            ASSERT_TRUE(a == expectedA && b == expectedB && c == expectedC) << "luma " << y;
        }
}
}  // namespace talv
