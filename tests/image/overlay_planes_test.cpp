#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
/// A plane of 2 x 3 points in two frames: a corner, then the other one. It starts in the picture's second
/// column.
void AddPlane(DicomBuilder* builder)
{
    builder->Us(0x60020010, 2).Us(0x60020011, 3).Is(0x60020015, "2").Ss(0x60020050, {1, 2});
    builder->Us(0x60020100, 1).Us(0x60020102, 0).Ow(0x60023000, {0b100000'000001});
}
}  // namespace

TEST(OverlayPlanes, AreDrawnWhereTheOptionAsks)
{
    const struct
    {
        ImageAttributes image;
        ByteVector first, second;  // rows, padding included
    } cases[] = {
        {Grey8(2, 4), {7, 255, 7, 7, 7, 7, 7, 7}, {7, 7, 7, 7, 7, 7, 7, 255}},
        {[] {
             ImageAttributes inverted = Grey8(2, 4);
             inverted.photometric = "MONOCHROME1";
             return inverted;
         }(),
         {7, 0, 7, 7, 7, 7, 7, 7},
         {7, 7, 7, 7, 7, 7, 7, 0}},
        {Grey16(2, 2), {7, 7, 255, 255, 7, 7, 7, 7}, {7, 7, 7, 7, 7, 7, 7, 7}},
    };
    for (const auto& one : cases) {
        ImageAttributes image = one.image;
        image.numberOfFrames = std::to_string(3);
        DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
        AddPlane(&builder);
        LoadedFile file(builder.NativePixels(ByteVector(24, 7)).Bytes());
        for (const uint32_t frame : {0u, 1u, 2u}) {
            Picture picture(&file, frame, kPlayerImageOptions | kImageOverlays);
            ASSERT_EQ(picture.status, kDicomOk);
            const ByteVector plain(8, 7);
            EXPECT_EQ(picture.Rows(), frame == 0 ? one.first : frame == 1 ? one.second : plain) << frame;
            EXPECT_EQ(Picture(&file, frame).Rows(), plain);
        }
    }
}

TEST(OverlayPlanes, ColorAndOneBitPicturesAndPlanesThatLie)
{
    DicomBuilder color = PreambleFile().ExplicitLittle().Image(Color8(1, 2));
    color.Us(0x60000010, 65535)
        .Us(0x60000011, 65535)
        .Ss(0x60000050, {-32768, 32767})
        .Ow(0x60003000, {0xFFFF});
    color.Us(0x60040010, 1).Us(0x60040011, 1).Ow(0x60043000, {1});
    LoadedFile file(color.NativePixels({0, 0, 0, 0, 0, 0}).Bytes());
    EXPECT_EQ(Picture(&file, 0, kImageOverlays).Rows(), ByteVector({255, 255, 255, 0, 0, 0, 0, 0}));

    ImageAttributes bits = Grey8(1, 8);
    bits.bitsAllocated = bits.bitsStored = 1;
    bits.highBit = 0;
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(bits);
    LoadedFile oneBit(
        builder.Us(0x60000010, 1).Us(0x60000011, 8).Ow(0x60003000, {0x80}).NativePixels({1, 0}).Bytes());
    EXPECT_EQ(Picture(&oneBit, 0, kImageOverlays).Rows(), ByteVector({0x81, 0, 0, 0}));
}
}  // namespace talv
