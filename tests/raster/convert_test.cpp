#include "raster/convert.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "raster/palette.h"
#include "raster_fixture.h"

namespace talv {
namespace {
struct Format
{
    int32_t bits;
    uint32_t order;
    bool Grey() const { return order == kOrderGrey; }
    bool Index() const { return bits <= 8 && !Grey(); }
};

std::vector<Format> AllFormats()
{
    std::vector<Format> formats;
    for (int32_t bits = 1; bits <= 8; ++bits)
        for (uint32_t order : {0u, 2u}) formats.push_back({bits, order});
    formats.push_back({12, 2});
    for (uint32_t order : {0u, 1u, 2u}) formats.push_back({16, order});
    for (int32_t bits : {24, 32, 48, 64})
        for (uint32_t order : {0u, 1u}) formats.push_back({bits, order});
    return formats;
}

struct Window
{
    int32_t count, shift;
};

/// One pixel at a time, bit by bit, from one buffer into another: what a conversion means.
class Reference
{
  public:
    Format in, out;
    const PaletteEntry* paletteIn;
    const PaletteEntry* paletteOut;
    Window windowIn, windowOut;
    bool scales;  ///< an output window was asked for
    uint32_t fourth;

    void Convert(const std::vector<uint8_t>& source, size_t i, std::vector<uint8_t>* target) const
    {
        if (in.Grey())
            return WriteGrey((Get(source, i, in, 0) >> windowIn.shift) & ((1u << windowIn.count) - 1),
                             windowIn.count, i, target);
        uint32_t red, green, blue;
        int32_t channelBits = in.bits >= 48 ? 16 : 8;
        if (in.Index()) {
            const PaletteEntry& e = paletteIn[Get(source, i, in, 0)];
            red = e.red, green = e.green, blue = e.blue;
        } else {
            red = Get(source, i, in, in.order == kOrderBgr ? 2 : 0);
            green = Get(source, i, in, 1);
            blue = Get(source, i, in, in.order == kOrderBgr ? 0 : 2);
        }
        if (out.Grey())
            return WriteGrey(
                uint32_t(double(19595 * uint64_t{red} + 38470 * uint64_t{green} + 7471 * uint64_t{blue}) /
                             65536 +
                         0.5),
                channelBits, i, target);
        WriteColor(red, green, blue, channelBits, i, target);
    }

  private:
    /// A sample, or channel `channel` of a colour in stored order.
    static uint32_t Get(const std::vector<uint8_t>& b, size_t i, const Format& f, int32_t channel)
    {
        if (f.bits <= 8) {
            uint32_t value = 0;
            for (size_t bit = i * f.bits; bit < (i + 1) * f.bits; ++bit)
                value = value << 1 | (b[bit / 8] >> (7 - bit % 8) & 1);
            return value;
        }
        if (f.bits == 12)
            return i % 2 == 0 ? b[i / 2 * 3] + 256u * (b[i / 2 * 3 + 1] & 15)
                              : (b[i / 2 * 3 + 1] >> 4) + 16u * b[i / 2 * 3 + 2];
        if (f.bits == 16) {
            const uint32_t word = b[2 * i] + 256u * b[2 * i + 1];
            return f.Grey() ? word : ((word >> (5 * channel)) & 31) * 255 / 31;
        }
        const size_t at = i * f.bits / 8;
        if (f.bits <= 32) return b[at + channel];
        return b[at + 2 * channel] + 256u * b[at + 2 * channel + 1];
    }

    static void PutBits(std::vector<uint8_t>* b, size_t i, int32_t bits, uint32_t value)
    {
        for (int32_t k = 0; k < bits; ++k) {
            const size_t bit = i * bits + k;
            const auto mask = static_cast<uint8_t>(0x80 >> bit % 8);
            if (value >> (bits - 1 - k) & 1)
                (*b)[bit / 8] |= mask;
            else
                (*b)[bit / 8] &= ~mask;
        }
    }

    void WriteGrey(uint32_t v, int32_t m, size_t i, std::vector<uint8_t>* b) const
    {
        const auto scaled = [&](int32_t n) {
            return n > m ? uint32_t((uint64_t{v} << n) - v) / ((1u << m) - 1) : v >> (m - n);
        };
        if (!out.Grey()) {
            const int32_t width = out.bits >= 48 ? 16 : 8;
            return WriteColor(scaled(width), scaled(width), scaled(width), width, i, b);
        }
        const bool keeps = in.bits > 8 && out.bits > 8 && !scales && windowOut.count > m && in.Grey();
        const uint32_t value = (keeps ? v : scaled(windowOut.count)) << windowOut.shift;
        if (out.bits <= 8) return PutBits(b, i, out.bits, value);
        if (out.bits == 16) {
            (*b)[2 * i] = uint8_t(value);
            (*b)[2 * i + 1] = uint8_t(value >> 8);
            return;
        }
        uint8_t* pair = b->data() + i / 2 * 3;
        if (i % 2 == 0) {
            pair[0] = uint8_t(value);
            pair[1] = uint8_t(value >> 8);  // an odd count ends with four zero bits
        } else {
            pair[1] = uint8_t((pair[1] & 15) | (value & 15) << 4);
            pair[2] = uint8_t(value >> 4);
        }
    }

    void WriteColor(uint32_t red, uint32_t green, uint32_t blue, int32_t m, size_t i,
                    std::vector<uint8_t>* b) const
    {
        const int32_t n = out.bits >= 48 ? 16 : 8;
        uint32_t c[4] = {red, green, blue, fourth};
        for (int32_t k = 0; k < 3; ++k) c[k] = n == m ? c[k] : n > m ? c[k] * 257 : c[k] >> 8;
        if (out.Index())
            return PutBits(b, i, out.bits, FindNearestColor(paletteOut, 1u << out.bits, c[0], c[1], c[2]));
        if (out.order == kOrderBgr) std::swap(c[0], c[2]);
        if (out.bits == 16) {
            const uint32_t word = c[2] >> 3 << 10 | c[1] >> 3 << 5 | c[0] >> 3;
            (*b)[2 * i] = uint8_t(word);
            (*b)[2 * i + 1] = uint8_t(word >> 8);
            return;
        }
        const size_t at = i * out.bits / 8;
        for (int32_t k = 0; k < out.bits / n; ++k) {
            (*b)[at + k * n / 8] = uint8_t(c[k]);
            if (n == 16) (*b)[at + 2 * k + 1] = uint8_t(c[k] >> 8);
        }
    }
};

size_t Bytes(size_t pixels, int32_t bits)
{
    return (pixels * bits + 7) / 8;
}

/// Null stands for the default palette of a depth.
const PaletteEntry* UnlessDefault(const PaletteEntry* palette, int32_t bits)
{
    return palette == DefaultPalette(1u << std::min(bits, 8)) ? nullptr : palette;
}

/// Converts random pixels in place and compares with the reference; nothing behind the larger side may
/// change.
void CheckConversion(Reference reference, size_t count, uint32_t flags, int32_t low, int32_t high)
{
    // Every other pair gets a fourth channel.
    const bool fourth = (reference.in.bits + static_cast<int32_t>(count)) % 2 != 0;
    const uint32_t maxValue = 0xABCDEF77;
    if (fourth) {
        flags |= kConvertFourthByte;
        reference.fourth = maxValue & (reference.out.bits == 32 ? 0xFF : 0xFFFF);
    }
    const size_t inBytes = Bytes(count, reference.in.bits), outBytes = Bytes(count, reference.out.bits);
    const size_t larger = std::max(inBytes, outBytes);
    std::vector<uint8_t> buffer = RandomBytes(larger, uint32_t(count * 131 + reference.in.bits));
    if (reference.in.bits >= 24)  // runs of equal pixels and greys too
        for (size_t i = 0; i < buffer.size() / 2; ++i) buffer[i] = buffer[i % 6] & (i % 4 == 0 ? 0xF0 : 0xFF);
    std::vector<uint8_t> expected(outBytes);
    for (size_t i = 0; i < count; ++i) reference.Convert(buffer, i, &expected);
    buffer.insert(buffer.end(), 64, 0xA5);
    const bool losesBits =
        reference.in.Index() && reference.out.Index() && reference.out.bits < reference.in.bits;
    const PaletteEntry* paletteOut =
        losesBits ? reference.paletteOut : UnlessDefault(reference.paletteOut, reference.out.bits);
    ASSERT_EQ(ConvertBuffer(buffer.data(), uint32_t(count), reference.in.bits, reference.out.bits,
                            reference.in.order, reference.out.order,
                            UnlessDefault(reference.paletteIn, reference.in.bits), paletteOut, flags, low,
                            high, maxValue),
              kRasterOk);
    // Spare bits of the last byte carry nothing: the high ones of an odd 12-bit count, else the low ones.
    const int32_t spare = int32_t(outBytes * 8 - count * reference.out.bits);
    const auto used = static_cast<uint8_t>(reference.out.bits == 12 ? 0xFF >> spare : 0xFF << spare);
    expected.back() &= used;
    buffer[outBytes - 1] &= used;
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), buffer.begin()));
    ASSERT_TRUE(std::all_of(buffer.begin() + larger, buffer.end(), [](uint8_t b) { return b == 0xA5; }));
}

/// The default palette of 256 entries, backwards.
const PaletteEntry* InputPalette()
{
    static const std::vector<PaletteEntry> palette = [] {
        std::vector<PaletteEntry> entries(DefaultPalette(256), DefaultPalette(256) + 256);
        std::reverse(entries.begin(), entries.end());
        return entries;
    }();
    return palette.data();
}

/// Every index its own level, which is converted as levels are, but for what is `added` to the last blue.
const PaletteEntry* GreyRamp(uint8_t added)
{
    static std::vector<PaletteEntry> ramp(256);
    for (size_t i = 0; i < 256; ++i) ramp[i] = {uint8_t(i), uint8_t(i), uint8_t(i), 0};
    ramp[255].blue = static_cast<uint8_t>(255 + added);
    return ramp.data();
}

Reference WholeRange(const Format& in, const Format& out)
{
    return {in,           out,           InputPalette(), DefaultPalette(1u << std::min(out.bits, 8)),
            {in.bits, 0}, {out.bits, 0}, false,          0};
}

TEST(ConvertBuffer, EveryPairOfFormatsFollowsTheRules)
{
    for (const Format& in : AllFormats())
        for (const Format& out : AllFormats())
            for (size_t count : {1, 2, 7, 8, 9, 511, 513, 1030}) {
                if (in.bits > 8 && out.Index() && count > 513) continue;  // slow in the reference
                SCOPED_TRACE(testing::Message() << in.bits << '/' << in.order << " to " << out.bits << '/'
                                                << out.order << ", " << count << " pixels");
                Reference reference = WholeRange(in, out);
                if (count == 9 && in.bits != out.bits)
                    reference.paletteIn = DefaultPalette(1u << std::min(in.bits, 8));
                if (count >= 513) reference.paletteIn = GreyRamp(count == 513 ? 0 : 1);
                CheckConversion(reference, count, 0, -1, -1);
                if (HasFatalFailure()) return;
            }
}

TEST(ConvertBuffer, WindowsTakeAndMakeTheSignificantBits)
{
    for (const Format& in : AllFormats())
        for (const Format& out : AllFormats())
            for (int32_t low = 0; low < 16; low += 3)
                for (int32_t high = low; high < 16; high += 2) {
                    SCOPED_TRACE(testing::Message() << in.bits << '/' << in.order << " to " << out.bits << '/'
                                                    << out.order << ", bits " << low << " to " << high);
                    const Window window = {high - low + 1, low};
                    Reference reference = WholeRange(in, out);
                    if (in.Grey() && high < in.bits) {
                        reference.windowIn = window;
                        CheckConversion(reference, 61, kConvertWindowIn, low, high);
                    }
                    reference = WholeRange(in, out);
                    if (out.Grey() && high < out.bits) {
                        reference.windowOut = window;
                        reference.scales = window.count != out.bits;
                        CheckConversion(reference, 61, kConvertWindowOut, low, high);
                    }
                    if (HasFatalFailure()) return;
                }
}

TEST(ConvertBuffer, NarrowerIndicesWithoutAPaletteAreBlackAndWhite)
{
    uint8_t pixels[4] = {0, 255, 3, 252};  // black, white, dark red, light cyan
    ASSERT_EQ(ConvertBufferSimple(pixels, 4, 8, 4, 0, 0, nullptr, nullptr), kRasterOk);
    EXPECT_EQ(pixels[0], 0x01);
    EXPECT_EQ(pixels[1], 0x01);
}

TEST(GetBitWindow, TakesTheHighestBitsOfTheRange)
{
    struct Case
    {
        int32_t bits, width, low, high, count;
        uint32_t mask;
        int32_t shift;
    };
    const Case cases[] = {{16, 16, -1, -1, 16, 0xFFFF, 0}, {12, 12, 5, -1, 7, 0x7F, 5},
                          {16, 8, 2, 13, 8, 0xFF, 6},      {32, 32, 0, 31, 32, 0xFFFFFFFF, 0},
                          {16, 16, 9, 8, 0, 0, 9},         {16, 16, INT32_MAX, -1, 0, 0, 16}};
    for (const Case& c : cases) {
        const BitWindow window = GetBitWindow(c.bits, c.width, c.low, c.high);
        EXPECT_EQ(window.count, c.count) << c.low << " to " << c.high;
        EXPECT_EQ(window.mask, c.mask);
        EXPECT_EQ(window.shift, c.shift);
    }
}

TEST(ConvertBuffer, RefusalsLeaveTheBufferAlone)
{
    std::vector<uint8_t> buffer(64, 0x5A);
    const std::vector<uint8_t> before = buffer;
    const auto convert = [&](uint32_t pixels, int32_t bitsIn, int32_t bitsOut, uint32_t orderIn,
                             uint32_t orderOut, uint32_t flags = 0, int32_t low = -1, int32_t high = -1) {
        const int32_t status = ConvertBufferExt(buffer.data(), pixels, bitsIn, bitsOut, orderIn, orderOut,
                                                nullptr, nullptr, flags, low, high);
        EXPECT_EQ(buffer, before);
        return status;
    };
    EXPECT_EQ(ConvertBufferSimple(nullptr, 1, 8, 8, 0, 0, nullptr, nullptr), kRasterInvalid);
    EXPECT_EQ(convert(0, 8, 24, 0, 1), kRasterInvalid);
    EXPECT_EQ(convert(2, 12, 16, 0, 2), kRasterInvalid) << "12 bits are grey";
    EXPECT_EQ(convert(2, 16, 12, 2, 0), kRasterInvalid);
    for (int32_t bits : {-1, 9, 10, 11, 13, 20, 40, 63, 65, 128, INT32_MIN}) {
        EXPECT_EQ(convert(1, bits, 8, 2, 2), kRasterInvalid) << bits;
        EXPECT_EQ(convert(1, 8, bits, 2, 2), kRasterInvalid) << bits;
    }
    for (uint32_t order : {2u, 3u, 4u, 6u, UINT32_MAX})
        EXPECT_EQ(convert(1, 8, 24, 0, order), kRasterInvalid) << order;
    for (int32_t bits : {8, 16, 32, 64}) EXPECT_EQ(convert(1, 24, bits, 1, 5), kRasterInvalid) << bits;
    for (int32_t bits : {1, 8}) EXPECT_EQ(convert(1, bits, 24, 0, 5), kRasterInvalid) << "no colours";
    EXPECT_EQ(convert(1, 24, 24, 5, 1), kRasterInvalid) << "there is no way back from order 5";
    EXPECT_EQ(convert(1, 16, 16, 2, 2, kConvertWindowIn | kConvertWindowOut, 0, 7), kRasterInvalid);
    EXPECT_EQ(convert(1, 24, 8, 1, 2, kConvertWindowIn, 0, 7), kRasterInvalid);
    EXPECT_EQ(convert(1, 16, 24, 2, 1, kConvertWindowOut, 0, 7), kRasterInvalid);
    EXPECT_EQ(convert(1, 16, 8, 2, 2, kConvertWindowIn, 4, 16), kRasterInvalid);
    EXPECT_EQ(convert(1, 16, 8, 2, 2, kConvertWindowIn, 9, 8), kRasterInvalid);
    EXPECT_EQ(convert(1, 16, 8, 2, 2, kConvertWindowIn, INT32_MAX, INT32_MAX), kRasterInvalid);
    for (int32_t bits : {1, 8, 12, 16, 24, 64}) {
        EXPECT_EQ(convert(1, 0, bits, 2, bits > 16 ? 1 : 2), kRasterOk);
        EXPECT_EQ(convert(1, bits, 0, bits > 16 ? 1 : 2, 2), kRasterOk);
    }
}

TEST(ConvertBuffer, RandomArgumentsStayWithinTheBufferOrChangeNothing)
{
    std::mt19937 random(2026);
    const int32_t depths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64, 9, -8};
    const int32_t edges[] = {INT32_MIN, -1, 0, 1, 7, 8, 11, 12, 15, 16, 31, 32, 63, INT32_MAX};
    int32_t accepted = 0;
    for (int32_t i = 0; i < 20000; ++i) {
        const auto pick = [&](const auto& list) { return list[random() % std::size(list)]; };
        const int32_t bitsIn = pick(depths), bitsOut = pick(depths), low = pick(edges), high = pick(edges);
        const uint32_t orderIn = random() % 7, orderOut = random() % 7, flags = random() % 64;
        const uint32_t count = 1 + random() % 70;
        // Exactly as long as the call may need, so that the address sanitizer sees any step beyond.
        const auto larger = static_cast<size_t>(std::max({bitsIn, bitsOut, 1}));
        std::vector<uint8_t> buffer = RandomBytes(Bytes(count, static_cast<int32_t>(larger)), uint32_t(i));
        const std::vector<uint8_t> before = buffer;
        const int32_t status = ConvertBuffer(buffer.data(), count, bitsIn, bitsOut, orderIn, orderOut,
                                             nullptr, nullptr, flags, low, high, uint32_t(random()));
        ASSERT_TRUE(status == kRasterOk || status == kRasterInvalid);
        if (status == kRasterInvalid) {
            ASSERT_EQ(buffer, before);
        }
        accepted += status == kRasterOk ? 1 : 0;
    }
    EXPECT_GT(accepted, 500) << "too few calls that do anything";
}

TEST(ConvertBuffer, SecondSpaceIsReachedByTheMatrix)
{
    uint8_t white[3] = {255, 255, 255};
    ASSERT_EQ(ConvertBufferSimple(white, 1, 24, 24, 0, 5, nullptr, nullptr), kRasterOk);
    EXPECT_TRUE(white[0] == 255 && white[1] == 255 && white[2] == 255);

    const uint32_t weights[3][3] = {{7151, 897, 145}, {394, 7067, 731}, {1067, 2841, 4284}};
    for (int32_t bits : {24, 48})
        for (uint32_t orderIn : {0u, 1u}) {
            const size_t size = size_t(bits) / 24;
            std::vector<uint8_t> source = RandomBytes(100 * 3 * size, 5), got = source;
            std::fill_n(source.begin(), 3 * size,
                        255);  // the sum of the first row exceeds 1: it must not wrap
            got = source;
            ASSERT_EQ(ConvertBufferSimple(got.data(), 100, bits, bits, orderIn, 5, nullptr, nullptr),
                      kRasterOk);
            const auto channel = [&](const std::vector<uint8_t>& b, size_t i, size_t k) {
                const uint8_t* at = b.data() + (3 * i + k) * size;
                return size == 1 ? uint64_t{at[0]} : at[0] + uint64_t{256} * at[1];
            };
            for (size_t i = 0; i < 100; ++i)
                for (size_t row = 0; row < 3; ++row) {
                    uint64_t sum = 4095;
                    for (size_t k = 0; k < 3; ++k)
                        sum += weights[row][k] * channel(source, i, orderIn == 1 ? 2 - k : k);
                    EXPECT_EQ(channel(got, i, row), std::min<uint64_t>(sum >> 13, size == 1 ? 255 : 65535));
                }
        }
}

}  // namespace
}  // namespace talv
