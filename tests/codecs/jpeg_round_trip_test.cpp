#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "codecs/jpeg/field_rows.h"
#include "tests/codecs/jpeg_fixture.h"

namespace talv {
namespace {
/// Largest difference between decoded rows and source rows over the first `bytes` of each.
int WorstDifference(const Decoded& decoded, Source& source, int bytes)
{
    int worst = 0;
    for (int y = 0; y < source.header.height; ++y)
        for (int i = 0; i < bytes; ++i)
            worst = std::max(worst, std::abs(decoded.At(i, y) - source.Row(y)[i]));
    return worst;
}

TEST(JpegRoundTrip, EveryColourModeRestartAndKindComesBack)
{
    for (const auto& [width, height] : {std::pair{67, 45}, {16, 16}, {1, 1}, {130, 3}, {3, 130}}) {
        Source source = Source(width, height, 24).Waves(3);
        for (uint32_t mode : {1u, 2u, 3u, 4u, 5u, 6u, 12u}) {
            for (uint32_t restart : {0u, 1u, 5u}) {
                for (int32_t kind : {0, 5}) {
                    const ByteVector stream = Encode(source, {mode, 98, restart, 0, kind});
                    ASSERT_FALSE(stream.empty());
                    const Decoded decoded = DecodeStream(stream, {width, height, 24});
                    ASSERT_EQ(decoded.status, kCodecOk) << "mode " << mode << " kind " << kind;
                    EXPECT_TRUE(decoded.guardsHold && decoded.sourceHolds);
                    // Chroma of a wave loses more the fewer samples it has.
                    EXPECT_LE(WorstDifference(decoded, source, width * 3), mode == 1 || mode == 12 ? 6 : 60)
                        << "mode " << mode << " restart " << restart << " kind " << kind << " width "
                        << width;
                }
            }
        }
    }
}

TEST(JpegRoundTrip, EveryColourModeTakesEveryDepthAndLayout)
{
    // One grey all over: every component but the fourth byte of a pixel and the colour differences holds it.
    const struct
    {
        int bits;
        uint32_t compression;
        std::vector<uint8_t> pixels;
    } sources[] = {{8, 0, {200}},  {12, 0, {0x80, 0x8C, 0xC8}},  {16, 0, {0, 200}},           {24, 0, {200}},
                   {32, 0, {200}}, {16, 0x32595559, {200, 128}}, {16, 0x59565955, {128, 200}}};
    for (const auto& layout : sources) {
        Source source(22, 10, layout.bits, layout.compression);
        for (int y = 0; y < 10; ++y)
            for (size_t i = 0; i < source.Stride(); ++i)
                source.Row(y)[i] = layout.pixels[i % layout.pixels.size()];
        const bool wide = layout.compression == 0 && (layout.bits == 12 || layout.bits == 16);
        for (uint32_t mode = 0; mode <= 12; ++mode) {
            for (int32_t kind : {0, 5}) {
                ByteVector stream;
                const int32_t status = EncodeInto(source, {.colourMode = mode, .kind = kind}, &stream);
                const std::string what = std::to_string(layout.bits) + " bits, mode " + std::to_string(mode) +
                                         ", kind " + std::to_string(kind);
                if (kind == 5 && wide && layout.bits == 16) {
                    EXPECT_EQ(status, kCodecSixteenBits) << what;
                    continue;
                }
                if (kind == 5 && mode == 7) {
                    EXPECT_EQ(status, kCodecBadColourMode) << what;
                    continue;
                }
                ASSERT_EQ(status, kCodecOk) << what;
                const int samples = mode == 0 || (mode >= 8 && mode <= 11) ? 1 : mode == 7 ? 4 : 3;
                const Decoded decoded = DecodeStream(stream, {22, 10, 8 * static_cast<uint32_t>(samples)});
                ASSERT_EQ(decoded.status, kCodecOk) << what;
                for (int k = 0; k < samples; ++k) {
                    const int expected = k == 3 && layout.bits != 32 ? 0 : 200;
                    EXPECT_NEAR(decoded.At(21, 9, samples, k), expected, 1) << what;
                }
            }
        }
    }
}

TEST(JpegRoundTrip, GreyModesTakeTheirChannel)
{
    Source source(40, 24, 24);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 40; ++x)
            for (int k = 0; k < 3; ++k) source.Row(y)[3 * x + k] = static_cast<uint8_t>(60 * (k + 1));
    const int expected[4] = {180, 120, 60, 0};  // red, green, blue
    for (uint32_t mode = 8; mode <= 11; ++mode) {
        const Decoded decoded = DecodeStream(Encode(source, {mode}), {40, 24, 8});
        ASSERT_EQ(decoded.status, kCodecOk);
        const double luma = 0.299 * 180 + 0.587 * 120 + 0.114 * 60;
        EXPECT_NEAR(decoded.At(20, 12), mode == 11 ? luma : expected[mode - 8], 2) << "mode " << mode;
    }
    Source four = Source(21, 19, 32).Waves(4);
    const Decoded decoded = DecodeStream(Encode(four, {7, 98}), {21, 19, 32});
    ASSERT_EQ(decoded.status, kCodecOk);
    EXPECT_LE(WorstDifference(decoded, four, 84), 6);
}

TEST(JpegRoundTrip, PackedSourcesKeepLumaAndColour)
{
    for (uint32_t compression : {0x32595559u, 0x59565955u}) {
        Source source(32, 16, 16, compression);
        const int lumaAt = compression == 0x59565955u ? 1 : 0;
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 32; x += 2) {
                uint8_t* pair = source.Row(y) + 2 * x;
                pair[lumaAt] = pair[lumaAt + 2] = static_cast<uint8_t>(80 + 8 * y);
                pair[1 - lumaAt] = 90;
                pair[3 - lumaAt] = 160;
            }
        }
        const Decoded decoded = DecodeStream(Encode(source, {2, 95}), {32, 16, 24});
        ASSERT_EQ(decoded.status, kCodecOk);
        for (int y : {0, 8, 15}) {
            const double luma = 80 + 8 * y;
            EXPECT_NEAR(decoded.At(10, y, 3, 0), luma + 1.772 * (90 - 128), 4);
            EXPECT_NEAR(decoded.At(10, y, 3, 2), luma + 1.402 * (160 - 128), 4);
        }
    }
}

TEST(JpegRoundTrip, LosslessComesBackToTheBit)
{
    for (const auto& [width, height] : {std::pair{53, 31}, {1, 9}, {9, 1}, {300, 130}}) {
        for (uint32_t restart : {0u, static_cast<uint32_t>(width), 7u}) {
            for (uint32_t mask : {0xFFu, 0x07u, 0x00u}) {
                Source grey = Source(width, height, 8).Noise(1, mask);
                Decoded decoded =
                    DecodeStream(Encode(grey, {0, 90, restart, kSaveLossless}), {width, height, 8});
                ASSERT_EQ(decoded.status, kCodecOk);
                EXPECT_EQ(WorstDifference(decoded, grey, width), 0) << restart << ' ' << width;
                Source colour = Source(width, height, 24).Noise(2, mask);
                decoded = DecodeStream(Encode(colour, {12, 90, restart, kSaveLossless}), {width, height, 24});
                ASSERT_EQ(decoded.status, kCodecOk);
                EXPECT_EQ(WorstDifference(decoded, colour, width * 3), 0) << restart << ' ' << width;
                Source wide = Source(width, height, 16).Noise(3, mask);
                decoded = DecodeStream(Encode(wide, {0, 90, restart, 0}), {width, height, 16});
                ASSERT_EQ(decoded.status, kCodecOk);
                EXPECT_EQ(WorstDifference(decoded, wide, width * 2), 0) << restart << ' ' << width;
            }
        }
    }
    Source packed = Source(50, 20, 12).Noise(4);
    const Decoded decoded = DecodeStream(Encode(packed, {0}), {50, 20, 16});
    ASSERT_EQ(decoded.status, kCodecOk);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 50; x += 2) {
            const uint8_t* p = packed.Row(y) + x / 2 * 3;
            EXPECT_EQ(decoded.At(x, y, 2) | decoded.At(x, y, 2, 1) << 8, p[0] | (p[1] & 15) << 8);
            EXPECT_EQ(decoded.At(x + 1, y, 2) | decoded.At(x + 1, y, 2, 1) << 8, p[1] >> 4 | p[2] << 4);
        }
    }
}

TEST(JpegEncoder, PositiveHeightMeansTopDownForPackedSourcesOnly)
{
    Source grey(16, 16, 8);
    std::fill_n(grey.Row(0), 16 * 8, uint8_t{200});
    const auto topOf = [](const Decoded& d) { return d.At(5, 2); };
    EXPECT_GT(topOf(DecodeStream(Encode(grey, {.topFirst = true}), {16, 16, 8})), 150);
    EXPECT_LT(topOf(DecodeStream(Encode(grey, {.topFirst = false}), {16, 16, 8})), 50);
    BitmapHeader positive = grey.header;
    for (uint32_t compression : {0u, 0x59524754u}) {
        positive.compression = compression;
        ByteVector stream(1 << 16);
        uint32_t size = 1 << 16;
        ASSERT_EQ(fltSaveBufferCMP(grey.rows.data(), &positive, stream.data(), &size, 0, 0, 0, 95, nullptr),
                  kCodecOk);
        stream.resize(size);
        EXPECT_EQ(topOf(DecodeStream(stream, {16, 16, 8})) > 150, compression != 0);
    }
}

TEST(JpegEncoder, RefusalsAndRoom)
{
    const Source source = Source(16, 16, 24).Waves(3);
    ByteVector stream;
    ASSERT_EQ(EncodeInto(source, {4}, &stream), kCodecOk);
    const auto exact = static_cast<uint32_t>(stream.size());
    EXPECT_EQ(EncodeInto(source, {4}, &stream, exact), kCodecOk);
    EXPECT_EQ(EncodeInto(source, {4}, &stream, exact - 1), kCodecInvalidParameter);
    EXPECT_EQ(EncodeInto(source, {13}, &stream), kCodecBadColourMode);
    Source odd = source;
    odd.header.bitsPerPixel = 15;
    EXPECT_EQ(EncodeInto(odd, {4}, &stream), kCodecBadDepth);
    const Source wide = Source(16, 16, 16);
    uint32_t size = 100;
    EXPECT_EQ(fltSaveBufferCMP(wide.rows.data(), &wide.header, stream.data(), &size, 1, 0, 0, 95, nullptr),
              kCodecSixteenBits);
    EXPECT_EQ(fltSaveBufferCMP(nullptr, &wide.header, stream.data(), &size, 0, 0, 0, 95, nullptr),
              kCodecInvalidParameter);
    SaveExtras extras{};
    EXPECT_EQ(EncodeInto(source, {.extras = &extras}, &stream), kCodecInvalidParameter);
    odd = source;
    odd.header.size = 44;
    EXPECT_EQ(EncodeInto(odd, {4}, &stream), kCodecInvalidParameter);
}

TEST(JpegEncoder, ApplicationSegmentsByOption)
{
    const Source source = Source(16, 16, 24).Waves(3);
    const ByteVector jfif = Encode(source, {4});
    EXPECT_NE(FindSegment(jfif, 0xE0), 0u);
    const size_t comment = FindSegment(jfif, 0xFE);
    ASSERT_NE(comment, 0u);
    EXPECT_EQ(jfif[comment - 1], 31);
    EXPECT_STREQ(reinterpret_cast<const char*>(&jfif[comment]), "Talv Systems Inc. V1.01");
    const ByteVector nitf = Encode(source, {.colourMode = 4, .options = kSaveNitf});
    const size_t app6 = FindSegment(nitf, 0xE6);
    ASSERT_NE(app6, 0u);
    EXPECT_EQ(nitf[app6 - 1], 25);
    EXPECT_EQ(nitf[app6 + 7], 'P');
    const ByteVector motion =
        Encode(source, {.colourMode = 4, .options = kSaveMotionFrame | kSaveSecondField});
    EXPECT_EQ(motion[FindSegment(motion, 0xE0) + 4], 2);
    EXPECT_EQ(FindSegment(motion, 0xFE), 0u);
    const std::string text(70000, 'x');
    SaveExtras extras{};
    extras.size = sizeof extras;
    extras.comment = text.data();
    extras.commentLength = 70000;
    const ByteVector commented =
        Encode(source, {.colourMode = 4, .options = kSaveMotionFrame, .extras = &extras});
    const size_t at = FindSegment(commented, 0xFE);
    EXPECT_EQ(commented[at - 2] << 8 | commented[at - 1], 65535);
    EXPECT_EQ(DecodeStream(commented, {16, 16, 24}).status, kCodecOk);
}

TEST(JpegFields, TwoFieldsInterleaveInJpegAndCmp)
{
    for (int height : {48, 49}) {
        Source source(40, height, 8);
        for (int y = 0; y < height; ++y)
            std::fill_n(source.Row(y), 40, static_cast<uint8_t>(y & 1 ? 200 : 40));
        for (int32_t kind : {0, 5}) {
            for (uint32_t restart : {0u, 1u}) {
                const ByteVector stream =
                    Encode(source, {.restart = restart, .options = kSaveFields, .kind = kind});
                const Decoded decoded = DecodeStream(stream, {40, height, 8});
                ASSERT_EQ(decoded.status, kCodecOk);
                EXPECT_TRUE(decoded.sourceHolds);
                EXPECT_LE(WorstDifference(decoded, source, 40), 2) << "kind " << kind << " height " << height;
                const Decoded first = DecodeStream(stream, {40, height, 8, 0, 1u << 31});
                EXPECT_NEAR(first.At(7, 2), 40, 2);
                EXPECT_EQ(first.At(7, 1), 0xA5);
            }
        }
    }
}

TEST(JpegFields, SecondImageIsTheSecondFieldAndAMissingOneIsInterpolated)
{
    Source dark(24, 16, 8), bright(24, 16, 8);
    std::fill(dark.rows.begin(), dark.rows.end(), uint8_t{50});
    std::fill(bright.rows.begin(), bright.rows.end(), uint8_t{150});
    ByteVector both = Encode(dark, {});
    const ByteVector second = Encode(bright, {});
    const Decoded alone = DecodeStream(both, {24, 32, 8});
    ASSERT_EQ(alone.status, kCodecOk);
    EXPECT_EQ(alone.At(3, 1), 50);
    EXPECT_EQ(alone.At(3, 31), 50);
    both.insert(both.end(), second.begin(), second.end());
    const Decoded fields = DecodeStream(both, {24, 32, 8});
    EXPECT_EQ(fields.At(3, 0), 50);
    EXPECT_EQ(fields.At(3, 1), 150);
    EXPECT_EQ(fields.At(3, 31), 150);
}

TEST(JpegFields, AStreamThatSaysItIsAFieldIsOneHoweverTall)
{
    Source source = Source(24, 32, 8).Waves(1);
    const ByteVector stream = Encode(source, {.restart = 3, .options = kSaveMotionFrame | kSaveFirstField});
    const ByteVector frame = Encode(source, {.restart = 3, .options = kSaveMotionFrame});
    const Decoded field = DecodeStream(stream, {24, 32, 8}), whole = DecodeStream(frame, {24, 32, 8});
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 24; ++x) {
            EXPECT_EQ(field.At(x, 2 * y), whole.At(x, y));
            EXPECT_NEAR(field.At(x, 2 * y + 1), (whole.At(x, y) + whole.At(x, std::min(y + 1, 15))) / 2, 1);
        }
}

TEST(JpegFields, PackedAndPlainInterpolationDiffer)
{
    const ByteVector ones(11, 1);
    ByteVector out(11);
    jpeg::InterpolateRow(SimdLevel::plain, ones.data(), ones.data(), out.data(), 11);
    EXPECT_EQ(out, ByteVector(11, 1));
    jpeg::InterpolateRow(SimdLevel::sse2, ones.data(), ones.data(), out.data(), 11);
    EXPECT_EQ(out, (ByteVector{0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1}));
}

TEST(JpegRows, NegativeHeightTurnsThePictureOver)
{
    Source source = Source(37, 29, 24).Waves(3);
    const ByteVector stream = Encode(source, {4});
    const Decoded up = DecodeStream(stream, {37, 29, 24});
    const Decoded down = DecodeStream(stream, {37, -29, 24});
    for (int y = 0; y < 29; ++y)
        for (int x = 0; x < 37 * 3; ++x) ASSERT_EQ(up.At(x, y), down.At(x, 28 - y));
    // A shorter destination gets the first rows and drops the others.
    const Decoded part = DecodeStream(stream, {37, 20, 24});
    ASSERT_EQ(part.status, kCodecOk);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 37 * 3; ++x) ASSERT_EQ(up.At(x, y), part.At(x, y));
}
}  // namespace
}  // namespace talv
