#include "filter/greydisplay/grey_display.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "filter/block_fields.h"
#include "filter/media_format.h"
#include "tests/filter/source_fixture.h"

namespace talv {
namespace {
/// A file and what its pixels mean; the stored values are those of a frame's first pixels.
struct GreyCase
{
    const char* name;
    uint16_t bitsStored;
    bool isSigned, monochrome1;
    const char *slope, *intercept;  ///< null: no rescale
    const char *center, *width;     ///< null: no window
    int32_t smallest, largest;      ///< of the values in the picture
};

const GreyCase kCases[] = {
    {"CT with a rescale", 16, false, false, "1", "-1024", "40", "400", 0, 3000},
    {"signed CT", 16, true, false, "1", "-1024", "40", "400", -50, 3000},
    {"signed, nothing negative", 16, true, false, "1", "-1024", "40", "400", 100, 3000},
    {"a slope below 1", 16, false, false, "0.5", "-100.5", "250", "1600", 0, 4000},
    {"a slope with a fraction", 12, false, false, "1.75", "12.25", "1000", "1501", 0, 4095},
    {"signed with a fraction", 12, true, false, "0.3", "7", "0", "500", -2000, 2000},
    {"a window with fractions", 12, false, false, nullptr, nullptr, "104.7", "209.4", 0, 266},
    {"a falling rescale", 12, false, false, "-2", "4095", "100", "3000", 0, 4095},
    {"small values white", 10, false, true, nullptr, nullptr, "550", "1024", 0, 979},
    {"small values white, rescaled", 16, true, true, "0.25", "-3.5", "10", "300", -1000, 2000},
    {"no window", 12, false, false, nullptr, nullptr, nullptr, nullptr, 5, 425},
    {"no window, signed", 16, true, false, nullptr, nullptr, nullptr, nullptr, -300, 425},
    {"no window, signed, nothing negative", 16, true, false, nullptr, nullptr, nullptr, nullptr, 128, 2191},
    {"no window but a rescale", 16, true, false, "1", "-1024", nullptr, nullptr, 128, 2191},
    {"no window, small values white", 16, false, true, nullptr, nullptr, nullptr, nullptr, 128, 2191},
};

/// The level of a value by PS3.3 C.11.2.1.2, straight from the file's numbers.
double LevelOf(const GreyCase& c, double stored, double center, double width)
{
    const double value = c.slope == nullptr ? stored : stored * std::atof(c.slope) + std::atof(c.intercept);
    const double level = ((value - (center - 0.5)) / (width - 1) + 0.5) * 255;
    const double shown = std::min(std::max(level, 0.0), 255.0);
    return c.monochrome1 ? 255 - shown : shown;
}

class GreyDisplayTest : public SourceTest
{
  protected:
    static constexpr int kWidth = 31, kHeight = 3;

    // Loads a picture whose pixels run through the case's values, and shows its block and frame.
    void Show(const GreyCase& c)
    {
        ImageAttributes image;
        image.rows = kHeight;
        image.columns = kWidth;
        image.bitsAllocated = 16;
        image.bitsStored = c.bitsStored;
        image.highBit = static_cast<uint16_t>(c.bitsStored - 1);
        image.pixelRepresentation = c.isSigned;
        image.photometric = c.monochrome1 ? "MONOCHROME1" : "MONOCHROME2";
        DicomBuilder file = PreambleFile();
        file.ExplicitLittle().Image(image);
        if (c.width != nullptr) file.Ds(0x00281050, c.center).Ds(0x00281051, c.width);
        if (c.slope != nullptr) file.Ds(0x00281052, c.intercept).Ds(0x00281053, c.slope);
        stored_.clear();
        ByteWriter pixels;
        for (int i = 0; i < kWidth * kHeight; ++i) {
            stored_.push_back(c.smallest + (c.largest - c.smallest) * i / (kWidth * kHeight - 1));
            pixels.U16le(static_cast<uint16_t>(stored_.back()));
        }
        ASSERT_EQ(Load(file.NativePixels(pixels)), kLoadOk);
        ASSERT_TRUE(BuildMediaFormat(source, &format_));
        ASSERT_TRUE(display_.SetBlock(format_.block.data(), format_.block.size()));
        frame_ = ReadFrame(0);
        display_.SeeFrame(frame_.data(), frame_.size());
    }

    // The levels of the frame's pixels, top row first.
    std::vector<int> Levels()
    {
        ByteVector pixels(4 * kWidth * kHeight, 0xEE);
        ConvertGreyFrame(*display_.Block(), *display_.Table(), frame_.data(), frame_.size(),
                         {pixels.data(), pixels.size(), 4 * kWidth, true});
        std::vector<int> levels;
        for (size_t i = 0; i < pixels.size(); i += 4) {
            EXPECT_TRUE(pixels[i] == pixels[i + 1] && pixels[i] == pixels[i + 2] && pixels[i + 3] == 0);
            levels.push_back(pixels[i]);
        }
        return levels;
    }

    MediaFormat format_;
    GreyDisplay display_;
    ByteVector frame_;
    std::vector<int32_t> stored_;
};

TEST_F(GreyDisplayTest, PicturesLookAsTheFileWants)
{
    for (const GreyCase& c : kCases) {
        SCOPED_TRACE(c.name);
        Show(c);
        GreyWindow window = WindowOfRange(c.smallest, c.largest);  // in stored values
        if (c.width != nullptr) window = {std::atof(c.center), std::atof(c.width)};
        GreyCase view = c;
        if (c.width == nullptr) view.slope = nullptr;
        const std::vector<int> levels = Levels();
        for (size_t i = 0; i < levels.size(); ++i)
            EXPECT_EQ(levels[i],
                      static_cast<int>(LevelOf(view, stored_[i], window.center, window.width) + 0.5))
                << "stored " << stored_[i];
    }
}

// A user's window is one of the file's units, whatever the block lost of them.
TEST_F(GreyDisplayTest, AnotherWindowShowsTheValuesItNames)
{
    for (const GreyCase& c : kCases) {
        if (c.width == nullptr && c.slope != nullptr) continue;  // nobody told the slope
        SCOPED_TRACE(c.name);
        Show(c);
        const std::vector<int> before = Levels();
        const GreyWindow file = display_.FileWindow();
        const double center = file.center + 13.25, width = file.width * 0.6 + 1;
        ASSERT_TRUE(display_.SetWindow({center, width}));
        EXPECT_EQ(display_.Window().center, center);
        const std::vector<int> levels = Levels();
        // The block's window has lost its fractions, and with it a scale found by it.
        const double tolerance = 1 + 255 * 1.5 / width;
        for (size_t i = 0; i < levels.size(); ++i)
            EXPECT_NEAR(levels[i], LevelOf(c, stored_[i], center, width), tolerance)
                << "stored " << stored_[i];
        display_.ResetWindow();
        EXPECT_EQ(display_.Window().center, file.center);
        EXPECT_EQ(Levels(), before);
    }
}

TEST_F(GreyDisplayTest, WindowsThatAreNoneAreRefused)
{
    Show(kCases[0]);
    const auto table = display_.Table();
    for (const GreyWindow& window : {GreyWindow{0, 0.99}, GreyWindow{0, -5}, GreyWindow{NAN, 100},
                                     GreyWindow{0, INFINITY}, GreyWindow{-INFINITY, 5}})
        EXPECT_FALSE(display_.SetWindow(window));
    EXPECT_EQ(display_.Table(), table);
    EXPECT_FALSE(display_.HasOwnWindow());
    for (const GreyWindow& window : {GreyWindow{0, 1}, GreyWindow{1e300, 1}, GreyWindow{-1e300, 1e300}}) {
        EXPECT_TRUE(display_.SetWindow(window));
        const std::vector<int> levels = Levels();  // a step, all black, and something
        EXPECT_TRUE(window.width > 1 || window.center == 0 || levels == std::vector<int>(levels.size(), 0));
    }
}

// 16-bit run-length frames have the bytes of their words changed over.
TEST_F(GreyDisplayTest, ChangedBytesAreSeenAndPutBack)
{
    std::mt19937 random(5);
    for (const bool isSigned : {false, true}) {
        ImageAttributes image;
        image.rows = image.columns = 64;
        image.bitsAllocated = image.bitsStored = 16;
        image.highBit = 15;
        image.pixelRepresentation = isSigned;
        ByteVector high, low;
        for (int i = 0; i < 64 * 64; ++i) {
            const int value = i / 2 + static_cast<int>(random() % 64) - (isSigned ? 600 : 0);
            high.push_back(static_cast<uint8_t>(value >> 8));
            low.push_back(static_cast<uint8_t>(value));
        }
        for (const bool swapped : {false, true}) {
            ByteVector pixels;
            for (size_t i = 0; i < high.size(); ++i) {
                pixels.push_back(swapped ? high[i] : low[i]);
                pixels.push_back(swapped ? low[i] : high[i]);
            }
            DicomBuilder file = PreambleFile();
            file.ExplicitLittle().Image(image).Ds(0x00281050, "800").Ds(0x00281051, "2000");
            ASSERT_EQ(Load(file.NativePixels(pixels)), kLoadOk);
            ASSERT_TRUE(BuildMediaFormat(source, &format_));
            ASSERT_TRUE(display_.SetBlock(format_.block.data(), format_.block.size()));
            frame_ = ReadFrame(0);
            // A dark frame before, which tells nothing.
            ByteVector dark(frame_.size(), isSigned && !swapped ? 0x80 : 0);
            for (size_t i = swapped ? 1 : 0; i < dark.size(); i += 2) dark[i] = frame_[i];
            display_.SeeFrame(dark.data(), dark.size());
            EXPECT_TRUE(display_.WantsFrame());
            display_.SeeFrame(frame_.data(), frame_.size());
            EXPECT_FALSE(display_.WantsFrame());
            ByteVector out(4 * 64 * 64);
            ConvertGreyFrame(*display_.Block(), *display_.Table(), frame_.data(), frame_.size(),
                             {out.data(), out.size(), 4 * 64, true});
            for (size_t i = 0; i < high.size(); ++i) {
                const int value = static_cast<int8_t>(high[i]) * 256 + low[i];
                const double level = ((value - 799.5) / 1999 + 0.5) * 255;
                ASSERT_EQ(out[4 * i], static_cast<int>(std::min(std::max(level, 0.0), 255.0) + 0.5))
                    << "pixel " << i << (swapped ? ", swapped" : "");
            }
        }
    }
}

// Twelve bits packed: no file of ours makes such frames, other sources may.
TEST_F(GreyDisplayTest, PackedFramesAndEveryRowOrderAndStride)
{
    constexpr int32_t kColumns = 5, kRows = 4;
    for (const bool sourceTopDown : {false, true})
        for (const bool targetTopDown : {false, true})
            for (const size_t stride : {20, 32}) {
                ByteVector block(kGreyFormatSize, 0);
                PutU32(&block[52], kColumns);
                PutU32(&block[56], static_cast<uint32_t>(sourceTopDown ? -kRows : kRows));
                PutU16(&block[62], 12);
                PutU32(&block[64], kTgryFourCc);
                PutU32(&block[92], 11);
                PutU32(&block[100], 4095);
                PutU32(&block[104], 256);  // levels 0 to 255 are themselves
                PutU32(&block[108], 128);
                PutDouble(&block[120], 1.0);
                ASSERT_TRUE(display_.SetBlock(block.data(), block.size()));
                ASSERT_EQ(display_.Block()->Stride(), 8u);
                ByteVector frame(8 * kRows, 0x99);
                for (int row = 0; row < kRows; ++row)
                    for (int x = 0; x < kColumns; ++x) {
                        const int level = 10 * (sourceTopDown ? row : kRows - 1 - row) + x;
                        uint8_t* pair = &frame[static_cast<size_t>(8 * row + x / 2 * 3)];
                        if (x % 2 == 0)
                            pair[0] = static_cast<uint8_t>(level), pair[1] = pair[1] & 0xF0;
                        else
                            pair[1] = static_cast<uint8_t>((pair[1] & 15) | level << 4),
                            pair[2] = static_cast<uint8_t>(level >> 4);
                    }
                // One row is missing in the frame, and the target ends within its last one.
                ByteVector out(stride * kRows, 0xEE);
                ConvertGreyFrame(*display_.Block(), *display_.Table(), frame.data(), 8 * (kRows - 1),
                                 {out.data(), stride * (kRows - 1) + 19, stride, targetTopDown});
                for (int row = 0; row < kRows; ++row)
                    for (int x = 0; x < static_cast<int>(stride) / 4; ++x) {
                        const int picture = targetTopDown ? row : kRows - 1 - row;
                        const int inFrame = sourceTopDown ? picture : kRows - 1 - picture;
                        const int expected = row == kRows - 1 || x >= kColumns ? 0xEE
                                             : inFrame == kRows - 1            ? 0
                                                                               : 10 * picture + x;
                        EXPECT_EQ(out[static_cast<size_t>(row) * stride + static_cast<size_t>(4 * x)],
                                  expected);
                    }
            }
}

// Ramps are exact: where one is used, its pixels were compared with the table's; and most windows have one.
TEST_F(GreyDisplayTest, MostWindowsAreStraightRamps)
{
    int ramps = 0, windows = 0;
    for (const GreyCase& c : kCases) {
        Show(c);
        ramps += display_.Table()->IsRamp();
        for (const double width : {2.0, 80.0, 400.0, 1500.0, 4096.0}) {
            ASSERT_TRUE(display_.SetWindow({display_.FileWindow().center, width}));
            ramps += display_.Table()->IsRamp();
        }
        windows += 6;
    }
    if (DetectedSimdLevel() == SimdLevel::plain) return;  // whose look-up is as fast
    EXPECT_GT(ramps * 10, windows * 8) << ramps << " of " << windows;
}

TEST(GreyBlockTest, HostileBlocksAreRefusedOrBroughtIntoBounds)
{
    ByteVector good(kGreyFormatSize, 0);
    PutU32(&good[52], 7);
    PutU32(&good[56], 5);
    PutU16(&good[62], 16);
    PutU32(&good[64], kTgryFourCc);
    PutU32(&good[80], 65536);
    GreyBlock block;
    ASSERT_TRUE(ReadGreyBlock(good.data(), good.size(), &block));
    struct Change
    {
        size_t offset;
        uint32_t value;
        bool accepted;
    };
    const Change changes[] = {
        {52, 0, false},          {52, 0x80000000, false}, {52, 0xFFFFFFFF, false}, {52, 0x7FFFFFFF, false},
        {56, 0, false},          {56, 0x80000000, false}, {56, 0x7FFFFFFF, false}, {56, 0xFFFFFFFB, true},
        {62, 8, false},          {62, 24, false},         {62, 12, true},          {64, 0, false},
        {80, 65537, false},      {80, 0xFFFFFFFF, false}, {88, 0x80000000, true},  {88, 99, true},
        {92, 0x7FFFFFFF, true},  {92, 0xFFFFFFFF, true},  {96, 0x80000000, true},  {100, 0x80000000, true},
        {104, 0x80000000, true}, {108, 0x7FFFFFFF, true}, {116, 0x7FF80000, true}, {124, 0xFFF00000, true},
        {124, 0x7FE00000, true}};
    for (const Change& change : changes) {
        ByteVector bytes = good;
        if (change.offset == 62)
            PutU16(&bytes[62], static_cast<uint16_t>(change.value));
        else
            PutU32(&bytes[change.offset], change.value);
        GreyDisplay display;
        ASSERT_EQ(display.SetBlock(bytes.data(), bytes.size()), change.accepted)
            << change.offset << ": " << change.value;
        if (!change.accepted) continue;
        const ByteVector frame(display.Block()->FrameBytes(), 0xA5);
        display.SeeFrame(frame.data(), frame.size());
        EXPECT_TRUE(display.SetWindow({100, 200}));
        ByteVector out(4 * 7 * 5, 0xEE);
        ConvertGreyFrame(*display.Block(), *display.Table(), frame.data(), frame.size(),
                         {out.data(), out.size(), 28, false});
        EXPECT_EQ(out[3], 0);
    }
    const std::pair<double, double> slopes[] = {{2, 2},   {4294966272.0, -1024}, {0.5, 0.5}, {0, 0},
                                                {-3, -3}, {1e-300, 1},           {5e9, 1},   {NAN, 1}};
    for (const auto& [written, meant] : slopes) {
        ByteVector bytes = good;
        PutDouble(&bytes[120], written);
        ASSERT_TRUE(ReadGreyBlock(bytes.data(), bytes.size(), &block));
        EXPECT_EQ(block.slope, meant);
    }
    for (const size_t size : {size_t{0}, size_t{88}, size_t{143}, size_t{kGreyFormatSize - 1}})
        EXPECT_FALSE(ReadGreyBlock(good.data(), size, &block)) << size;
    EXPECT_FALSE(ReadGreyBlock(nullptr, good.size(), &block));
    PutU32(&good[80], 0);
    EXPECT_TRUE(ReadGreyBlock(good.data(), 144, &block)) << "a block without palette may end before it";
}
}  // namespace
}  // namespace talv
