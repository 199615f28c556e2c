#include <cstring>

#include "tests/filter/source_fixture.h"

namespace talv {
namespace {
using Mpeg2Stream = SourceTest;

DicomBuilder Mpeg2File()
{
    return PreambleFile().ExplicitLittle("1.2.840.10008.1.2.4.100");
}

TEST_F(Mpeg2Stream, SecondItemIsTheStream)
{
    const ByteVector stream = {0, 0, 1, 0xB3, 5, 6, 7, 8};
    ASSERT_EQ(Load(Mpeg2File().Encapsulated({stream, {9, 9}}, {0})), 0);
    EXPECT_TRUE(source.isMpeg2Stream);
    ASSERT_EQ(source.streamReader.Length(), 8);
    EXPECT_EQ(source.streamReader.rateLimit, 0xFFFFFFFFu);
    uint8_t read[8] = {};
    EXPECT_EQ(source.streamReader.ReadAt(0, read, 8), 8);
    EXPECT_EQ(ByteVector(read, read + 8), stream);
    const struct
    {
        int64_t position, count, result;
    } cases[] = {{6, 8, 2},   {8, 1, 0}, {INT64_MAX, 1, 0}, {-1, 1, -1},
                 {0, -1, -1}, {3, 0, 0}, {1, INT64_MAX, 7}};
    for (const auto& c : cases)
        EXPECT_EQ(source.streamReader.ReadAt(c.position, read, c.count), c.result) << c.position;

    ASSERT_EQ(Load(GreyClip(1, "")), 0);  // an image again
    EXPECT_FALSE(source.isMpeg2Stream);
}

TEST_F(Mpeg2Stream, WithoutTheTwoItemsNothingIsAttached)
{
    const ByteVector bytes = {1, 2, 3, 4};
    const std::pair<const char*, DicomBuilder> files[] = {
        {"no pixel data", Mpeg2File().Cs(0x00080060, "US")},
        {"defined length", Mpeg2File().NativePixels(bytes, "OB")},
        {"no items", Mpeg2File().Header(0x7FE00010, "OB", 0xFFFFFFFF)},
        {"only the table", Mpeg2File().Encapsulated({})},
        {"empty stream", Mpeg2File().Encapsulated({{}})},
    };
    for (const auto& [what, file] : files) {
        EXPECT_EQ(Load(file), 0) << what;
        EXPECT_FALSE(source.isMpeg2Stream) << what;
        EXPECT_EQ(source.SampleSize(), 0) << what;
    }
    EXPECT_TRUE(notices.empty());
}

TEST_F(Mpeg2Stream, LengthBeyondTheFileIsRefusedSilently)
{
    for (const uint32_t length : {6u, 0x7FFFFFFEu, 0xFFFFFFFEu}) {
        DicomBuilder file = Mpeg2File();
        for (uint32_t tag = 0x00100010; tag < 0x0010001C; ++tag)
            file.Lo(tag, "x");  // enough elements to be accepted
        file.BeginFragments().Header(kTagItem, "", length).Raw(ByteVector{1, 2, 3, 4});
        EXPECT_EQ(Load(file), 1) << length;
        EXPECT_FALSE(source.isMpeg2Stream);
        EXPECT_EQ(source.streamReader.Length(), 0);
    }
    EXPECT_TRUE(notices.empty());
}
}  // namespace
}  // namespace talv
