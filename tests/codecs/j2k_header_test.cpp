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
        {"reserved bits of the style", &HeaderFields::style, 8, kJ2kBrokenHeader},
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

/// A segment of packed headers with that index.
ByteVector Packed(uint32_t marker, uint32_t index, const ByteVector& bytes = {})
{
    return ByteWriter().U16be(marker).U16be(3 + static_cast<uint32_t>(bytes.size())).U8(index).Bytes(bytes);
}

TEST(J2kHeader, PackedHeadersOutOfPlaceOrOrderAreRefused)
{
    const ByteVector main = MainHeader({});
    EXPECT_EQ(Open(ByteWriter().Bytes(main).Bytes(Packed(0xFF60, 1)).U16be(0xFF90)), kJ2kBrokenHeader);
    // Two tile-parts; what stands in the header of the second one.
    const auto status = [&](const ByteVector& header) {
        const ByteVector first = TilePart(0, kEmptyPacket), second = TilePart(0, kEmptyPacket, header);
        return Decode(ByteWriter().Bytes(main).Bytes(first).Bytes(second), 16, 16, 8).status;
    };
    EXPECT_EQ(status(Packed(0xFF60, 0)), kJ2kBrokenHeader);
    EXPECT_EQ(status(Packed(0xFF61, 0, {0x00})), kCodecOk);
    EXPECT_EQ(status(Packed(0xFF61, 1, {0x00})), kJ2kBrokenHeader);
    const ByteVector zero = Packed(0xFF61, 0), one = Packed(0xFF61, 1), two = Packed(0xFF61, 2, {0x00});
    EXPECT_EQ(status(ByteWriter().Bytes(two).Bytes(zero).Bytes(one)), kCodecOk);
    EXPECT_EQ(status(ByteWriter().Bytes(two).Bytes(zero)), kJ2kBrokenHeader);
    EXPECT_EQ(status(ByteWriter().Bytes(zero).Bytes(zero).Bytes(one)), kJ2kBrokenHeader);
    EXPECT_EQ(status({0xFF, 0x61, 0x00, 0x02}), kJ2kBrokenHeader);
}

TEST(J2kHeader, SegmentsOfComponentsThatAreNotThereAreRefused)
{
    const ByteVector segments[] = {{0xFF, 0x53, 0x00, 0x09, 1, 0, 0, 4, 4, 0, 1},
                                   {0xFF, 0x5D, 0x00, 0x05, 1, 0x40, 0x40},
                                   {0xFF, 0x5E, 0x00, 0x05, 1, 0, 5}};
    for (const ByteVector& segment : segments) {
        ByteVector stream = MainHeader({}).Bytes(segment).U16be(0xFF90);
        EXPECT_EQ(Open(stream), kJ2kBrokenHeader);
    }
}

// Each of the first would be counted anew, each of the others sorts every precinct and reads none.
TEST(J2kHeader, ProgressionChangesWithoutEndAreBoundedByTheBudget)
{
    const ByteVector change = {0xFF, 0x5F, 0x00, 0x09, 0, 0, 0, 1, 33, 1, 0};
    ByteWriter many = MainHeader({});
    for (int i = 0; i < 40000; ++i) many.Bytes(change);
    many.Bytes(TilePart(0, kEmptyPacket).Content());
    EXPECT_EQ(Decode(many, 16, 16, 8).status, kCodecOk);

    HeaderFields fields;
    fields.endX = fields.endY = fields.tileWidth = fields.tileHeight = 256;
    fields.blockX = fields.blockY = 0;
    ByteWriter empty = MainHeader(fields);
    const ByteVector entry = {0, 0, 0, 0, 33, 1, 2};
    for (int i = 0; i < 4; ++i) {
        empty.U16be(0xFF5F).U16be(2 + 7 * 9000);
        for (int k = 0; k < 9000; ++k) empty.Bytes(entry);
    }
    ByteVector stream = empty;
    // Precincts of two by two samples.
    const size_t coding = MainHeader(fields).Size() - 6 - 14;
    stream[coding + 3] = 13;
    stream[coding + 4] = 1;
    stream.insert(stream.begin() + static_cast<ptrdiff_t>(coding) + 14, 0x11);
    stream = ByteWriter().Bytes(stream).Bytes(TilePart(0, ByteVector(100, 0)).Content());
    EXPECT_EQ(Decode(stream, 256, 256, 8).status, kCodecNoMemory);
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
