#include <gtest/gtest.h>

#include "codecs/codec_status.h"
#include "codecs/entry_points.h"
#include "tests/image/image_fixture.h"

namespace talv {
namespace {
/// What the fake codecs saw and what they are to answer.
struct CodecScript
{
    std::vector<int32_t> answers;  // one a call; the last one goes on
    size_t calls = 0;
    ByteVector source;
    std::vector<uint32_t> depths;
    J2KFrameDescriptor descriptor{};

    int32_t Next()
    {
        const int32_t answer = answers.empty() ? 1 : answers[std::min(calls, answers.size() - 1)];
        ++calls;
        return answer;
    }
};
CodecScript script;

/// Fills the rows, padding apart, with 1, 2, 3, ...
void FillRows(void* dest, uint32_t width, uint32_t height, uint32_t bits)
{
    auto* out = static_cast<uint8_t*>(dest);
    const uint32_t used = width * bits / 8, pitch = static_cast<uint32_t>(BytesPerLine(width, bits));
    uint8_t next = 1;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < used; ++x) out[y * pitch + x] = next++;
}

int32_t FLT_CALL FakeLoad(const void* src, uint32_t count, void* dest, int32_t format, int32_t width,
                          int32_t height, uint32_t bits, void* tables, uint32_t flags)
{
    const auto* bytes = static_cast<const uint8_t*>(src);
    script.source.assign(bytes, bytes + count);
    script.depths.push_back(bits);
    EXPECT_EQ(format, 0);
    EXPECT_EQ(tables, nullptr);
    EXPECT_EQ(flags, 0u);
    const int32_t answer = script.Next();
    if (answer == kCodecOk) FillRows(dest, static_cast<uint32_t>(width), static_cast<uint32_t>(height), bits);
    return answer;
}

int32_t FLT_CALL FakeDecompress(const void* src, void* dest, const J2KFrameDescriptor* descriptor)
{
    const auto* bytes = static_cast<const uint8_t*>(src);
    script.source.assign(bytes, bytes + descriptor->sourceLength);
    script.descriptor = *descriptor;
    const int32_t answer = script.Next();
    if (answer >= 0) FillRows(dest, descriptor->width, descriptor->height, descriptor->bitsPerPixel);
    return answer;
}

DataSetTables FakeTables(std::vector<int32_t> answers)
{
    script = {};
    script.answers = std::move(answers);
    DataSetTables tables = StandardTables();
    tables.codecs.loadBufferCmp = reinterpret_cast<AnyFunction>(FakeLoad);
    tables.codecs.j2kDecompressFrame = reinterpret_cast<AnyFunction>(FakeDecompress);
    return tables;
}

ByteVector Encoded(const ImageAttributes& attributes, const char* syntax = kJpegSyntax,
                   const std::vector<ByteVector>& fragments = {{9, 8, 7, 6}})
{
    return PreambleFile().ExplicitLittle(syntax).Image(attributes).Encapsulated(fragments).Bytes();
}
}  // namespace

TEST(CodecFrame, AMissingCodecIsSaid)
{
    DataSetTables tables = StandardTables();
    tables.codecs = {};
    for (const char* syntax : {kJpegSyntax, "1.2.840.10008.1.2.4.70", kJ2kSyntax, "1.2.840.10008.1.2.4.91"}) {
        LoadedFile file(Encoded(Grey8(1, 2), syntax), tables);
        EXPECT_EQ(Picture(&file).status, kDicomCodecMissing) << syntax;
    }
    for (const char* syntax :
         {"1.2.840.10008.1.2.4.80", "1.2.840.10008.1.2.4.81", "1.2.840.10008.1.2.4.100"}) {
        LoadedFile file(Encoded(Grey8(1, 2), syntax), tables);
        EXPECT_EQ(Picture(&file).status, kDicomUnsupportedCompression) << syntax;
    }
}

TEST(CodecFrame, JpegRowsBecomeBitmapRows)
{
    LoadedFile grey(Encoded(Grey8(2, 3)), FakeTables({}));
    EXPECT_EQ(Picture(&grey).Rows(), ByteVector({1, 2, 3, 0, 4, 5, 6, 0}));
    EXPECT_EQ(script.source, ByteVector({9, 8, 7, 6}));
    EXPECT_EQ(script.depths, std::vector<uint32_t>({8}));

    // Colour comes as blue, green, red; what the attributes say of planes and range does not count.
    LoadedFile color(Encoded(Color8(1, 2, "YBR_FULL", 1)), FakeTables({}));
    EXPECT_EQ(Picture(&color).Rows(), ByteVector({1, 2, 3, 4, 5, 6, 0, 0}));
    EXPECT_EQ(script.depths, std::vector<uint32_t>({24}));

    LoadedFile wide(Encoded(Grey16(1, 1, true)), FakeTables({}));
    EXPECT_EQ(Picture(&wide, 0, 0).Rows(), ByteVector({1, 0x82, 0, 0}));
    EXPECT_EQ(script.depths, std::vector<uint32_t>({16}));
}

TEST(CodecFrame, BytesBecomeTheBitsOfAOneBitImage)
{
    ImageAttributes image = Grey8(1, 10);
    image.bitsAllocated = image.bitsStored = 1;
    image.highBit = 0;
    DicomBuilder builder = PreambleFile().ExplicitLittle(kJ2kSyntax).Image(image);
    LoadedFile file(builder.Encapsulated({{1, 2, 3, 4}}).Bytes(), FakeTables({}));
    Picture picture(&file);
    ASSERT_EQ(picture.status, kDicomOk);
    EXPECT_EQ(script.descriptor.bitsPerPixel, 8u);
    EXPECT_EQ(picture.Rows(), ByteVector({0xFF, 0xC0, 0, 0}));
}

TEST(CodecFrame, J2kGetsItsDescriptor)
{
    LoadedFile file(Encoded(Grey16(3, 5), kJ2kSyntax), FakeTables({0}));
    Picture picture(&file, 0, 0);
    EXPECT_EQ(picture.status, kDicomOk);
    const J2KFrameDescriptor& got = script.descriptor;
    const std::vector<uint32_t> words(&got.size, &got.size + 15);
    EXPECT_EQ(words, std::vector<uint32_t>({60, 1, 0, 1, 4, 12, 16, 1, 1, 5, 3, 3, 1, 1, 0}));

    LoadedFile failing(Encoded(Grey8(1, 1), kJ2kSyntax), FakeTables({-536}));
    EXPECT_EQ(Picture(&failing).status, kDicomNoFrame);
}

TEST(CodecFrame, JpegFailuresKeepTheirCode)
{
    for (int32_t code : {-1, -9, -44, -62}) {
        LoadedFile file(Encoded(Grey8(1, 1)), FakeTables({code}));
        EXPECT_EQ(Picture(&file).status, static_cast<DicomStatus>(code));
        EXPECT_EQ(script.calls, 1u);
    }
}

TEST(CodecFrame, AColourStreamInAGreyImageIsShownInColour)
{
    LoadedFile file(Encoded(Grey8(1, 2)), FakeTables({kCodecBadDepth, kCodecOk}));
    {
        Picture picture(&file);
        ASSERT_EQ(picture.status, kDicomOk);
        EXPECT_EQ(picture.bitmap.bitsPerPixel, 24);
        EXPECT_EQ(picture.bitmap.colorOrder, 1u);
        EXPECT_EQ(picture.Rows(), ByteVector({1, 2, 3, 4, 5, 6, 0, 0}));
        EXPECT_EQ(script.depths, std::vector<uint32_t>({8, 24}));
    }
    // The next frame begins anew as grey.
    script.calls = 1;
    EXPECT_EQ(Picture(&file).bitmap.bitsPerPixel, 8);

    LoadedFile hopeless(Encoded(Grey8(1, 2)), FakeTables({kCodecBadDepth}));
    EXPECT_EQ(Picture(&hopeless).status, kDicomNoFrame);
    EXPECT_EQ(script.calls, 2u);
    LoadedFile wide(Encoded(Grey16(1, 2)), FakeTables({kCodecBadDepth}));
    EXPECT_EQ(Picture(&wide).status, kDicomNoFrame);
    EXPECT_EQ(script.calls, 1u);
}

TEST(CodecFrame, JoinedFragmentsReachTheCodecInOnePiece)
{
    ImageAttributes attributes = Grey8(1, 1);
    attributes.numberOfFrames = "1";
    LoadedFile file(Encoded(attributes, kJpegSyntax, {{1, 2}, {3, 4, 5, 6}, {7, 8}}), FakeTables({}));
    EXPECT_EQ(Picture(&file).status, kDicomOk);
    EXPECT_EQ(script.source, ByteVector({1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(CodecFrame, AFragmentThatTheFileLacksIsUnreadable)
{
    ByteVector bytes = Encoded(Grey8(1, 1), kJpegSyntax, {ByteVector(100, 1)});
    bytes.resize(bytes.size() - 60);
    LoadedFile file(std::move(bytes), FakeTables({}));
    EXPECT_EQ(Picture(&file).status, kDicomShortRead);
    EXPECT_EQ(script.calls, 0u);
}
}  // namespace talv
