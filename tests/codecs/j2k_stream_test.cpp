// Whole streams: conformance samples with the digests an independent decoder confirmed, damage at every byte,
// destinations smaller and larger than the image, and the variants of the row kernels against each other.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "codecs/j2k/j2k_output.h"
#include "codecs/j2k/j2k_wavelet.h"
#include "platform/cpu.h"
#include "tests/codecs/j2k_test_streams.h"

namespace talv::j2k_test {
namespace {
struct Conformance
{
    const char* name;
    uint32_t width, height, bits, digest;
};
const Conformance kStreams[] = {
    {"p0_01.j2k", 128, 128, 8, 0xFBB9BDE5},  {"p0_09.j2k", 17, 37, 8, 0x6F713076},
    {"p0_10.j2k", 256, 256, 24, 0x015D6C95}, {"p0_12.j2k", 3, 5, 8, 0x602B295D},
    {"p0_14.j2k", 49, 49, 24, 0x77CAB960},   {"p1_06.j2k", 12, 12, 24, 0x8446F846},
};

TEST(J2kStream, ConformanceStreamsDecodeAsAnIndependentDecoderHasThem)
{
    for (const Conformance& c : kStreams) {
        for (unsigned threads : {1u, 2u, 5u}) {
            const Picture picture = Decode(Sample(c.name), c.width, c.height, c.bits, threads);
            EXPECT_EQ(picture.status, kCodecOk) << c.name;
            EXPECT_EQ(Digest(picture.rows), c.digest) << c.name << " on " << threads;
        }
    }
}

TEST(J2kStream, ClippedDestinationHoldsTheImagesCorner)
{
    const Picture whole = Decode(Sample("p0_14.j2k"), 49, 49, 24);
    const Picture clipped = Decode(Sample("p0_14.j2k"), 10, 7, 24);
    const Picture larger = Decode(Sample("p0_14.j2k"), 60, 50, 24);
    ASSERT_EQ(clipped.status, kCodecOk);
    ASSERT_EQ(larger.status, kCodecOk);
    for (size_t y = 0; y < 50; ++y) {
        for (size_t x = 0; x < 60 * 3; ++x) {
            const bool inside = y < 49 && x < 49 * 3;
            const uint8_t expected = inside ? whole.rows[y * 147 + x] : 0;
            ASSERT_EQ(larger.rows[y * 180 + x], expected) << x << ' ' << y;
            if (y < 7 && x < 30) {
                ASSERT_EQ(clipped.rows[y * 30 + x], expected) << x << ' ' << y;
            }
        }
    }
}

TEST(J2kStream, GreyFillsAColourDestinationAndColourIsNoGrey)
{
    const Picture grey = Decode(Sample("p0_12.j2k"), 3, 5, 8);
    const Picture colour = Decode(Sample("p0_12.j2k"), 3, 5, 24);
    ASSERT_EQ(colour.status, kCodecOk);
    for (size_t i = 0; i < colour.rows.size(); ++i) EXPECT_EQ(colour.rows[i], grey.rows[i / 3]);
    EXPECT_EQ(Decode(Sample("p0_14.j2k"), 49, 49, 8).status, kCodecBadDepth);
}

TEST(J2kStream, WiderDestinationKeepsTheValues)
{
    const Picture narrow = Decode(Sample("p0_01.j2k"), 128, 128, 8);
    const Picture wide = Decode(Sample("p0_01.j2k"), 128, 128, 16);
    ASSERT_EQ(wide.status, kCodecOk);
    for (size_t i = 0; i < narrow.rows.size(); ++i) {
        ASSERT_EQ(wide.rows[2 * i], narrow.rows[i]);
        ASSERT_EQ(wide.rows[2 * i + 1], 0);
    }
}

TEST(J2kStream, CutAfterEveryByteGivesADocumentedResult)
{
    for (const Conformance& c : kStreams) {
        const ByteVector whole = Sample(c.name);
        const size_t step = whole.size() > 2000 ? whole.size() / 400 : 1;
        int decoded = 0;
        for (size_t length = 0; length < whole.size(); length += length < 300 ? 1 : step) {
            const ByteVector cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
            const Picture picture = Decode(cut, c.width, c.height, c.bits);
            const int32_t status = picture.status;
            EXPECT_TRUE(status == kCodecOk || status <= kJ2kBrokenHeader) << c.name << ' ' << length;
            if (status == kCodecOk && length % 5 == 0) {
                EXPECT_TRUE(Decode(cut, c.width, c.height, c.bits, 2).rows == picture.rows) << length;
            }
            decoded += status == kCodecOk;
        }
        EXPECT_GT(decoded, 0) << c.name;
    }
}

TEST(J2kStream, DamagedBytesNeverPassTheRows)
{
    std::mt19937 random(7);
    for (const Conformance& c : kStreams) {
        const ByteVector whole = Sample(c.name);
        for (int round = 0; round < 150; ++round) {
            ByteVector damaged = whole;
            for (int i = 0; i < 1 + round % 4; ++i)
                damaged[random() % (round % 2 == 0 ? std::min<size_t>(200, damaged.size())
                                                   : damaged.size())] = static_cast<uint8_t>(random());
            Picture one, two;
            try {
                one = Decode(damaged, c.width, c.height, c.bits, 1);
                two = Decode(damaged, c.width, c.height, c.bits, 2);
            } catch (const std::bad_alloc&) {
                continue;  // more memory asked for than a frame may cost
            }
            if (one.status == kCodecOk && two.status == kCodecOk) {
                EXPECT_EQ(one.rows, two.rows) << c.name << round;
            }
        }
    }
}

TEST(J2kWavelet, VariantsAgreeOnEveryWidth)
{
    if (DetectedSimdLevel() < SimdLevel::avx2) GTEST_SKIP() << "processor without AVX2";
    const J2kWaveletKernels& plain = PlainJ2kWaveletKernels();
    const J2kWaveletKernels& wide = Avx2J2kWaveletKernels();
    std::mt19937 random(3);
    for (size_t width = 1; width < 140; ++width) {
        for (int first : {0, 1}) {
            const size_t low = (width + 1 - static_cast<size_t>(first)) / 2;
            std::vector<int32_t> a(width + 8, 77);
            for (size_t i = 0; i < width; ++i) a[i] = static_cast<int32_t>(random());
            std::vector<int32_t> b = a, spare(width + 16);
            std::vector<float> f(a.begin(), a.end()), realSpare(width + 16);
            std::vector<float> g = f;
            plain.row53(a.data(), spare.data(), low, width - low, first);
            wide.row53(b.data(), spare.data(), low, width - low, first);
            EXPECT_EQ(a, b) << width;
            plain.row97(f.data(), realSpare.data(), low, width - low, first);
            wide.row97(g.data(), realSpare.data(), low, width - low, first);
            EXPECT_EQ(f, g) << width;
            EXPECT_EQ(a[width], 77);
        }
    }
}

TEST(J2kOutput, EightBitSamplesAreRoundedShiftedAndLimited)
{
    struct Case
    {
        int precision;
        int32_t sample, expected;
    };
    const Case cases[] = {{8, 0, 128},  {8, 127, 255}, {8, 500, 255},  {8, -129, 0},
                          {12, 8, 129}, {12, 7, 128},  {12, -2048, 0}, {12, 2047, 255},
                          {4, 7, 240},  {4, 20, 240},  {4, -8, 0},     {4, 1, 144}};
    for (const Case& c : cases) {
        const J2kSampleRange range = RangeOfJ2kSamples({static_cast<uint8_t>(c.precision), false, 1, 1}, 1);
        const auto real = static_cast<float>(c.sample);
        int32_t whole = 0, fraction = 0;
        BestJ2kOutputKernels().convert(&c.sample, &whole, 1, range);
        BestJ2kOutputKernels().convertReal(&real, &fraction, 1, range);
        EXPECT_EQ(whole, c.expected) << c.precision << ' ' << c.sample;
        EXPECT_EQ(fraction, c.expected) << c.precision << ' ' << c.sample;
    }
    // The deepest samples keep their ends.
    for (int32_t sample : {-0x40000000, 0x3FFFFFFF}) {
        int32_t whole = 0;
        BestJ2kOutputKernels().convert(&sample, &whole, 1, RangeOfJ2kSamples({31, false, 1, 1}, 4));
        EXPECT_EQ(whole, sample < 0 ? 0 : 0x7FFFFFFF);
    }
}
}  // namespace
}  // namespace talv::j2k_test
