// Headers field by field: what is accepted, and which status refuses the rest.

#include <gtest/gtest.h>

#include "codecs/j2k/j2k_codestream.h"
#include "codecs/j2k/j2k_entry_point.h"
#include "tests/codecs/j2k_test_streams.h"

namespace talv::j2k_test {
namespace {
const ByteVector kEmptyPacket = {0x00};

int32_t Open(const ByteVector& bytes)
{
    return J2kCodestream(bytes.data(), bytes.size(), 1u << 20).Open();
}

int32_t Status(const HeaderFields& fields)
{
    const ByteVector stream = MainHeader(fields).Bytes(TilePart(0, kEmptyPacket).Content()).U16be(0xFFD9);
    return Decode(stream, 16, 16, 8).status;
}

TEST(J2kHeader, EmptyPacketGivesTheMiddleOfTheRange)
{
    const ByteVector stream = MainHeader({}).Bytes(TilePart(0, kEmptyPacket).Content()).U16be(0xFFD9);
    const Picture picture = Decode(stream, 16, 16, 8);
    EXPECT_EQ(picture.status, kCodecOk);
    EXPECT_EQ(picture.rows, ByteVector(256, 128));
}

TEST(J2kHeader, StreamsThatAreNoneAreRefusedByTheirFirstMarkers)
{
    EXPECT_EQ(Open({}), kJ2kNoCodestream);
    EXPECT_EQ(Open(ByteWriter().U32be(12).Text("jP  ").U32be(0x0D0A870A)), kJ2kNoCodestream);
    EXPECT_EQ(Open({0xFF, 0x4F}), kJ2kNoSize);
    EXPECT_EQ(Open({0xFF, 0x4F, 0xFF, 0x51, 0x00, 0x29}), kJ2kNoSize);
    EXPECT_EQ(Open(ByteWriter().U16be(0xFF4F).U16be(0xFF64).U16be(2)), kJ2kBadSize);
    ByteVector whole = MainHeader({});
    EXPECT_EQ(Open(whole), kJ2kBrokenHeader);  // no SOT
}

TEST(J2kHeader, SizesMustAgree)
{
    struct Case
    {
        const char* name;
        uint32_t HeaderFields::*field;
        uint32_t value;
        int32_t status;
    };
    const Case cases[] = {
        {"no width", &HeaderFields::endX, 0, kJ2kBadSize},
        {"no tile width", &HeaderFields::tileWidth, 0, kJ2kBadSize},
        {"no tile height", &HeaderFields::tileHeight, 0, kJ2kBadSize},
        {"tile offset behind the image offset", &HeaderFields::tileOffsetX, 1, kJ2kBadSize},
        {"image offset behind the first tile", &HeaderFields::offsetX, 16, kJ2kBadSize},
        {"no components", &HeaderFields::components, 0, kJ2kBadSize},
        {"no step", &HeaderFields::stepY, 0, kJ2kBadSize},
        {"39 bits", &HeaderFields::depth, 38, kJ2kBadSize},
        {"32 bits", &HeaderFields::depth, 31, kCodecUnsupported},
        {"two components for one", &HeaderFields::components, 2, kCodecBadDepth},
        {"16384 components", &HeaderFields::components, 16384, kCodecBadDepth},
        {"high-throughput blocks announced", &HeaderFields::profile, 0x4000, kCodecUnsupported},
        {"order", &HeaderFields::order, 5, kJ2kBrokenHeader},
        {"no layers", &HeaderFields::layers, 0, kJ2kBrokenHeader},
        {"33 levels", &HeaderFields::levels, 33, kJ2kBrokenHeader},
        {"block width", &HeaderFields::blockX, 9, kJ2kBrokenHeader},
        {"block area", &HeaderFields::blockY, 7, kJ2kBrokenHeader},
        {"high-throughput block style", &HeaderFields::modes, 0x40, kJ2kBrokenHeader},
        {"wavelet", &HeaderFields::wavelet, 2, kJ2kBrokenHeader},
        {"quantisation style", &HeaderFields::quantization, 0x43, kJ2kBrokenHeader},
        {"32 levels on 16 samples", &HeaderFields::levels, 31, kCodecOk},
        {"65535 layers", &HeaderFields::layers, 65535, kCodecOk},
        {"31 bits", &HeaderFields::depth, 30, kCodecOk},
    };
    for (const Case& c : cases) {
        HeaderFields fields;
        fields.*c.field = c.value;
        EXPECT_EQ(Status(fields), c.status) << c.name;
    }
    for (int lie : {-1, 1, 3}) {
        HeaderFields fields;
        fields.sizeLengthLie = lie;
        EXPECT_EQ(Status(fields), kJ2kBadSize) << lie;
    }
}

TEST(J2kHeader, TileCountEndsBelow65536)
{
    HeaderFields fields;
    fields.tileWidth = fields.tileHeight = 1;
    fields.endX = fields.endY = 256;
    EXPECT_EQ(Status(fields), kJ2kBadSize);
    fields.endX = 65535;
    fields.endY = 1;
    EXPECT_EQ(Status(fields), kCodecOk);
}

TEST(J2kHeader, PackedHeadersSetTheProfile)
{
    const ByteVector stream = MainHeader({}).U16be(0xFF60).U16be(3).U8(0).U16be(0xFF90);
    J2kCodestream reader(stream.data(), stream.size(), 1000);
    EXPECT_EQ(reader.Open(), kCodecOk);
    EXPECT_EQ(*reader.Parameters().Find("Rsiz", -1, -1, 0), 3);
    EXPECT_EQ(*reader.Parameters().Find("XYsiz", 7, 3, 1), 16);  // any tile has the main header's
    EXPECT_EQ(reader.Parameters().Find("XYsize", -1, -1, 0), nullptr);
}

TEST(J2kHeader, PackedHeadersInATileHeaderOrOutOfOrderAreRefused)
{
    const ByteVector packed = ByteWriter().U16be(0xFF60).U16be(3).U8(0);
    const ByteVector inTile = MainHeader({}).Bytes(TilePart(0, kEmptyPacket, packed).Content());
    EXPECT_EQ(Decode(inTile, 16, 16, 8).status, kJ2kBrokenHeader);
    const ByteVector gap = MainHeader({}).U16be(0xFF60).U16be(3).U8(1).U16be(0xFF90);
    EXPECT_EQ(Open(gap), kJ2kBrokenHeader);
}

TEST(J2kHeader, ComponentsFindTheirOwnValuesFirst)
{
    J2kParameterStore store(10);
    store.Set(J2kName::SPcod_DecompLevels, -1, -1, 0, 1);
    EXPECT_EQ(store.Get(J2kName::SPcod_DecompLevels, 5, 2, 0, -1), 1);
    store.Set(J2kName::SPcod_DecompLevels, -1, 2, 0, 2);
    EXPECT_EQ(store.Get(J2kName::SPcod_DecompLevels, 5, 2, 0, -1), 2);
    store.Set(J2kName::SPcod_DecompLevels, 5, -1, 0, 3);
    EXPECT_EQ(store.Get(J2kName::SPcod_DecompLevels, 5, 2, 0, -1), 3);
    store.Set(J2kName::SPcod_DecompLevels, 5, 2, 0, 4);
    EXPECT_EQ(store.Get(J2kName::SPcod_DecompLevels, 5, 2, 0, -1), 4);
    EXPECT_EQ(store.Get(J2kName::SPcod_DecompLevels, 4, 1, 0, -1), 1);
}

TEST(J2kHeader, EntryPointChecksItsArguments)
{
    uint8_t bytes[4] = {};
    J2KFrameDescriptor descriptor{};
    EXPECT_EQ(fltJ2KDecompressFrame(bytes, bytes, nullptr), kCodecInvalidParameter);
    EXPECT_EQ(fltJ2KDecompressFrame(bytes, bytes, &descriptor), kCodecWrongStructSize);
    descriptor.size = 60;
    descriptor.width = descriptor.height = 1;
    EXPECT_EQ(fltJ2KDecompressFrame(nullptr, bytes, &descriptor), kCodecInvalidParameter);
    EXPECT_EQ(fltJ2KDecompressFrame(bytes, bytes, &descriptor), kJ2kNoCodestream);
}
}  // namespace
}  // namespace talv::j2k_test
