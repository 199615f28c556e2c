#include "image/image_description.h"

#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
ByteVector FileWith(const ImageAttributes& attributes)
{
    return PreambleFile().ExplicitLittle().Image(attributes).NativePixels(ByteVector(4096, 1)).Bytes();
}
}  // namespace

TEST(ImageDescription, PhotometricAndBitsChooseTheOutput)
{
    struct
    {
        const char* photometric;
        uint16_t samples, allocated, stored, highBit;
        DicomStatus status;
        uint32_t outputBits, grey, colorOrder;
        uint64_t frameSize;  // of 2 rows of 5 columns
    } const cases[] = {
        {"MONOCHROME1", 1, 8, 8, 7, kDicomOk, 8, 1, 0, 10},
        {"MONOCHROME2", 1, 8, 8, 7, kDicomOk, 8, 1, 0, 10},
        {"MONOCHROME2", 1, 1, 1, 0, kDicomOk, 1, 0, 0, 2},
        {"MONOCHROME1", 1, 1, 1, 0, kDicomOk, 8, 1, 0, 2},
        {"MONOCHROME2", 1, 12, 12, 11, kDicomOk, 16, 1, 2, 20},
        {"MONOCHROME2", 1, 16, 12, 11, kDicomOk, 16, 1, 2, 20},
        {"MONOCHROME2", 1, 24, 24, 23, kDicomOk, 8, 1, 0, 30},
        {"MONOCHROME2", 1, 32, 32, 31, kDicomOk, 16, 1, 2, 40},
        {"MONOCHROME2", 1, 64, 64, 63, kDicomNoFrame, 0, 0, 0, 0},
        {"RGB", 3, 8, 8, 7, kDicomOk, 24, 0, 1, 30},
        {"RGB", 3, 16, 16, 15, kDicomOk, 24, 0, 1, 60},
        {"RGB", 4, 8, 8, 7, kDicomOk, 24, 0, 1, 40},
        {"RGB", 1, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
        {"RGB", 2, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
        {"CMYK", 4, 8, 8, 7, kDicomOk, 24, 0, 1, 40},
        {"CMYK", 3, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
        {"ARGB", 4, 8, 8, 7, kDicomOk, 24, 0, 1, 40},
        {"YBR_FULL", 3, 8, 8, 7, kDicomOk, 24, 0, 1, 30},
        {"YBR_FULL", 1, 8, 8, 7, kDicomOk, 8, 1, 0, 10},
        {"YBR_FULL_422", 2, 16, 16, 15, kDicomOk, 16, 1, 2, 40},
        {"YBR_RCT", 3, 8, 8, 7, kDicomOk, 24, 0, 1, 30},
        {"YBR_ICT", 3, 8, 8, 7, kDicomOk, 24, 0, 1, 30},
        {"rgb", 3, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
        {"HSV", 3, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
        {"", 1, 8, 8, 7, kDicomUnknownPhotometric, 0, 0, 0, 0},
    };
    for (const auto& one : cases) {
        ImageAttributes attributes = Grey8(2, 5);
        attributes.photometric = one.photometric;
        attributes.samplesPerPixel = one.samples;
        attributes.bitsAllocated = one.allocated;
        attributes.bitsStored = one.stored;
        attributes.highBit = one.highBit;
        LoadedFile file(FileWith(attributes));
        const ImageDescription description = file.Description();
        SCOPED_TRACE(testing::Message()
                     << one.photometric << " x " << one.samples << ", " << one.allocated << " bits");
        ASSERT_EQ(file.descriptionStatus, one.status);
        if (one.status != kDicomOk) continue;
        EXPECT_EQ(description.outputBits, one.outputBits);
        EXPECT_EQ(description.greyLevel, one.grey);
        EXPECT_EQ(description.colorOrder, one.colorOrder);
        EXPECT_EQ(description.frameSize, one.frameSize);
        EXPECT_STREQ(description.photometricText, one.photometric);
    }
}

TEST(ImageDescription, BitAttributesAreMadeToAgree)
{
    struct
    {
        uint32_t allocated, stored, highBit;
        uint32_t wantedAllocated, wantedStored, wantedHighBit;
    } const cases[] = {
        {16, 12, 11, 16, 12, 11},
        {16, 12, 15, 16, 12, 15},
        {0, 0, 0, 8, 8, 7},
        {16, 0, 0, 16, 16, 15},
        {8, 12, 11, 8, 8, 7},
        {16, 12, 5, 16, 12, 11},
        {16, 12, 16, 16, 12, 11},
        {1, 1, 0, 1, 1, 0},
        {32, 32, 31, 32, 32, 31},
        {16, 65535, 65535, 16, 16, 15},
        {16, 16, UINT32_MAX, 16, 16, 15},
    };
    for (const auto& one : cases) {
        ImageDescription description;
        description.bitsAllocated = one.allocated;
        description.bitsStored = one.stored;
        description.highBit = one.highBit;
        const std::vector<uint32_t> wanted = {one.wantedAllocated, one.wantedStored, one.wantedHighBit};
        EXPECT_EQ(description.bitsAllocated, one.allocated);
        ImageAttributes attributes = Grey8(2, 5);
        attributes.bitsAllocated = static_cast<uint16_t>(one.allocated);
        attributes.bitsStored = static_cast<uint16_t>(one.stored);
        attributes.highBit = static_cast<uint16_t>(one.highBit);
        LoadedFile file(FileWith(attributes));
        description = file.Description();
        EXPECT_EQ(file.descriptionStatus, kDicomOk);
        EXPECT_EQ(
            (std::vector<uint32_t>{description.bitsAllocated, description.bitsStored, description.highBit}),
            wanted);
    }
}

TEST(ImageDescription, GeometryIsRequired)
{
    for (auto [rows, columns] : {std::pair<uint16_t, uint16_t>{0, 5}, {5, 0}, {0, 0}}) {
        LoadedFile file(FileWith(Grey8(rows, columns)));
        file.Description();
        EXPECT_EQ(file.descriptionStatus, kDicomNoGeometry);
    }
    LoadedFile bare(PreambleFile().ExplicitLittle().NativePixels({1, 2}).Bytes());
    bare.Description();
    EXPECT_EQ(bare.descriptionStatus, kDicomNoGeometry);
}

TEST(ImageDescription, ResolutionComesFromTheFirstUsableSpacing)
{
    const auto describe = [](auto add) {
        DicomBuilder builder = PreambleFile().ExplicitLittle();
        add(&builder);
        LoadedFile file(builder.Us(0x00280010, 1).Us(0x00280011, 1).NativePixels({1, 2}).Bytes());
        const ImageDescription description = file.Description();
        return std::pair{description.xResolution, description.yResolution};
    };
    using Pair = std::pair<int32_t, int32_t>;
    // The builder writes as told; the spacing of group 0018 stands before group 0028 as in a real file.
    EXPECT_EQ(describe([](DicomBuilder* b) { b->Ds(0x00181164, "0.5\\0.25"); }), Pair(102, 51));
    EXPECT_EQ(describe([](DicomBuilder* b) { b->Ds(0x00182010, "1\\2"); }), Pair(13, 25));
    EXPECT_EQ(describe([](DicomBuilder* b) { b->Ds(0x00181164, "0.5"); }), Pair(0, 0));
    EXPECT_EQ(describe([](DicomBuilder* b) { b->Ds(0x00181164, "0\\1"); }), Pair(25, 0));
    EXPECT_EQ(describe([](DicomBuilder* b) { b->Ds(0x00181164, "1e-300\\1"); }), Pair(25, INT32_MAX));
}

TEST(ImageDescription, AnIconImageIsDescribedByItsOwnItem)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    builder.Image(Grey8(4, 6)).BeginSequence(0x00880200).BeginItem().Image(Grey8(1, 2)).NativePixels({9, 8});
    builder.EndItem().EndSequence().NativePixels(ByteVector(24, 7));
    LoadedFile file(builder.Bytes());
    const ImageDescription icon = file.Description();  // the first in the whole tree
    EXPECT_EQ(icon.rows, 1u);
    EXPECT_EQ(icon.columns, 2u);
    ImageDescription description;
    DicomElement* top = file.dataSet.FindFirstElement(nullptr, kTagPixelData, true);
    EXPECT_EQ(ReadImageDescription(&file.dataSet, top, &description, 0, true), kDicomOk);
    EXPECT_EQ(description.columns, 6u);
}

TEST(ImageDescription, AChangeOfTheDataSetIsSeen)
{
    LoadedFile file(FileWith(Grey8(2, 5)));
    EXPECT_EQ(file.Description().rows, 2u);
    const uint16_t rows = 4;
    ASSERT_TRUE(
        file.dataSet.SetValues(file.dataSet.FindFirstElement(nullptr, 0x00280010, true), &rows, 1, 0));
    EXPECT_EQ(file.Description().rows, 4u);
}
}  // namespace talv
