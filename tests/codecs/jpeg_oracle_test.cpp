// JPEG beside the packaged codecs: their streams in our decoder, ours in theirs.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/codecs/jpeg_fixture.h"

#ifdef TALV_TEST_LIBJPEG
#include <jpeglib.h>

#include <cstdio>
#endif
#ifdef TALV_TEST_DCMTK
#include "tests/support/dcmtk_jpeg.h"
#endif

namespace talv {
namespace {
// Inline, for where no packaged codec is there nobody calls them.
inline int WorstDifference(const ByteVector& a, const ByteVector& b)
{
    if (a.size() != b.size()) return 256;
    int worst = 0;
    for (size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
}

/// Rows without the bytes that fill them up.
inline ByteVector Pixels(const Decoded& decoded, int width, int height, size_t bytesPerPixel)
{
    ByteVector pixels;
    for (int y = 0; y < height; ++y) {
        const auto row =
            decoded.rows.begin() + static_cast<ptrdiff_t>(static_cast<size_t>(y) * decoded.stride);
        pixels.insert(pixels.end(), row,
                      row + static_cast<ptrdiff_t>(static_cast<size_t>(width) * bytesPerPixel));
    }
    return pixels;
}

ByteVector SampleStream(const char* name)
{
    std::ifstream file(std::string(TALV_TEST_DATA) + "/samples/codec/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

#ifndef TALV_TEST_LIBJPEG
TEST(JpegPeer, Libjpeg)
{
    GTEST_SKIP() << "built without libjpeg";
}
#else
struct PeerCoding
{
    int components;
    J_COLOR_SPACE colours;     ///< of the stream
    std::vector<int> factors;  ///< of each component, 16 * h + v; empty: all 1
    int quality;
    bool progressive;
    unsigned restart;
    bool interpolates;  ///< chroma, as we do for these factors
};

ByteVector CompressWithPeer(const PeerCoding& coding, const ByteVector& pixels, int width, int height)
{
    jpeg_compress_struct c;
    jpeg_error_mgr errors;
    c.err = jpeg_std_error(&errors);
    jpeg_create_compress(&c);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &bytes, &size);
    c.image_width = static_cast<JDIMENSION>(width);
    c.image_height = static_cast<JDIMENSION>(height);
    c.input_components = coding.components;
    c.in_color_space = coding.components == 1   ? JCS_GRAYSCALE
                       : coding.components == 3 ? JCS_EXT_BGR
                                                : JCS_CMYK;
    jpeg_set_defaults(&c);
    jpeg_set_colorspace(&c, coding.colours);
    jpeg_set_quality(&c, coding.quality, TRUE);
    for (size_t i = 0; i < coding.factors.size(); ++i) {
        c.comp_info[i].h_samp_factor = coding.factors[i] >> 4;
        c.comp_info[i].v_samp_factor = coding.factors[i] & 15;
    }
    c.restart_interval = coding.restart;
    if (coding.progressive) jpeg_simple_progression(&c);
    jpeg_start_compress(&c, TRUE);
    for (int y = 0; y < height; ++y) {
        auto* row = const_cast<JSAMPLE*>(&pixels[static_cast<size_t>(y * width * coding.components)]);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    ByteVector stream(bytes, bytes + size);
    jpeg_destroy_compress(&c);
    std::free(bytes);
    return stream;
}

/// Grey; blue, green, red; or four components as they are.
ByteVector DecompressWithPeer(const ByteVector& stream, bool interpolates)
{
    jpeg_decompress_struct c;
    jpeg_error_mgr errors;
    c.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&c);
    jpeg_mem_src(&c, stream.data(), stream.size());
    jpeg_read_header(&c, TRUE);
    if (c.num_components == 4) c.jpeg_color_space = c.out_color_space = JCS_CMYK;
    if (c.num_components == 3) c.out_color_space = JCS_EXT_BGR;
    c.do_fancy_upsampling = interpolates ? TRUE : FALSE;
    jpeg_start_decompress(&c);
    const size_t rowBytes = c.output_width * static_cast<size_t>(c.output_components);
    ByteVector pixels(rowBytes * c.output_height);
    while (c.output_scanline < c.output_height) {
        JSAMPLE* row = &pixels[c.output_scanline * rowBytes];
        jpeg_read_scanlines(&c, &row, 1);
    }
    jpeg_finish_decompress(&c);
    jpeg_destroy_decompress(&c);
    return pixels;
}

TEST(JpegPeer, EveryColourSpaceSamplingAndProcessDecodesToTheSamePicture)
{
    const PeerCoding kinds[] = {
        {1, JCS_GRAYSCALE, {}, 0, false, 0, true},
        {3, JCS_YCbCr, {}, 0, false, 0, true},
        {3, JCS_RGB, {}, 0, false, 0, true},
        {3, JCS_YCbCr, {0x21, 0x11, 0x11}, 0, false, 0, true},
        {3, JCS_YCbCr, {0x22, 0x11, 0x11}, 0, false, 0, true},
        {3, JCS_YCbCr, {0x12, 0x11, 0x11}, 0, false, 0, true},
        {3, JCS_YCbCr, {0x41, 0x11, 0x11}, 0, false, 0, false},
        {3, JCS_YCbCr, {0x42, 0x11, 0x11}, 0, false, 0, false},
        {3, JCS_YCbCr, {0x14, 0x11, 0x11}, 0, false, 0, false},
        {3, JCS_YCbCr, {0x11, 0x31, 0x11}, 0, false, 0, false},
        {4, JCS_CMYK, {0x11, 0x12, 0x31, 0x14}, 0, false, 0, false},
        {4, JCS_CMYK, {}, 0, false, 0, true},
        {4, JCS_YCCK, {}, 0, false, 0, true},
    };
    for (PeerCoding kind : kinds) {
        for (const auto& [width, height] :
             {std::pair{1, 1}, {6, 5}, {17, 33}, {67, 45}, {130, 3}, {300, 70}}) {
            const int bits = 8 * kind.components;
            Source source(width, height, bits);
            source.Waves(kind.components);
            for (size_t i = 0; i < source.rows.size(); ++i)
                source.rows[i] = static_cast<uint8_t>(source.rows[i] + i * 7919 % 13);
            ByteVector pixels;
            for (int y = 0; y < height; ++y)
                pixels.insert(pixels.end(), source.Row(y), source.Row(y) + width * kind.components);
            for (int variant = 0; variant < 12; ++variant) {
                kind.quality = variant % 3 == 0 ? 30 : variant % 3 == 1 ? 80 : 98;
                kind.progressive = variant % 2 == 1;
                kind.restart = variant < 6 ? 0 : variant < 9 ? 1 : 7;
                const ByteVector stream = CompressWithPeer(kind, pixels, width, height);
                const Decoded own = DecodeStream(stream, {width, height, static_cast<uint32_t>(bits)});
                ASSERT_EQ(own.status, kCodecOk);
                // Our factor from Cr to red is a little smaller than theirs.
                EXPECT_LE(WorstDifference(Pixels(own, width, height, static_cast<size_t>(kind.components)),
                                          DecompressWithPeer(stream, kind.interpolates)),
                          kind.colours == JCS_YCbCr ? 2 : 1)
                    << "colours " << kind.colours << " factors "
                    << (kind.factors.empty() ? 0x11 : kind.factors[0]) << " size " << width << " x " << height
                    << " variant " << variant;
            }
        }
    }
}

TEST(JpegPeer, ProgressiveStreamsCutAnywhereShowWhatHasCome)
{
    const Source source = Source(45, 30, 24).Waves(3);
    ByteVector pixels;
    for (int y = 0; y < 30; ++y)
        pixels.insert(pixels.end(), source.rows.begin() + static_cast<ptrdiff_t>(source.Stride()) * y,
                      source.rows.begin() + static_cast<ptrdiff_t>(source.Stride()) * y + 45 * 3);
    const ByteVector stream = CompressWithPeer({3, JCS_YCbCr, {}, 90, true, 0, true}, pixels, 45, 30);
    for (size_t length = FindSegment(stream, 0xDA) + 10; length <= stream.size(); ++length) {
        const ByteVector cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(length));
        ASSERT_EQ(DecodeStream(cut, {45, 30, 24}).status, kCodecOk) << length << " of " << stream.size();
    }
}

TEST(JpegPeer, ReadsWhatOurEncoderWrites)
{
    for (const auto& [width, height] : {std::pair{67, 45}, {5, 2}, {130, 17}}) {
        for (uint32_t restart : {0u, 5u}) {
            for (uint32_t mode : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 11u, 12u}) {
                const uint32_t bits = mode == 0 || mode == 8 || mode == 11 ? 8 : mode == 7 ? 32 : 24;
                const Source source = Source(width, height, mode == 7 ? 32 : 24).Waves(mode == 7 ? 4 : 3);
                const ByteVector stream = Encode(source, {mode, 90, restart});
                const Decoded own = DecodeStream(stream, {width, height, bits});
                ASSERT_EQ(own.status, kCodecOk);
                const bool interpolates = mode == 2 || mode == 3 || mode == 4;
                if (interpolates && width < 6) continue;  // the peer repeats where chroma is that narrow
                EXPECT_LE(WorstDifference(Pixels(own, width, height, bits / 8),
                                          DecompressWithPeer(stream, interpolates)),
                          mode == 12 || bits != 24 ? 1 : 2)
                    << "mode " << mode << " restart " << restart << " width " << width;
            }
        }
    }
}

TEST(JpegPeer, ConformanceStreams)
{
    // One picture in four components of odd sampling factors, baseline and extended.
    for (const char* name : {"t83-p1-a1.jpg", "t83-p2-c1.jpg"}) {
        const ByteVector stream = SampleStream(name);
        const Decoded own = DecodeStream(stream, {255, 257, 32});
        ASSERT_EQ(own.status, kCodecOk);
        EXPECT_LE(WorstDifference(Pixels(own, 255, 257, 4), DecompressWithPeer(stream, false)), 1) << name;
    }
}
#endif

#ifndef TALV_TEST_DCMTK
TEST(JpegPeer, DicomToolkit)
{
    GTEST_SKIP() << "built without the DICOM toolkit";
}
#else
class JpegToolkit : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        DJDecoderRegistration::registerCodecs();
        DJEncoderRegistration::registerCodecs();
    }
    static void TearDownTestSuite()
    {
        DJDecoderRegistration::cleanup();
        DJEncoderRegistration::cleanup();
    }
};

/// Rows of words or bytes, `bits` deep, slow waves with noise.
ByteVector GreyRows(int width, int height, int bits)
{
    Source noise = Source(width, height, 8).Noise(9, 7).Waves(0);
    ByteVector rows;
    std::mt19937 random(static_cast<uint32_t>(bits));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int top = (1 << bits) - 1;
            const int value = (std::abs(x * 37 % 128 - 64) + std::abs(y * 3 % 128 - 64)) * top / 128;
            const int sample = std::clamp(value + static_cast<int>(random() % 9) - 4, 0, top);
            rows.push_back(static_cast<uint8_t>(sample));
            if (bits > 8) rows.push_back(static_cast<uint8_t>(sample >> 8));
        }
    }
    return rows;
}

TEST_F(JpegToolkit, ItsLosslessStreamsComeBackToTheBitAndItReadsOurs)
{
    for (int bits : {8, 12, 16}) {
        const int width = 62, height = 47, bytes = bits > 8 ? 2 : 1;
        const DcmtkPicture picture{width, height, 1, 8 * bytes, bits};
        const ByteVector rows = GreyRows(width, height, bits);
        for (int predictor = 1; predictor <= 7; ++predictor) {
            for (int transform : {0, 3}) {
                const ByteVector stream =
                    EncodeWithDcmtk(picture, rows, EXS_JPEGProcess14, DJ_RPLossless(predictor, transform));
                ASSERT_FALSE(stream.empty());
                const Decoded own = DecodeStream(stream, {width, height, static_cast<uint32_t>(8 * bytes)});
                ASSERT_EQ(own.status, kCodecOk);
                ByteVector expected(rows);
                for (size_t i = 0; i < expected.size(); i += static_cast<size_t>(bytes))
                    expected[i] = static_cast<uint8_t>(expected[i] >> transform << transform);
                EXPECT_EQ(Pixels(own, width, height, static_cast<size_t>(bytes)), expected)
                    << bits << " bits, predictor " << predictor << ", transform " << transform;
            }
        }
        if (bits == 12) continue;  // our encoder packs 12 bits otherwise
        Source source(width, height, 8 * bytes);
        for (int y = 0; y < height; ++y)
            std::copy_n(&rows[static_cast<size_t>(y * width * bytes)], width * bytes, source.Row(y));
        for (uint32_t restart : {0u, 5u, static_cast<uint32_t>(width)}) {
            const ByteVector stream = Encode(source, {.restart = restart, .options = kSaveLossless});
            DcmtkFrame frame(picture, stream, EXS_JPEGProcess14SV1);
            ByteVector peer(rows.size());
            ASSERT_TRUE(frame.Decode(&peer));
            EXPECT_EQ(peer, rows) << bits << " bits, restart " << restart;
        }
    }
}

TEST_F(JpegToolkit, TwelveBitsAreWithinOneLevel)
{
    const DcmtkPicture picture{173, 90, 1, 16, 12};
    const ByteVector rows = GreyRows(173, 90, 12);
    for (E_TransferSyntax syntax : {EXS_JPEGProcess2_4, EXS_JPEGProcess6_8, EXS_JPEGProcess10_12}) {
        for (int quality : {50, 90, 100}) {
            const ByteVector stream = EncodeWithDcmtk(picture, rows, syntax, DJ_RPLossy(quality));
            ASSERT_FALSE(stream.empty());
            const Decoded own = DecodeStream(stream, {173, 90, 16});
            ASSERT_EQ(own.status, kCodecOk);
            DcmtkFrame frame(picture, stream, syntax);
            ByteVector peer(rows.size());
            ASSERT_TRUE(frame.Decode(&peer));
            const ByteVector pixels = Pixels(own, 173, 90, 2);
            int worst = 0;
            for (size_t i = 0; i < peer.size(); i += 2)
                worst = std::max(worst,
                                 std::abs((pixels[i] | pixels[i + 1] << 8) - (peer[i] | peer[i + 1] << 8)));
            EXPECT_LE(worst, 1) << "syntax " << syntax << " quality " << quality;
        }
    }
}
#endif

TEST(JpegSamples, ConformanceProcessesShowOnePicture)
{
    // The lossless stream holds the picture itself. The 12-bit one is quantised four times as finely as the
    // 8-bit ones and comes that much nearer; its bytes are cut, not rounded, from 12 bits.
    const Decoded exact = DecodeStream(SampleStream("t83-p14-o1.jpg"), {255, 257, 32});
    ASSERT_EQ(exact.status, kCodecOk);
    const auto meanSquare = [&](const char* name) {
        const Decoded lossy = DecodeStream(SampleStream(name), {255, 257, 32});
        EXPECT_EQ(lossy.status, kCodecOk);
        double sum = 0;
        for (size_t i = 0; i < exact.rows.size(); ++i) {
            const double error = lossy.rows[i] - exact.rows[i];
            sum += error * error / static_cast<double>(exact.rows.size());
        }
        return sum;
    };
    EXPECT_LT(meanSquare("t83-p1-a1.jpg"), 11.0 * 11.0);
    EXPECT_LT(meanSquare("t83-p2-c1.jpg"), 11.0 * 11.0);
    EXPECT_LT(meanSquare("t83-p4-e1.jpg"), 3.0 * 3.0);
}
}  // namespace
}  // namespace talv
