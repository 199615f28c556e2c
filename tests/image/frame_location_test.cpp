#include <gtest/gtest.h>

#include "tests/image/image_fixture.h"

namespace talv {
namespace {
ByteVector Fragment(uint8_t mark, bool ends = false)
{
    ByteVector bytes(6, mark);
    if (ends) bytes[4] = 0xFF, bytes[5] = 0xD9;
    return bytes;
}

ImageAttributes Framed(const char* frames)
{
    ImageAttributes attributes = Grey8(1, 4);
    attributes.numberOfFrames = frames;
    return attributes;
}

/// Status of frame 0 of a file whose Pixel Data header and rest are `rest`.
DicomStatus StatusOf(const DicomBuilder& builder, uint32_t frame = 0)
{
    LoadedFile file(builder.Bytes());
    file.Description(frame);
    return file.descriptionStatus;
}
}  // namespace

TEST(FrameLocation, NativeFramesAreCountedByTheirSize)
{
    struct
    {
        size_t bytes;
        uint32_t frames;
    } const cases[] = {{12, 3}, {14, 3}, {4, 1}, {2, 1}};
    for (const auto& one : cases) {
        LoadedFile file(
            PreambleFile().ExplicitLittle().Image(Framed("")).NativePixels(ByteVector(one.bytes, 1)).Bytes());
        const ImageDescription description = file.Description(one.frames - 1);
        EXPECT_EQ(file.descriptionStatus, kDicomOk);
        EXPECT_EQ(description.frameCount, one.frames);
        EXPECT_EQ(description.frameOffset, 4u * (one.frames - 1));
        file.Description(one.frames);
        EXPECT_EQ(file.descriptionStatus, kDicomNoFrame);
    }
    EXPECT_EQ(StatusOf(PreambleFile().ExplicitLittle().Image(Framed("")).NativePixels({})), kDicomNoFrame);
    ImageAttributes packed = Framed("4");
    packed.bitsAllocated = packed.bitsStored = 12;
    packed.highBit = 11;
    LoadedFile file(PreambleFile().ExplicitLittle().Image(packed).NativePixels(ByteVector(24, 1)).Bytes());
    EXPECT_EQ(file.Description().frameCount, 3u);
}

TEST(FrameLocation, ItemsAreFrames)
{
    const auto build = [](const std::vector<ByteVector>& fragments) {
        return PreambleFile().ExplicitLittle(kJpegSyntax).Image(Framed("")).Encapsulated(fragments);
    };
    LoadedFile file(build({Fragment(0), Fragment(1), Fragment(2), Fragment(3)}).Bytes());
    for (uint32_t frame = 0; frame < 4; ++frame) {
        const ImageDescription description = file.Description(frame);
        EXPECT_EQ(description.frameCount, 4u);
        uint8_t first = 0xFF;
        ASSERT_NE(description.frameElement, nullptr);
        EXPECT_EQ(file.dataSet.ReadValueBytes(description.frameElement, 0, &first, 1), 1u);
        EXPECT_EQ(first, frame);
    }
    file.Description(4);
    EXPECT_EQ(file.descriptionStatus, kDicomNoFrame);
    EXPECT_EQ(StatusOf(build({})), kDicomNoFrame);  // an empty offset table alone
}

TEST(FrameLocation, ALoneItemIsAFrameWhenItIsLongEnough)
{
    const auto build = [](uint32_t length) {
        return PreambleFile()
            .ExplicitLittle(kJpegSyntax)
            .Image(Framed(""))
            .Header(kTagPixelData, "OB", kUndefinedLength)
            .Header(kTagItem, "", length)
            .Raw(ByteVector(length, 1))
            .Header(kTagSequenceDelimiter, "", 0);
    };
    EXPECT_EQ(StatusOf(build(4)), kDicomOk);
    EXPECT_EQ(StatusOf(build(2)), kDicomNoFrame);
    EXPECT_EQ(StatusOf(build(4), 1), kDicomNoFrame);
}

TEST(FrameLocation, FragmentsAreJoinedOnlyWhereTheFileSaysSo)
{
    const std::vector<ByteVector> four = {Fragment(0), Fragment(1), Fragment(2), Fragment(3)};
    const std::vector<ByteVector> ended = {Fragment(0), Fragment(1, true), Fragment(2), Fragment(3, true)};
    struct
    {
        const char* what;
        const char* frames;
        std::vector<ByteVector> fragments;
        std::vector<uint32_t> offsets;
        uint32_t frameCount;
        uint8_t markOfFrame1;
    } const cases[] = {
        {"no frame count", "", four, {0, 28}, 4, 1},
        {"as many as fragments", "4", ended, {}, 4, 1},
        {"offset table", "2", four, {0, 28}, 2, 2},
        {"offset table of unequal parts", "2", four, {0, 42}, 2, 3},
        {"offset table inside an item", "2", four, {0, 30}, 4, 1},
        {"offset table past the end", "2", four, {0, 5600}, 4, 1},
        {"offset table descending", "3", four, {0, 28, 14}, 4, 1},
        {"offset table of equal entries", "2", four, {0, 0}, 4, 1},
        {"offset table not from 0", "2", four, {14, 28}, 4, 1},
        {"offset table of another length", "3", four, {0, 28}, 4, 1},
        {"end marks", "2", ended, {}, 2, 2},
        {"an end mark alone", "2", {Fragment(0), {0xFF, 0xD9}, Fragment(2), Fragment(3, true)}, {}, 2, 2},
        {"end marks beat a lying table", "2", ended, {0, 30}, 2, 2},
        {"end marks of another count", "3", ended, {}, 4, 1},
        {"nothing to go by", "2", four, {}, 4, 1},
        {"count below 1", "0", four, {0, 28}, 4, 1},
        {"huge count", "2147483647", four, {}, 4, 1},
    };
    for (const auto& one : cases) {
        LoadedFile file(PreambleFile()
                            .ExplicitLittle(kJpegSyntax)
                            .Image(Framed(one.frames))
                            .Encapsulated(one.fragments, one.offsets)
                            .Bytes());
        const ImageDescription description = file.Description(1);
        EXPECT_EQ(description.frameCount, one.frameCount) << one.what;
        uint8_t first = 0xFF;
        ASSERT_NE(description.frameElement, nullptr) << one.what;
        EXPECT_EQ(file.dataSet.ReadValueBytes(description.frameElement, 0, &first, 1), 1u);
        EXPECT_EQ(first, one.markOfFrame1) << one.what;
    }
    LoadedFile single(
        PreambleFile().ExplicitLittle(kJpegSyntax).Image(Framed("1")).Encapsulated(four).Bytes());
    EXPECT_EQ(single.Description().frameCount, 1u);
}

TEST(FrameLocation, DamagedItemListsHaveNoFrames)
{
    DicomBuilder nested = PreambleFile().ExplicitLittle(kJpegSyntax).Image(Framed(""));
    nested.BeginFragments()
        .Fragment(Fragment(1))
        .Header(kTagItem, "", kUndefinedLength)
        .Header(kTagItemDelimiter, "", 0)
        .Header(kTagSequenceDelimiter, "", 0);
    EXPECT_EQ(StatusOf(nested), kDicomNoFrame);
}

TEST(FrameLocation, FramesAreCountedAcrossPixelDataElements)
{
    // A second element of the same tag at one level is refused by the tree, so they lie in items.
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    builder.BeginSequence(0x00880200);
    for (uint8_t part = 0; part < 2; ++part)
        builder.BeginItem()
            .Image(Framed(""))
            .NativePixels(ByteVector{uint8_t(10 * part), 0, 0, 0, uint8_t(10 * part + 1), 0, 0, 0})
            .EndItem();
    builder.EndSequence();
    LoadedFile file(builder.Bytes());
    for (uint32_t frame = 0; frame < 5; ++frame) {
        ImageBitmap bitmap{};
        const DicomStatus status = GetImageFromDataSet(&file.dataSet, nullptr, &bitmap, kBitmapStructSize,
                                                       frame, 0, 4, 0, nullptr, nullptr);
        EXPECT_EQ(status, frame < 4 ? kDicomOk : kDicomNoFrame);
        uint8_t row[4] = {};
        if (status == kDicomOk) GetBitmapRow(&bitmap, row, 0, 4);
        if (frame < 4) {
            EXPECT_EQ(row[0], frame % 2 + frame / 2 * 10);
        }
        FreeBitmap(&bitmap);
    }
    LoadedFile none(PreambleFile().ExplicitLittle().Image(Framed("")).Bytes());
    ImageBitmap bitmap{};
    EXPECT_EQ(
        GetImageFromDataSet(&none.dataSet, nullptr, &bitmap, kBitmapStructSize, 0, 0, 4, 0, nullptr, nullptr),
        kDicomNoFrame);
}
}  // namespace talv
