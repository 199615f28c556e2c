#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
constexpr uint32_t kShared = 0x52009229, kOfFrames = 0x52009230;
constexpr uint32_t kMeasures = 0x00289110, kVoi = 0x00289132, kTransformation = 0x00289145;

/// One macro of a group's item.
struct Macro
{
    uint32_t sequence;
    std::vector<std::pair<uint32_t, const char*>> values;  ///< DS elements, in tag order
};

void AddItem(DicomBuilder* builder, const std::vector<Macro>& macros)
{
    builder->BeginItem();
    for (const Macro& macro : macros) {
        builder->BeginSequence(macro.sequence).BeginItem();
        for (const auto& [tag, text] : macro.values) builder->Ds(tag, text);
        builder->EndItem().EndSequence();
    }
    builder->EndItem();
}

ByteVector EnhancedFile(ImageAttributes image, const std::vector<Macro>& shared,
                        const std::vector<std::vector<Macro>>& frames, const ByteVector& pixels)
{
    image.numberOfFrames = std::to_string(frames.size());
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    builder.BeginSequence(kShared);
    AddItem(&builder, shared);
    builder.EndSequence().BeginSequence(kOfFrames);
    for (const std::vector<Macro>& macros : frames) AddItem(&builder, macros);
    return builder.EndSequence().NativePixels(pixels).Bytes();
}

Macro Window(const char* center, const char* width)
{
    return {kVoi, {{0x00281050, center}, {0x00281051, width}}};
}
}  // namespace

TEST(FunctionalGroups, AFramesOwnItemComesBeforeTheSharedOne)
{
    ImageAttributes image = Grey16(1, 2);
    image.bitsStored = 8;
    image.highBit = 7;
    const Macro rescale{kTransformation, {{0x00281052, "-100"}, {0x00281053, "2"}}};
    LoadedFile file(EnhancedFile(
        image, {{kMeasures, {{0x00280030, "0.5\\0.25"}}}, rescale, Window("0", "101")},
        {{}, {Window("100", "101")}, {{kTransformation, {{0x00281052, "-200"}, {0x00281053, "1"}}}}},
        ByteVector(12)));
    // Stored values that are shown black and white.
    const struct
    {
        uint32_t frame;
        int black, white;
    } cases[] = {{1, 74, 125}, {0, 24, 75}, {2, 149, 250}, {1, 74, 125}};
    for (const auto& one : cases) {
        Picture picture(&file, one.frame);
        ASSERT_EQ(picture.status, kDicomOk);
        EXPECT_EQ(picture.bitmap.xResolution, 102);
        ASSERT_EQ(picture.bitmap.lutLength, 256u);
        EXPECT_EQ(picture.bitmap.lut[one.black].green, 0) << one.frame;
        EXPECT_GT(picture.bitmap.lut[one.black + 2].green, 0) << one.frame;
        EXPECT_LT(picture.bitmap.lut[one.white - 2].green, 255) << one.frame;
        EXPECT_EQ(picture.bitmap.lut[one.white].green, 255) << one.frame;
    }
}

TEST(FunctionalGroups, EightBitFramesGetPalettesOfTheirOwn)
{
    LoadedFile file(
        EnhancedFile(Grey8(1, 2), {Window("64", "128")}, {{}, {Window("192", "128")}, {}}, ByteVector(6)));
    for (const uint32_t frame : {0u, 1u, 2u}) {
        Picture picture(&file, frame);
        ASSERT_EQ(picture.status, kDicomOk);
        EXPECT_EQ(picture.bitmap.palette[128].green, frame == 1 ? 0 : 255);
    }
}

// CT numbers without a window: the lut spreads what the first frame has, whichever frame is asked for first.
TEST(DisplaySteps, WithoutAWindowTheFirstFramesValuesAreSpread)
{
    for (const char* photometric : {"MONOCHROME2", "MONOCHROME1"})
        for (const uint32_t first : {0u, 1u}) {
            ImageAttributes image = Grey16(1, 2, true);
            image.photometric = photometric;
            image.numberOfFrames = std::to_string(2);
            DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
            builder.Ds(0x00281052, "-1024").Ds(0x00281053, "1");
            LoadedFile file(
                builder.NativePixels({0x9C, 0xFF, 0x64, 0, 0, 0x80, 0xFF, 0x7F}).Bytes());  // -100, 100
            for (const uint32_t frame : {first, 1 - first}) {
                Picture picture(&file, frame);
                ASSERT_EQ(picture.status, kDicomOk);
                ASSERT_EQ(picture.bitmap.lutLength, 65536u);
                const bool inverted = photometric[10] == '1';
                const auto level = [&](int value) {
                    const uint8_t green = picture.bitmap.lut[value + 32768].green;
                    return inverted ? 255 - green : int{green};
                };
                EXPECT_EQ(level(-30000), 0);
                EXPECT_EQ(level(-100), 0);
                EXPECT_NEAR(level(0), 128, 1);
                EXPECT_EQ(level(100), 255);
                EXPECT_EQ(level(30000), 255);
            }
        }
}
}  // namespace talv
