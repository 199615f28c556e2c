#include "image/rle_decoder.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/byte_writer.h"

namespace talv {
namespace {
ByteVector Item(const std::vector<ByteVector>& segments, uint32_t declared)
{
    ByteWriter item;
    item.U32le(declared);
    uint32_t offset = 64;
    for (size_t i = 0; i < 15; ++i) {
        item.U32le(i < segments.size() ? offset : 0);
        if (i < segments.size()) offset += static_cast<uint32_t>(segments[i].size());
    }
    for (const ByteVector& segment : segments) item.Bytes(segment);
    return item;
}
ByteVector Item(const std::vector<ByteVector>& segments)
{
    return Item(segments, static_cast<uint32_t>(segments.size()));
}

ImageDescription FrameOf(uint64_t bytes)
{
    ImageDescription description;
    description.frameSize = bytes;
    description.photometricCode = kMonochrome2;
    description.bitsAllocated = 8;
    return description;
}

/// Decodes into a buffer with guards on both sides.
ByteVector Decode(const ByteVector& item, const ImageDescription& description)
{
    constexpr size_t kGuard = 64;
    ByteVector block(static_cast<size_t>(description.frameSize) + 2 * kGuard, 0xA5);
    EXPECT_EQ(DecodeRleItem(item.data(), item.size(), description, block.data() + kGuard), kDicomOk);
    EXPECT_EQ(ByteVector(block.begin(), block.begin() + kGuard), ByteVector(kGuard, 0xA5));
    EXPECT_EQ(ByteVector(block.end() - kGuard, block.end()), ByteVector(kGuard, 0xA5));
    return ByteVector(block.begin() + kGuard, block.end() - kGuard);
}

/// Literal runs only.
ByteVector Literals(const ByteVector& bytes)
{
    ByteVector segment;
    for (size_t at = 0; at < bytes.size(); at += 128) {
        const size_t count = std::min<size_t>(128, bytes.size() - at);
        segment.push_back(static_cast<uint8_t>(count - 1));
        segment.insert(segment.end(), bytes.begin() + static_cast<ptrdiff_t>(at),
                       bytes.begin() + static_cast<ptrdiff_t>(at + count));
    }
    return segment;
}
}  // namespace

TEST(RleFrame, RunsOfOneSegment)
{
    struct
    {
        const char* what;
        ByteVector segment, frame;
    } const cases[] = {
        {"replicate", {0xFE, 7}, {7, 7, 7}},
        {"literal", {2, 1, 2, 3}, {1, 2, 3}},
        {"128 is skipped", {128, 128, 0, 9, 128, 0xFF, 4}, {9, 4, 4}},
        {"a replicate run without its byte ends the segment", {0, 5, 0xFE}, {5, 0, 0}},
        {"a literal run is cut to the input", {9, 1, 2}, {1, 2, 0}},
        {"both kinds are cut to the frame", {0, 1, 0x81, 6}, {1, 6, 6}},
        {"what follows a full frame is dropped", {3, 1, 2, 3, 4, 0xFE, 7}, {1, 2, 3}},
        {"empty", {}, {0, 0, 0}},
    };
    for (const auto& one : cases) EXPECT_EQ(Decode(Item({one.segment}), FrameOf(3)), one.frame) << one.what;
}

TEST(RleFrame, SegmentsAreInterleavedOrFillTheirPlanes)
{
    const ByteVector item = Item({{1, 1, 2}, {1, 3, 4}, {1, 5, 6}});
    ImageDescription description = FrameOf(6);
    EXPECT_EQ(Decode(item, description), ByteVector({1, 3, 5, 2, 4, 6}));
    description.planarConfiguration = 1;
    EXPECT_EQ(Decode(item, description), ByteVector({1, 2, 3, 4, 5, 6}));
    description.frameSize = 8;  // planes of 8 / 3 = 2 bytes
    EXPECT_EQ(Decode(item, description), ByteVector({1, 2, 3, 4, 5, 6, 0, 0}));
    description.planarConfiguration = 0;
    description.frameSize = 5;
    EXPECT_EQ(Decode(item, description), ByteVector({1, 3, 5, 2, 4}));
}

TEST(RleFrame, OnlyThreeSegmentsCount)
{
    EXPECT_EQ(Decode(Item({{0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 5}}), FrameOf(3)), ByteVector({1, 2, 3}));
    EXPECT_EQ(Decode(Item({{0, 1}}, 0), FrameOf(2)), ByteVector({0, 0}));
}

TEST(RleFrame, OnlyPaletteWordsAreSwapped)
{
    const ByteVector item = Item({{1, 0x12, 0x56}, {1, 0x34, 0x78}});
    ImageDescription description = FrameOf(4);
    description.bitsAllocated = 16;
    EXPECT_EQ(Decode(item, description), ByteVector({0x12, 0x34, 0x56, 0x78}));
    description.photometricCode = kPaletteColor;
    EXPECT_EQ(Decode(item, description), ByteVector({0x34, 0x12, 0x78, 0x56}));
}

TEST(RleFrame, OffsetsWithoutSenseMakeEmptySegments)
{
    for (uint32_t offset : {0u, 63u, 66u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        ByteWriter item;
        item.U32le(1).U32le(offset).Zeros(56).Bytes({0, 9});
        EXPECT_EQ(Decode(item, FrameOf(2)), ByteVector({0, 0})) << offset;
    }
    uint8_t byte = 0;
    EXPECT_EQ(DecodeRleItem(ByteVector(63).data(), 63, FrameOf(1), &byte), kDicomShortRead);
}

// A byte-by-byte decoder that follows the definition; random streams hit every cut.
TEST(RleFrame, AgreesWithTheDefinitionOnRandomSegments)
{
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        const uint32_t segments = 1 + random() % 3;
        const size_t frameSize = 1 + random() % 700;
        std::vector<ByteVector> streams(segments);
        ByteVector expected(frameSize, 0);
        for (uint32_t s = 0; s < segments; ++s) {
            streams[s].resize(random() % 300);
            for (uint8_t& byte : streams[s]) byte = static_cast<uint8_t>(random());
            size_t at = s;
            const ByteVector& in = streams[s];
            for (size_t i = 0; i < in.size() && at < frameSize;) {
                const uint32_t control = in[i++];
                const uint32_t length = control < 128 ? control + 1 : control > 128 ? 257 - control : 0;
                const size_t start = i;
                for (uint32_t k = 0; k < length && at < frameSize && i < in.size(); ++k, at += segments) {
                    expected[at] = in[control < 128 ? i++ : start];
                }
                if (control > 128) i = start + 1;
            }
        }
        EXPECT_EQ(Decode(Item(streams), FrameOf(frameSize)), expected) << "round " << round;
    }
    ByteVector plain(1000);
    for (uint8_t& byte : plain) byte = static_cast<uint8_t>(random());
    EXPECT_EQ(Decode(Item({Literals(plain)}), FrameOf(1000)), plain);
}
}  // namespace talv
