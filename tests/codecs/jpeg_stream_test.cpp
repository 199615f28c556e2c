#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "codecs/jpeg/huffman_table.h"
#include "codecs/jpeg/jpeg_decoder.h"
#include "codecs/jpeg/load_buffer.h"
#include "tests/codecs/jpeg_fixture.h"
#include "tests/support/failing_memory.h"

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

namespace talv {
namespace {
ByteVector ColourStream()
{
    return Encode(Source(33, 21, 24).Waves(3), {4, 90});
}
ByteVector GreyStream()
{
    return Encode(Source(33, 21, 8).Waves(1), {0, 90});
}
ByteVector LosslessStream()
{
    return Encode(Source(33, 21, 8).Waves(1), {.options = kSaveLossless});
}

ByteVector Edit(ByteVector stream, int marker, ptrdiff_t offset, std::initializer_list<uint8_t> bytes)
{
    std::copy(bytes.begin(), bytes.end(),
              stream.begin() + static_cast<ptrdiff_t>(FindSegment(stream, marker)) + offset);
    return stream;
}

TEST(JpegHeader, RefusalsByField)
{
    const ByteVector colour = ColourStream(), lossless = LosslessStream();
    const struct
    {
        const char* what;
        ByteVector stream;
        int32_t status;
    } cases[] = {
        {"one byte", {0xFF}, kCodecUnsupported},
        {"start of image alone", {0xFF, 0xD8}, kCodecUnsupported},
        {"compound document", {0xD0, 0xCF, 0x11, 0xE0, 0, 0, 0, 0}, kCodecUnsupported},
        {"little-endian TIFF", {'I', 'I', 42, 0}, kCodecUnsupported},
        {"container without its third byte", {0x18, 0, 0, 0xFF, 0xD8, 0xFF}, kCodecUnsupported},
        {"arithmetic coding", Edit(colour, 0xC0, -3, {0xC9}), kCodecUnsupported},
        {"differential", Edit(colour, 0xC0, -3, {0xC5}), kCodecUnsupported},
        {"two components", Edit(colour, 0xC0, 5, {2}), kCodecUnsupported},
        {"sampling factor 0", Edit(colour, 0xC0, 7, {0x02}), kCodecUnsupported},
        {"sampling factor 5", Edit(colour, 0xC0, 7, {0x15}), kCodecUnsupported},
        {"eighteen blocks an MCU", Edit(colour, 0xC0, 7, {0x44}), kCodecUnsupported},
        {"one identifier twice", Edit(colour, 0xC0, 9, {1}), kCodecUnsupported},
        {"width 0", Edit(colour, 0xC0, 3, {0, 0}), kCodecUnsupported},
        {"height 0 and no DNL", Edit(colour, 0xC0, 1, {0, 0}), kCodecUnsupported},
        {"lossy of 17 bits", Edit(colour, 0xC0, 0, {17}), kCodecUnsupported},
        {"lossy of 1 bit", Edit(colour, 0xC0, 0, {1}), kCodecUnsupported},
        {"band that ends before it begins", Edit(colour, 0xDA, 7, {9, 5}), kCodecUnsupported},
        {"band beyond the block", Edit(colour, 0xDA, 8, {64}), kCodecUnsupported},
        {"lossless of 1 bit", Edit(lossless, 0xC3, 0, {1}), kCodecUnsupported},
        {"predictor 0", Edit(lossless, 0xDA, 3, {0}), kCodecUnsupported},
        {"predictor 8", Edit(lossless, 0xDA, 3, {8}), kCodecUnsupported},
        {"point transform of all bits", Edit(lossless, 0xDA, 5, {8}), kCodecUnsupported},
        {"over-full Huffman tree", Edit(colour, 0xC4, 1, {3}), kCodecUnsupported},
        {"Huffman class 2", Edit(colour, 0xC4, 0, {0x20}), kCodecUnsupported},
        {"DC slot 4", Edit(colour, 0xC4, 0, {0x04}), kCodecTooManyDcTables},
        {"AC slot 4", Edit(colour, 0xC4, 0, {0x14}), kCodecTooManyAcTables},
        {"quantisation slot 4", Edit(colour, 0xDB, 0, {0x04}), kCodecNoQuantTable},
        {"quantisation table never defined", Edit(colour, 0xC0, 8, {3}), kCodecNoQuantTable},
        {"DC table never defined", Edit(colour, 0xDA, 2, {0x20}), kCodecNoDcTable},
        {"AC table never defined", Edit(colour, 0xDA, 2, {0x02}), kCodecNoAcTable},
        {"component not in the frame", Edit(colour, 0xDA, 1, {9}), kCodecUnsupported},
        {"component twice in a scan", Edit(colour, 0xDA, 3, {1}), kCodecUnsupported},
        {"no Huffman tables", WithoutSegment(colour, 0xC4), kCodecNoDcTable},
        {"no quantisation tables", WithoutSegment(WithoutSegment(colour, 0xDB), 0xDB), kCodecUnsupported},
        {"segment length 1", Edit(colour, 0xDB, -2, {0, 1}), kCodecUnsupported},
    };
    for (const auto& c : cases) {
        const bool grey = FindSegment(c.stream, 0xC3) != 0;
        const Decoded decoded = DecodeStream(c.stream, {33, 21, grey ? 8u : 24u});
        EXPECT_EQ(decoded.status, c.status) << c.what;
        EXPECT_TRUE(decoded.guardsHold && decoded.sourceHolds) << c.what;
        EXPECT_EQ(decoded.rows, ByteVector(decoded.rows.size(), 0xA5)) << c.what;
    }
}

TEST(JpegHeader, ArgumentsAreCheckedInOrder)
{
    const ByteVector colour = ColourStream();
    EXPECT_EQ(DecodeStream(colour, {32, 21, 8}).status, kCodecTooNarrow);
    EXPECT_EQ(DecodeStream(colour, {33, 21, 8}).status, kCodecBadDepth);
    EXPECT_EQ(DecodeStream(colour, {33, 21, 16}).status, kCodecBadDepth);
    EXPECT_EQ(DecodeStream(GreyStream(), {33, 21, 24}).status, kCodecBadDepth);
    EXPECT_EQ(DecodeStream(GreyStream(), {33, 21, 16}).status, kCodecOk);
    EXPECT_EQ(DecodeStream(colour, {33, 21, 24, -5}).status, kCodecUnsupported);
    uint8_t pixel[4];
    EXPECT_EQ(fltLoadBufferCMP(nullptr, 10, pixel, -10, 1, 1, 8, nullptr, 0), kCodecNotReadable);
    EXPECT_EQ(fltLoadBufferCMP(nullptr, 10, pixel, -20, 1, 1, 8, nullptr, 0), kCodecUnsupported);
    EXPECT_EQ(fltLoadBufferCMP(nullptr, 10, pixel, 0, 1, 1, 8, nullptr, 0), kCodecNoReader);
    EXPECT_EQ(fltLoadBufferCMP(colour.data(), 100, pixel, 0, 1, INT32_MIN, 8, nullptr, 0),
              kCodecInvalidParameter);
}

TEST(JpegHeader, OneContextReadsOneHeader)
{
    const ByteVector grey = GreyStream();
    jpeg::JpegDecoder decoder;
    EXPECT_EQ(jpeg::ReadHeader(&decoder), kCodecNoReader);
    decoder.source = grey.data();
    decoder.length = grey.size();
    EXPECT_EQ(jpeg::ReadHeader(&decoder), 0);
    EXPECT_EQ(jpeg::ReadHeader(&decoder), kCodecHeaderReadTwice);
}

TEST(JpegHeader, MotionFramesUseTheStandardTables)
{
    const Source source = Source(33, 21, 24).Waves(3);
    const ByteVector motion = Encode(source, {.colourMode = 4, .options = kSaveMotionFrame});
    const Decoded whole = DecodeStream(motion, {33, 21, 24});
    const Decoded bare = DecodeStream(WithoutSegment(motion, 0xC4), {33, 21, 24});
    EXPECT_EQ(bare.status, kCodecOk);
    EXPECT_EQ(bare.rows, whole.rows);
    const ByteVector odd = Edit(WithoutSegment(motion, 0xC4), 0xE0, 4, {7});
    EXPECT_EQ(DecodeStream(odd, {33, 21, 24}).rows, whole.rows);
    const ByteVector unmarked = WithoutSegment(WithoutSegment(motion, 0xC4), 0xE0);
    EXPECT_EQ(DecodeStream(unmarked, {33, 21, 24}).status, kCodecNoDcTable);
    EXPECT_EQ(DecodeStream(unmarked, {33, 21, 24, -10}).rows, whole.rows);
    jpeg::FormatTables tables{20, 3, 0, 0, 0};
    const ByteVector grey = WithoutSegment(WithoutSegment(GreyStream(), 0xC4), 0xDB);
    EXPECT_EQ(
        DecodeStream(grey, {.width = 33, .height = 21, .bits = 8, .format = -5, .tables = &tables}).status,
        kCodecOk);
    tables.quantTableSet = 6;
    EXPECT_EQ(
        DecodeStream(grey, {.width = 33, .height = 21, .bits = 8, .format = -5, .tables = &tables}).status,
        kCodecNoQuantTable);
}

TEST(JpegHeader, BytesAheadOfTheStartOfImageAreSkippedWithinTheRange)
{
    ByteVector stream(100, 0x11);
    const ByteVector grey = GreyStream();
    stream.insert(stream.end(), grey.begin(), grey.end());
    EXPECT_EQ(DecodeStream(stream, {33, 21, 8}).rows, DecodeStream(grey, {33, 21, 8}).rows);
    stream.insert(stream.begin(), 100000, 0x11);
    EXPECT_EQ(DecodeStream(stream, {33, 21, 8}).status, kCodecUnsupported);
}

TEST(JpegHeader, NumberOfLinesComesOnceAndOnlyWhereTheFrameLeavesItOpen)
{
    const ByteVector grey = GreyStream();
    const ByteVector open = Edit(grey, 0xC0, 1, {0, 0});
    const auto with = [](ByteVector stream, std::initializer_list<uint8_t> segments) {
        stream.insert(stream.end() - 2, segments);
        return DecodeStream(stream, {33, 21, 8});
    };
    const Decoded whole = DecodeStream(grey, {33, 21, 8});
    EXPECT_EQ(with(open, {0xFF, 0xDC, 0, 4, 0, 21}).rows, whole.rows);
    EXPECT_EQ(with(open, {0xFF, 0xFE, 0, 3, 0x55, 0xFF, 0xDC, 0, 4, 0, 21}).rows, whole.rows);
    EXPECT_EQ(with(open, {0xFF, 0xDC, 0, 4, 0, 21, 0xFF, 0xDC, 0, 4, 0, 99}).rows, whole.rows);
    EXPECT_EQ(with(grey, {0xFF, 0xDC, 0, 4, 0, 7}).rows, whole.rows);
    EXPECT_EQ(with(open, {0xFF, 0xDC, 0, 4, 0, 0}).status, kCodecUnsupported);
    EXPECT_EQ(with(open, {0xFF, 0xDC, 0, 1, 0, 21}).status, kCodecBadSegmentLength);
    EXPECT_EQ(with(open, {0xFF, 0xDC, 0, 9, 0, 21}).status, kCodecUnsupported);
    // More lines than there is room or data for: the first ones are delivered.
    const Decoded taller = with(open, {0xFF, 0xDC, 0, 4, 0xFF, 0xFF});
    ASSERT_EQ(taller.status, kCodecOk);
    EXPECT_TRUE(taller.guardsHold);
    for (int x = 0; x < 33; ++x) EXPECT_EQ(taller.At(x, 12), whole.At(x, 12));
}

TEST(JpegHeader, SecondFrameHeaderIsRefused)
{
    ByteVector stream = GreyStream();
    const auto frame = static_cast<ptrdiff_t>(FindSegment(stream, 0xC0)) - 4;
    const ByteVector again(stream.begin() + frame, stream.begin() + frame + 13);
    stream.insert(stream.begin() + frame, again.begin(), again.end());
    EXPECT_EQ(DecodeStream(stream, {33, 21, 8}).status, kCodecUnsupported);
}

TEST(JpegHeader, PrecisionsThatAreWorkedAtAnotherDepth)
{
    const ByteVector grey = GreyStream();
    const Decoded eight = DecodeStream(grey, {33, 21, 8});
    EXPECT_EQ(DecodeStream(Edit(grey, 0xC0, 0, {16}), {33, 21, 8}).rows, eight.rows);
    // 10 bits are worked at 12: the grey level of an empty picture is 2048.
    const Decoded wide = DecodeStream(Edit(grey, 0xC0, 0, {10}), {33, 21, 16});
    ASSERT_EQ(wide.status, kCodecOk);
    for (int x = 0; x < 33; ++x) {
        const int value = wide.At(x, 4, 2) | wide.At(x, 4, 2, 1) << 8;
        EXPECT_NEAR(value, eight.At(x, 4) - 128 + 2048, 2);
    }
}

TEST(JpegHeader, ColourFollowsMarkers)
{
    const Source source = Source(33, 21, 24).Waves(3);
    const ByteVector ycc = Encode(source, {1, 95});
    ByteVector adobe = ycc;
    const uint8_t segment[16] = {0xFF, 0xEE, 0, 14, 'A', 'd', 'O', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
    adobe.insert(adobe.begin() + 2, segment, segment + 16);
    const Decoded plain = DecodeStream(adobe, {33, 21, 24});
    const Decoded converted = DecodeStream(ycc, {33, 21, 24});
    EXPECT_NE(plain.rows, converted.rows);
    adobe[2 + 15] = 1;
    EXPECT_EQ(DecodeStream(adobe, {33, 21, 24}).rows, converted.rows);
}

TEST(JpegHuffman, TablesOfSeventeenCategoriesAndFullTrees)
{
    jpeg::HuffmanCounts counted;
    ByteVector bytes(16, 0);
    bytes[4] = 17;
    for (uint8_t i = 0; i < 17; ++i) bytes.push_back(i);
    EXPECT_EQ(jpeg::ReadHuffmanCounts(bytes.data(), 33, &counted), 33);
    EXPECT_EQ(jpeg::ReadHuffmanCounts(bytes.data(), 32, &counted), 0);
    bytes[0] = 2;  // both codes of one bit: nothing is left for others
    bytes.resize(16 + 19);
    EXPECT_EQ(jpeg::ReadHuffmanCounts(bytes.data(), 35, &counted), 0);
    const ByteVector counts(16 + 256, 255);
    EXPECT_EQ(jpeg::ReadHuffmanCounts(counts.data(), 272, &counted), 0);
}

/// Streams of every process, with the depth they decode at.
std::vector<std::pair<ByteVector, uint32_t>> Streams()
{
    const Source wide = Source(33, 21, 16).Noise(5);
    const Source colour = Source(33, 21, 24).Waves(3);
    return {{ColourStream(), 24},
            {GreyStream(), 8},
            {LosslessStream(), 8},
            {Encode(wide, {}), 16},
            {Encode(colour, {.colourMode = 5, .restart = 2}), 24},
            {Encode(colour, {.colourMode = 3, .kind = 5}), 24},
            {Encode(colour, {.colourMode = 4, .restart = 1, .options = kSaveFields, .kind = 5}), 24},
            {Encode(colour, {.colourMode = 12, .restart = 5, .options = kSaveLossless}), 24}};
}

int32_t DecodeInto(const ByteVector& stream, uint32_t bits)
{
    static uint8_t rows[33 * 21 * 4 + 21 * 4];
    return fltLoadBufferCMP(stream.data(), static_cast<uint32_t>(stream.size()), rows, 0, 33, 21, bits,
                            nullptr, 0);
}

TEST(JpegHostile, StreamsCutAfterEveryByte)
{
    for (const auto& [stream, bits] : Streams()) {
        for (size_t length = 0; length <= stream.size(); ++length) {
            const ByteVector cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(length));
            const Decoded a = DecodeStream(cut, {33, 21, bits, 0, 0, 0x00});
            const Decoded b = DecodeStream(cut, {33, 21, bits, 0, 0, 0xFF});
            ASSERT_TRUE(a.status == kCodecOk || a.status < 0);
            ASSERT_TRUE(a.guardsHold && a.sourceHolds && b.sourceHolds) << length;
            ASSERT_EQ(a.status, b.status);
            // A picture that is delivered is the same whatever was in its place before.
            if (a.status != kCodecOk) continue;
            for (int y = 0; y < 21; ++y)
                ASSERT_EQ(std::memcmp(&a.rows[static_cast<size_t>(y) * a.stride],
                                      &b.rows[static_cast<size_t>(y) * b.stride], 33 * bits / 8),
                          0)
                    << "cut at " << length << " row " << y;
        }
    }
}

TEST(JpegHostile, EveryByteReplaced)
{
    for (const auto& [stream, bits] : Streams()) {
        for (size_t at = 0; at < std::min<size_t>(stream.size(), 900); ++at) {
            for (uint8_t value : {0x00, 0xFF, 0x7F, 0xD3}) {
                ByteVector changed = stream;
                changed[at] = value;
                const Decoded decoded = DecodeStream(changed, {33, 21, bits});
                ASSERT_TRUE(decoded.guardsHold && decoded.sourceHolds) << at;
                ASSERT_TRUE(decoded.status == kCodecOk || decoded.status < 0);
            }
        }
    }
}

TEST(JpegHostile, ScansWithoutEndStopAtTheWorkBudget)
{
    // A progressive frame of 2000 x 2000 that refines one coefficient in empty scans; the last bit it may
    // refine is bit 0, so it starts DC scans over and over under other spectral bands.
    ByteWriter w;
    w.Bytes({0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0}).Fill(64, 1);
    w.Bytes({0xFF, 0xC4, 0, 20, 0x00, 1}).Zeros(15).Bytes({0});
    w.Bytes({0xFF, 0xC4, 0, 20, 0x10, 1}).Zeros(15).Bytes({0xE0});
    w.Bytes({0xFF, 0xC2, 0, 11, 8}).U16be(2000).U16be(2000).Bytes({1, 1, 0x11, 0});
    w.Bytes({0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 0, 13}).Fill(4, 0);
    for (uint8_t k = 1; k < 64; ++k)
        for (uint8_t low = 13; low < 14; --low)
            w.Bytes({0xFF, 0xDA, 0, 8, 1, 1, 0, k, k,
                     static_cast<uint8_t>(low == 13 ? 13 : (low + 1) << 4 | low)})
                .Fill(4, 0);
    const Decoded decoded = DecodeStream(w.Content(), {2000, 2000, 8});
    EXPECT_EQ(decoded.status, kCodecOk);
    EXPECT_TRUE(decoded.guardsHold);
    EXPECT_EQ(decoded.At(1000, 1000), 128);
}

TEST(JpegHostile, HugeDimensionsInFewBytes)
{
    ByteVector stream = Edit(GreyStream(), 0xC0, 1, {0xFF, 0xFF, 0xFF, 0xFF});
    stream.resize(stream.size() - 50);
    EXPECT_EQ(DecodeStream(stream, {65535, 4, 8}).status, kCodecOk);
    EXPECT_EQ(DecodeStream(stream, {33, 21, 8}).status, kCodecTooNarrow);
}

/// Restart marker D2 gone, and D1 a second time in front of it.
std::vector<ByteVector> DamageThirdRestart(const ByteVector& stream)
{
    size_t third = 0;
    for (size_t at = FindSegment(stream, 0xDA); at + 1 < stream.size() && third == 0; ++at)
        if (stream[at] == 0xFF && stream[at + 1] == 0xD2) third = at;
    ByteVector missing = stream;
    missing.erase(missing.begin() + static_cast<ptrdiff_t>(third),
                  missing.begin() + static_cast<ptrdiff_t>(third) + 2);
    ByteVector repeated = stream;
    repeated.insert(repeated.begin() + static_cast<ptrdiff_t>(third), {0xFF, 0xD1});
    return {missing, repeated};
}

TEST(JpegHostile, MissingAndRepeatedRestartMarkers)
{
    Source source = Source(128, 64, 8).Waves(1);
    const ByteVector stream = Encode(source, {.quality = 90, .restart = 16});
    const Decoded whole = DecodeStream(stream, {128, 64, 8});
    for (const ByteVector& damaged : DamageThirdRestart(stream)) {
        const Decoded decoded = DecodeStream(damaged, {128, 64, 8});
        ASSERT_EQ(decoded.status, kCodecOk);
        for (int y : {0, 15, 40, 63})  // before and after the damage
            for (int x = 0; x < 128; ++x) ASSERT_EQ(decoded.At(x, y), whole.At(x, y)) << y;
    }
}

TEST(JpegWhole, SameBytesAtEveryLevelAndOnAnyNumberOfThreads)
{
    struct Case
    {
        ByteVector stream;
        int width, height;
        uint32_t bits;
    };
    std::vector<Case> cases;
    for (const auto& [stream, bits] : Streams()) cases.push_back({stream, 33, 21, bits});
    const Source colour = Source(333, 201, 24).Waves(3);
    for (uint32_t restart : {1u, 7u, 21u, 42u, 500u}) {
        const ByteVector stream = Encode(colour, {restart % 2 == 0 ? 4u : 1u, 80, restart});
        cases.push_back({stream, 333, 201, 24});
        cases.push_back(
            {ByteVector(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(stream.size() / 2)), 333, 201,
             24});
        if (restart < 500)
            for (const ByteVector& damaged : DamageThirdRestart(stream))
                cases.push_back({damaged, 333, 201, 24});
    }
    for (const Case& c : cases) {
        const size_t stride = (static_cast<size_t>(c.width) * c.bits + 31) / 32 * 4;
        const auto decode = [&](SimdLevel level, unsigned threads) {
            ByteVector rows(stride * static_cast<size_t>(c.height), 0x5A);
            LoadRequest request{c.stream.data(),
                                static_cast<uint32_t>(c.stream.size()),
                                rows.data(),
                                0,
                                c.width,
                                c.height,
                                c.bits,
                                nullptr,
                                0};
            request.level = level;
            request.threads = threads;
            EXPECT_EQ(LoadBuffer(request), kCodecOk);
            return rows;
        };
        const ByteVector expected = decode(SimdLevel::plain, 1);
        for (SimdLevel level : {SimdLevel::plain, SimdLevel::sse2, SimdLevel::avx2}) {
            if (level > DetectedSimdLevel()) continue;
            for (unsigned threads : {1u, 2u, 5u})
                ASSERT_EQ(decode(level, threads), expected)
                    << "case " << &c - cases.data() << " level " << static_cast<int>(level) << " threads "
                    << threads;
        }
    }
}

TEST(JpegWhole, EveryAllocationMayFail)
{
    for (const auto& [stream, bits] : Streams()) {
        EXPECT_GT(FailEveryAllocation(kCodecNoMemory, [&] { return DecodeInto(stream, bits); }), 0);
    }
    const Source source = Source(33, 21, 24).Waves(3);
    ByteVector room(100000);
    for (const EncodeArguments& a : {EncodeArguments{4, 90}, EncodeArguments{.options = kSaveLossless},
                                     EncodeArguments{.colourMode = 3, .restart = 2, .kind = 5}}) {
        EXPECT_GT(FailEveryAllocation(kCodecNoMemory,
                                      [&] {
                                          auto size = static_cast<uint32_t>(room.size());
                                          return fltSaveBufferCMP(
                                              source.rows.data(), &source.header, room.data(), &size, 0,
                                              a.options, a.kind,
                                              a.quality | a.colourMode << 8 | a.restart << 16, nullptr);
                                      }),
                  0);
    }
}

#if __has_include(<sys/mman.h>)
TEST(CmpHeader, SourceMayBeReadOnly)
{
    for (const EncodeArguments& a :
         {EncodeArguments{4, 90, 0, 0, 5}, EncodeArguments{4, 90, 3, kSaveFields, 5}}) {
        const ByteVector stream = Encode(Source(33, 21, 24).Waves(3), a);
        void* page = mmap(nullptr, stream.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(page, MAP_FAILED);
        std::memcpy(page, stream.data(), stream.size());
        mprotect(page, stream.size(), PROT_READ);
        ByteVector rows(100 * 21);
        for (uint32_t length :
             {static_cast<uint32_t>(stream.size()), static_cast<uint32_t>(stream.size() / 2), 30u})
            fltLoadBufferCMP(page, length, rows.data(), 0, 33, 21, 24, nullptr, 0);
        EXPECT_EQ(std::memcmp(page, stream.data(), stream.size()), 0);
        munmap(page, stream.size());
    }
}
#endif

TEST(CmpHeader, RefusalsAndBlocksBeforeThePayload)
{
    const Source source = Source(33, 21, 24).Waves(3);
    const ByteVector stream = Encode(source, {4, 90, 0, 0, 5});
    const Decoded whole = DecodeStream(stream, {33, 21, 24});
    ASSERT_EQ(whole.status, kCodecOk);
    const auto with = [&](size_t at, uint8_t value) {
        ByteVector changed = stream;
        changed[at] = value;
        return changed;
    };
    EXPECT_EQ(DecodeStream(with(2, 'x'), {33, 21, 24}).status, kCodecUnsupported);
    EXPECT_EQ(DecodeStream(with(20, 1), {33, 21, 24}).status, kCodecUnsupported);
    EXPECT_EQ(DecodeStream(with(6, 0x30), {33, 21, 24}).status, kCodecUnsupported);
    EXPECT_EQ(DecodeStream(with(16, 0), {33, 21, 24}).status, kCodecUnsupported);
    EXPECT_EQ(DecodeStream(ByteVector(stream.begin(), stream.begin() + 24), {33, 21, 24}).status,
              kCodecUnsupported);
    ByteVector blocks = with(5, 0x11);
    ByteWriter between;
    between.Bytes({2, 3, 8}).Zeros(6 + 768).Zeros(768);
    blocks.insert(blocks.begin() + 24, between.Content().begin(), between.Content().end());
    EXPECT_EQ(DecodeStream(blocks, {33, 21, 24}).rows, whole.rows);
    blocks[24] = blocks[25] = blocks[26] = 255;
    EXPECT_EQ(DecodeStream(blocks, {33, 21, 24}).status, kCodecUnsupported);
}

}  // namespace
}  // namespace talv
