// Every request for memory by operator new fails once while frames are decoded.

#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"
#include "tests/support/failing_memory.h"

namespace talv {
namespace {
ByteVector PaletteFile(uint16_t entries)
{
    ImageAttributes image = Grey8(2, 2);
    image.photometric = "PALETTE COLOR";
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    const std::vector<uint16_t> ramp(entries, 0x4000);
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Us(0x00281101 + colour, {entries, 0, 16});
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Ow(0x00281201 + colour, ramp);
    return builder.NativePixels({0, 1, 2, 3}).Bytes();
}

ByteVector RescaledFile()
{
    ImageAttributes image = Grey16(2, 2, true);
    image.numberOfFrames = std::to_string(2);
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    builder.Ds(0x00281052, "-1024").Ds(0x00281053, "1").BeginSequence(0x52009230).BeginItem().EndItem();
    return builder.EndSequence().NativePixels(ByteVector(16, 3)).Bytes();
}

ByteVector FragmentsFile()
{
    ByteVector item(66);
    item[0] = 1, item[4] = 64, item[64] = 0xFD;
    ImageAttributes image = Grey8(2, 2);
    image.numberOfFrames = std::to_string(2);
    return PreambleFile().ExplicitLittle(kRleSyntax).Image(image).Encapsulated({item, item, item}).Bytes();
}
}  // namespace

TEST(ShortMemory, IsAnAnswerAndTheNextCallWorks)
{
    const ByteVector files[] = {
        PaletteFile(4), PaletteFile(300), RescaledFile(), FragmentsFile(),
        PreambleFile().ExplicitLittle().Image(Color8(2, 2)).NativePixels(ByteVector(12)).Bytes()};
    for (const ByteVector& bytes : files) {
        LoadedFile whole(bytes);
        Picture expected(&whole, 0, kPlayerImageOptions | kImageOverlays);
        ASSERT_EQ(expected.status, kDicomOk);
        const ByteVector rows = expected.Rows();
        for (int granted = 0, failures = 1; failures != 0; ++granted) {
            LoadedFile file(bytes);
            DicomElement* const pixels = file.PixelData();
            failures = 0;
            // What a failed call leaves behind must serve the next one, until one succeeds.
            for (int more = granted; more < granted + 3; ++more) {
                ImageBitmap bitmap{};
                callsUntilFailure = more;
                const DicomStatus status =
                    GetImage(&file.dataSet, pixels, &bitmap, kBitmapStructSize, 0, 0, 4,
                             kPlayerImageOptions | kImageOverlays, nullptr, nullptr);
                const bool failed = callsUntilFailure < 0;
                callsUntilFailure = -1;
                ASSERT_TRUE(status == kDicomOk || (failed && status == kDicomNoMemory))
                    << status << " after " << more;
                ASSERT_EQ(status == kDicomOk, (bitmap.flags & kBitmapAllocated) != 0);
                failures += failed;
                FreeBitmap(&bitmap);
            }
            Picture picture(&file, 0, kPlayerImageOptions | kImageOverlays);
            ASSERT_EQ(picture.status, kDicomOk) << granted;
            ASSERT_EQ(picture.Rows(), rows) << granted;
            ASSERT_EQ(picture.bitmap.lutLength, expected.bitmap.lutLength);
            if (rows.empty() || picture.bitmap.palette == nullptr) continue;
            for (uint32_t i = 0; i < picture.bitmap.colorCount; ++i)
                ASSERT_EQ(picture.bitmap.palette[i].red, expected.bitmap.palette[i].red) << granted;
        }
    }
}
}  // namespace talv
