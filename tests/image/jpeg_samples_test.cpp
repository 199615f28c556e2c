// JPEG frames of real files against what the packaged DICOM toolkit makes of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/image/image_fixture.h"
#include "tests/support/temporary_file.h"

namespace talv {
namespace {
/// The pixel bytes of a file as dcmdjpeg decodes them; empty when it is not there.
ByteVector DecodeWithToolkit(const std::string& path)
{
    const TemporaryFile output({});
    const std::string command = "dcmdjpeg " + path + " " + output.Path() + " >/dev/null 2>&1";
    const ByteVector file = std::system(command.c_str()) == 0 ? ReadWholeFile(output.Path()) : ByteVector{};
    static constexpr uint8_t kPixelData[5] = {0xE0, 0x7F, 0x10, 0x00,
                                              'O'};  // explicit OB or OW, the last one
    const auto tag = std::find_end(file.begin(), file.end(), std::begin(kPixelData), std::end(kPixelData));
    return tag == file.end() ? ByteVector{} : ByteVector(tag + 12, file.end());
}

TEST(JpegSamples, FramesAreWhatAnIndependentDecoderMakesOfThem)
{
    // Not among them: jpeg-rgb-unmarked. Its label says RGB, the stream's markers Y, Cb, Cr, and those
    // decide.
    const struct
    {
        const char* name;
        uint32_t frames;
        int tolerance;
        int flip = 0;  ///< signed samples are moved up by half their range
    } samples[] = {
        {"jpeg-rgb", 1, 1},
        {"jpeg-ybr-3x3", 1, 1},
        {"jpeg-ybr422-icon", 1, 1},
        {"jpeg-ybr422-140f", 13, 1},
        {"jpeg-ybr422-us-30f", 30, 1},
        {"jpeg-extended12", 1, 1},
        {"jpeg-spectral12", 1, 1},
        {"jpegll-rgb", 1, 0},
        {"jpegll-signed16", 1, 0, 0x8000},
        {"jpegll14-ct", 1, 0, 0x8000},
    };
    for (const auto& sample : samples) {
        SCOPED_TRACE(sample.name);
        const std::string path = std::string(TALV_TEST_DATA "/samples/") + sample.name + ".dcm";
        const ByteVector expected = DecodeWithToolkit(path);
        if (expected.empty()) GTEST_SKIP() << "no dcmdjpeg";
        LoadedFile file(ReadWholeFile(path));
        ASSERT_EQ(file.status, kDicomOk);
        size_t at = 0;
        for (uint32_t frame = 0; frame < sample.frames; ++frame) {
            ImageBitmap bitmap{};
            // The picture itself, not an icon in a sequence.
            ASSERT_EQ(
                GetImage(&file.dataSet, file.dataSet.FindFirstElement(nullptr, kTagPixelData, true), &bitmap,
                         kBitmapStructSize, frame, 0, 4, kPlayerImageOptions, nullptr, nullptr),
                kDicomOk);
            const auto width = static_cast<size_t>(bitmap.width);
            const size_t perPixel = bitmap.bitsPerPixel == 24 ? 3 : 1;
            ByteVector row(bitmap.bytesPerLine);
            int worst = 0;
            for (int32_t y = 0; y < bitmap.height; ++y) {
                GetBitmapRow(&bitmap, row.data(), y, bitmap.bytesPerLine);
                for (size_t x = 0; x < width; ++x) {
                    for (size_t k = 0; k < perPixel; ++k) {
                        const int got = perPixel == 3 ? row[3 * x + 2 - k] : row[2 * x] | row[2 * x + 1] << 8;
                        const int wanted = perPixel == 3
                                               ? expected[at]
                                               : (expected[at] | expected[at + 1] << 8) ^ sample.flip;
                        worst = std::max(worst, std::abs(got - wanted));
                        at += perPixel == 3 ? 1 : 2;
                    }
                }
            }
            FreeBitmap(&bitmap);
            EXPECT_LE(worst, sample.tolerance) << "frame " << frame;
        }
    }
}
}  // namespace
}  // namespace talv
