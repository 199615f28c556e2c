// Real files: the facts of samples.json, and pixels against independent decoders where those are installed.

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/image/image_fixture.h"
#include "tests/support/temporary_file.h"

#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/json.hpp>
#define TALV_HAS_JSON 1
#endif

namespace talv {
namespace {
const std::string kSamples = TALV_TEST_DATA "/samples/";

/// Runs `program` with an output file of its own as the last argument; empty when the program is not there or
/// fails.
ByteVector OutputOf(const std::string& program, const std::string& arguments)
{
    const TemporaryFile output({}, ".out");
    const std::string command = program + " " + arguments + " " + output.Path() + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0 ? ReadWholeFile(output.Path()) : ByteVector{};
}
}  // namespace

#ifdef TALV_HAS_JSON
TEST(Samples, DescriptionsAndBitmapsAreAsTheFactsSay)
{
    const ByteVector text = ReadWholeFile(kSamples + "samples.json");
    if (text.empty()) GTEST_SKIP() << "no samples.json";
    const nlohmann::json facts = nlohmann::json::parse(text.begin(), text.end());
    int decoded = 0;
    for (const auto& [name, fact] : facts.at("files").items()) {
        if (fact.at("outcome") != "ok") continue;
        SCOPED_TRACE(name);
        LoadedFile file(ReadWholeFile(kSamples + name));
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
        LoadedFile file(ReadWholeFile(kSamples + name + ".dcm"));
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

/// The pixel bytes of all frames of a sample as GDCM decodes them; empty when its tools are not there.
ByteVector ReferencePixels(const std::string& name)
{
    const TemporaryFile native({});
    const std::string command =
        "gdcmconv --raw " + kSamples + name + ".dcm " + native.Path() + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) return {};
    return OutputOf("gdcmraw", std::string("-i ") + native.Path() + " -o");
}

TEST(Samples, EveryFrameAgreesWithAnIndependentDecoder)
{
    // Colour whose values are spread is compared above; JPEG has a test of its own.
    const struct
    {
        const char* name;
        int tolerance;  // of lossy streams
        bool swapped;   // run-length words keep the byte order of their segments
    } cases[] = {{"bare-mono1-chest", 0, false}, {"be-mr", 0, false},         {"be-rgb-planar", 0, false},
                 {"implicit-mr", 0, false},      {"j2k-mr", 0, false},        {"j2k-nm-lossy", 1, false},
                 {"j2k-rgb-lossy", 1, false},    {"le-ct-rescale", 0, false}, {"le-mr-10f", 0, false},
                 {"le-mr-signed16", 0, false},   {"le-palette", 0, false},    {"rle-mr16", 0, true},
                 {"rle-palette", 0, false},      {"rle-rgb-2f", 0, false}};
    int compared = 0;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        const ByteVector reference = ReferencePixels(one.name);
        if (reference.empty()) continue;
        LoadedFile file(ReadWholeFile(kSamples + one.name + ".dcm"));
        const ImageDescription image = file.Description();
        const size_t columns = image.columns, rows = image.rows, samples = image.samplesPerPixel;
        const size_t frameBytes = rows * columns * samples * (image.bitsAllocated / 8);
        ASSERT_GE(reference.size(), frameBytes * image.frameCount);
        for (uint32_t frame = 0; frame < image.frameCount; ++frame) {
            const uint8_t* const expected = reference.data() + frame * frameBytes;
            Picture picture(&file, frame);
            ASSERT_EQ(picture.status, kDicomOk);
            const ByteVector got = picture.Rows();
            const uint32_t flip = image.pixelRepresentation == 1 ? 1u << image.highBit : 0;
            for (size_t y = 0; y < rows; ++y)
                for (size_t i = 0; i < columns * samples; ++i) {
                    const uint8_t* const row = got.data() + y * picture.bitmap.bytesPerLine;
                    const size_t at = y * columns * samples + i;
                    int wanted, value;
                    if (image.bitsAllocated == 16) {
                        const uint8_t first = expected[2 * at], second = expected[2 * at + 1];
                        wanted = static_cast<int>((one.swapped ? first << 8 | second : second << 8 | first) ^
                                                  flip);
                        value = row[2 * i] | row[2 * i + 1] << 8;
                    } else {  // blue, green, red; the other keeps planes where the file has them
                        const size_t pixel = i / samples, sample = i % samples;
                        const size_t plane = y * columns + pixel + sample * rows * columns;
                        wanted = expected[image.planarConfiguration == 1 ? plane : at];
                        value = row[pixel * samples + samples - 1 - sample];
                    }
                    ASSERT_NEAR(value, wanted, one.tolerance) << "frame " << frame << ", sample " << at;
                }
        }
        ++compared;
    }
    if (compared == 0) GTEST_SKIP() << "no gdcmconv or gdcmraw";
}
}  // namespace talv
