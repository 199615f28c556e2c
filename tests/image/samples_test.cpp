// Real files: the facts of samples.json, and pixels against independent decoders where those are installed.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/image/image_fixture.h"

#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/json.hpp>
#define TALV_HAS_JSON 1
#endif

namespace talv {
namespace {
const std::string kSamples = TALV_TEST_DATA "/samples/";

ByteVector ReadAll(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return ByteVector(std::istreambuf_iterator<char>(file), {});
}

/// Runs `command` with an output file in the test's directory; empty when the program is not there or fails.
ByteVector OutputOf(const std::string& program, const std::string& arguments)
{
    const std::string output = testing::TempDir() + "talv_image_oracle.out";
    std::remove(output.c_str());
    if (std::system((program + " " + arguments + " " + output + " > " + output + ".log 2>&1").c_str()) != 0)
        return {};
    ByteVector bytes = ReadAll(output);
    std::remove(output.c_str());
    return bytes;
}
}  // namespace

#ifdef TALV_HAS_JSON
TEST(Samples, DescriptionsAndBitmapsAreAsTheFactsSay)
{
    const ByteVector text = ReadAll(kSamples + "samples.json");
    if (text.empty()) GTEST_SKIP() << "no samples.json";
    const nlohmann::json facts = nlohmann::json::parse(text.begin(), text.end());
    int decoded = 0;
    for (const auto& [name, fact] : facts.at("files").items()) {
        if (fact.at("outcome") != "ok") continue;
        SCOPED_TRACE(name);
        LoadedFile file(ReadAll(kSamples + name));
        ASSERT_EQ(file.status, kDicomOk);
        DicomElement* pixelData = file.dataSet.FindFirstElement(nullptr, kTagPixelData, true);
        ASSERT_NE(pixelData, nullptr);
        ImageDescription description;
        ASSERT_EQ(ReadImageDescription(&file.dataSet, pixelData, &description, 0, true), kDicomOk);
        const auto& expected = fact.at("expected");
        EXPECT_EQ(description.outputBits, expected.at("bitsPerPixel"));
        EXPECT_EQ(description.colorOrder, expected.at("colorOrder"));
        EXPECT_EQ(description.compression, expected.at("compression"));
        EXPECT_EQ(description.frameCount, expected.at("frames"));
        EXPECT_EQ(description.columns, fact.at("columns"));
        if (description.compression > kCompressionRle) continue;  // needs a codec
        for (uint32_t frame = 0; frame < description.frameCount; ++frame) {
            ImageBitmap bitmap{};
            ASSERT_EQ(GetImage(&file.dataSet, pixelData, &bitmap, kBitmapStructSize, frame, 0, 4,
                               kPlayerImageOptions, nullptr, nullptr),
                      kDicomOk);
            EXPECT_EQ(bitmap.bitsPerPixel, expected.at("bitsPerPixel"));
            EXPECT_EQ(bitmap.bytesPerLine, expected.at("bytesPerLine"));
            EXPECT_EQ(bitmap.colorOrder, expected.at("colorOrder"));
            EXPECT_EQ(bitmap.lowBit, expected.at("lowBit"));
            EXPECT_EQ(bitmap.highBit, expected.at("highBit"));
            FreeBitmap(&bitmap);
            ++decoded;
        }
    }
    EXPECT_GT(decoded, 20);
}
#endif

TEST(Samples, ColorsAgreeWithAnIndependentDecoder)
{
    int compared = 0;
    for (const char* name :
         {"le-rgb-planar", "be-rgb-planar", "le-rgb-3x3", "rle-rgb-2f", "le-palette", "rle-palette"}) {
        SCOPED_TRACE(name);
        const ByteVector image = OutputOf("dcm2pnm", kSamples + name + ".dcm");
        if (image.empty()) continue;
        LoadedFile file(ReadAll(kSamples + name + ".dcm"));
        Picture picture(&file);
        ASSERT_EQ(picture.status, kDicomOk);
        const size_t width = static_cast<size_t>(picture.bitmap.width),
                     height = static_cast<size_t>(picture.bitmap.height);
        ASSERT_GT(image.size(), width * height * 3);
        const uint8_t* rgb = image.data() + (image.size() - width * height * 3);
        // Three-sample data are spread over the range they span, the palette's are not.
        int smallest = 255, largest = 0;
        for (size_t i = 0; i < width * height * 3; ++i)
            smallest = std::min<int>(smallest, rgb[i]), largest = std::max<int>(largest, rgb[i]);
        const bool indexed = picture.bitmap.bitsPerPixel == 8;
        const ByteVector rows = picture.Rows();
        for (size_t y = 0; y < height; ++y)
            for (size_t x = 0; x < width; ++x) {
                const uint8_t* wanted = rgb + 3 * (y * width + x);
                const uint8_t* row = rows.data() + y * picture.bitmap.bytesPerLine;
                for (size_t k = 0; k < 3; ++k) {
                    const PaletteEntry entry = indexed ? picture.bitmap.palette[row[x]] : PaletteEntry{};
                    const int got = indexed ? (k == 0   ? entry.red
                                               : k == 1 ? entry.green
                                                        : entry.blue)
                                            : row[3 * x + 2 - k];
                    const int spread =
                        indexed ? wanted[k] : (wanted[k] - smallest) * 255 / (largest - smallest);
                    ASSERT_EQ(got, spread) << "pixel " << x << ", " << y;
                }
            }
        ++compared;
    }
    if (compared == 0) GTEST_SKIP() << "no dcm2pnm";
}

TEST(Samples, GreyWordsAgreeWithAnIndependentReader)
{
    int compared = 0;
    for (const char* name :
         {"le-mr-signed16", "implicit-mr", "le-ct-rescale", "le-mr-10f", "bare-mono1-chest"}) {
        SCOPED_TRACE(name);
        const ByteVector raw = OutputOf("gdcmraw", "-i " + kSamples + name + ".dcm -o");
        if (raw.empty()) continue;
        LoadedFile file(ReadAll(kSamples + name + ".dcm"));
        const ImageDescription description = file.Description();
        const size_t words = static_cast<size_t>(description.frameSize) / 2;
        for (uint32_t frame = 0; frame < description.frameCount; ++frame) {
            Picture picture(&file, frame);
            const std::vector<uint16_t> got = picture.Words();
            ASSERT_EQ(picture.bitmap.bytesPerLine, description.columns * 2);
            ASSERT_GE(raw.size(), (frame + 1) * words * 2);
            const uint32_t flip = description.pixelRepresentation == 1 ? 1u << description.highBit : 0;
            for (size_t i = 0; i < words; ++i) {
                const uint8_t* word = raw.data() + 2 * (frame * words + i);
                ASSERT_EQ(got[i], (word[0] | word[1] << 8) ^ flip) << "word " << i << " of frame " << frame;
            }
        }
        ++compared;
    }
    if (compared == 0) GTEST_SKIP() << "no gdcmraw";
}
}  // namespace talv
