// The lossless process against streams that a plain writer makes here: every predictor, depth, point
// transform and restart, tables of 17 categories.

#include <gtest/gtest.h>

#include <functional>

#include "tests/codecs/jpeg_fixture.h"

namespace talv {
namespace {
struct LosslessCoding
{
    int width;
    int height;
    int precision;
    int predictor;
    int transform = 0;
    int restartRows = 0;
    int restartExtra = 0;  ///< MCUs of an interval beyond its whole rows
    std::vector<int> factors = {0x11};
    bool interleaved = true;
    bool shortZeros = false;  ///< a code of one bit for the difference 0, else all of five
    bool ownTables = false;   ///< the second component's table is the other one
};

class BitString
{
  public:
    void Put(uint32_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i) {
            byte_ = byte_ << 1 | (value >> i & 1);
            if (++used_ % 8 != 0) continue;
            bytes.push_back(static_cast<uint8_t>(byte_));
            if (bytes.back() == 0xFF) bytes.push_back(0);
        }
    }
    void Pad()
    {
        while (used_ % 8 != 0) Put(1, 1);
    }
    ByteVector bytes;

  private:
    uint32_t byte_ = 0;
    int used_ = 0;
};

bool ShortZeros(const LosslessCoding& coding, int component)
{
    return coding.shortZeros != (coding.ownTables && component == 1);
}

void PutDifference(BitString* bits, bool shortZeros, int difference)
{
    int category = 0;
    while (std::abs(difference) >> category != 0) ++category;
    if (!shortZeros)
        bits->Put(static_cast<uint32_t>(category), 5);
    else if (category == 0)
        bits->Put(0, 1);
    else
        bits->Put(32 + static_cast<uint32_t>(category) - 1, 6);
    if (category == 16) return;
    bits->Put(static_cast<uint32_t>(difference < 0 ? difference + (1 << category) - 1 : difference),
              category);
}

/// Samples of a component before the point transform.
using Plane = std::vector<std::vector<int>>;

/// T.81 H.1.1: the prediction for a sample, `reset` where none of those before counts.
int Prediction(const Plane& p, int x, int y, bool reset, bool firstLine, const LosslessCoding& coding)
{
    const auto at = [&](int column, int row) {
        return p[static_cast<size_t>(row)][static_cast<size_t>(column)] >> coding.transform;
    };
    if (reset) return 1 << (coding.precision - coding.transform - 1);
    if (firstLine) return at(x - 1, y);
    if (x == 0) return at(0, y - 1);
    const int a = at(x - 1, y), b = at(x, y - 1), c = at(x - 1, y - 1);
    const int predictions[8] = {0, a, b, c, a + b - c, a + ((b - c) >> 1), b + ((a - c) >> 1), (a + b) >> 1};
    return predictions[coding.predictor];
}

ByteVector WriteScan(const LosslessCoding& coding, const std::vector<Plane>& planes,
                     std::vector<int> components)
{
    const bool single = components.size() == 1;
    const auto h = [&](int c) { return single ? 1 : coding.factors[static_cast<size_t>(c)] >> 4; };
    const auto v = [&](int c) { return single ? 1 : coding.factors[static_cast<size_t>(c)] & 15; };
    const Plane& first = planes[static_cast<size_t>(components[0])];
    const int across = static_cast<int>(first[0].size()) / h(components[0]);
    const int down = static_cast<int>(first.size()) / v(components[0]);
    BitString bits;
    bool reset = true;
    int resetRow = 0;
    const int interval = coding.restartRows * across + coding.restartExtra;
    for (int row = 0; row < down; ++row) {
        for (int mcu = 0; mcu < across; ++mcu) {
            const int unit = row * across + mcu;
            if (interval != 0 && unit > 0 && unit % interval == 0) {
                bits.Pad();
                bits.bytes.push_back(0xFF);
                bits.bytes.push_back(static_cast<uint8_t>(0xD0 + (unit / interval - 1) % 8));
                reset = true;
                resetRow = row;
            }
            for (int c : components) {
                const Plane& plane = planes[static_cast<size_t>(c)];
                for (int k = 0; k < h(c) * v(c); ++k) {
                    const int x = mcu * h(c) + k % h(c), y = row * v(c) + k / h(c);
                    const bool firstLine = row == resetRow && k / h(c) == 0;
                    const int sample =
                        plane[static_cast<size_t>(y)][static_cast<size_t>(x)] >> coding.transform;
                    const int difference =
                        sample - Prediction(plane, x, y, reset && k == 0, firstLine, coding);
                    const int wrapped = static_cast<int16_t>(difference);
                    PutDifference(&bits, ShortZeros(coding, c), wrapped == -32768 ? 32768 : wrapped);
                }
            }
            reset = false;
        }
    }
    bits.Pad();
    return bits.bytes;
}

ByteVector WriteLossless(const LosslessCoding& coding, const std::vector<Plane>& planes)
{
    ByteWriter w;
    w.Bytes({0xFF, 0xD8});
    for (uint8_t slot = 0; slot < 2; ++slot) {
        w.Bytes({0xFF, 0xC4, 0, 36, slot});
        if (ShortZeros(coding, slot))
            w.Bytes({1, 0, 0, 0, 0, 16}).Zeros(10);
        else
            w.Bytes({0, 0, 0, 0, 17}).Zeros(11);
        for (uint8_t category = 0; category < 17; ++category) w.Bytes({category});
    }
    const size_t count = planes.size();
    w.Bytes({0xFF, 0xC3, 0, static_cast<uint8_t>(8 + 3 * count), static_cast<uint8_t>(coding.precision)});
    w.U16be(static_cast<uint16_t>(coding.height)).U16be(static_cast<uint16_t>(coding.width));
    w.Bytes({static_cast<uint8_t>(count)});
    for (size_t c = 0; c < count; ++c)
        w.Bytes({static_cast<uint8_t>(c + 1), static_cast<uint8_t>(coding.factors[c]), 0});
    std::vector<std::vector<int>> scans;
    for (int c = 0; c < static_cast<int>(count); ++c)
        if (c == 0 || !coding.interleaved)
            scans.push_back({c});
        else
            scans[0].push_back(c);
    for (const std::vector<int>& scan : scans) {
        if (coding.restartRows + coding.restartExtra != 0) {
            const int factor = scan.size() == 1 ? 1 : coding.factors[0] >> 4;
            const auto across = static_cast<int>(planes[static_cast<size_t>(scan[0])][0].size()) / factor;
            w.Bytes({0xFF, 0xDD, 0, 4})
                .U16be(static_cast<uint16_t>(across * coding.restartRows + coding.restartExtra));
        }
        w.Bytes(
            {0xFF, 0xDA, 0, static_cast<uint8_t>(6 + 2 * scan.size()), static_cast<uint8_t>(scan.size())});
        for (int c : scan) w.Bytes({static_cast<uint8_t>(c + 1), static_cast<uint8_t>(c == 1 ? 0x10 : 0)});
        w.Bytes({static_cast<uint8_t>(coding.predictor), 0, static_cast<uint8_t>(coding.transform)});
        for (uint8_t byte : WriteScan(coding, planes, scan)) w.Bytes({byte});
    }
    w.Bytes({0xFF, 0xD9});
    return w.Content();
}

/// Planes that fill whole MCUs: noise all over the range, small noise, or black with a little of both.
std::vector<Plane> MakePlanes(const LosslessCoding& coding, int kind, uint32_t seed)
{
    int maxH = 1, maxV = 1;
    for (int f : coding.factors) {
        maxH = std::max(maxH, f >> 4);
        maxV = std::max(maxV, f & 15);
    }
    std::mt19937 random(seed);
    std::vector<Plane> planes;
    for (int f : coding.factors) {
        const int width = (coding.width + maxH - 1) / maxH * (f >> 4);
        const int height = (coding.height + maxV - 1) / maxV * (f & 15);
        Plane plane(static_cast<size_t>(height), std::vector<int>(static_cast<size_t>(width)));
        for (auto& row : plane)
            for (int& sample : row) {
                const auto noise = static_cast<int>(random() & 0xFFFF);
                const bool wide = kind == 0 || (kind == 2 && noise % 31 == 0);
                sample = (kind == 2 && !wide ? 0 : wide ? noise : noise & 3) & ((1 << coding.precision) - 1);
            }
        planes.push_back(plane);
    }
    return planes;
}

TEST(JpegLossless, EveryPredictorDepthTransformAndRestart)
{
    for (int precision = 2; precision <= 16; ++precision) {
        for (int predictor = 1; predictor <= 7; ++predictor) {
            for (int variant = 0; variant < 12; ++variant) {
                LosslessCoding coding{variant % 4 == 3 ? 1 : 61, 19, precision, predictor};
                coding.transform = variant % 2 == 0 ? 0 : precision / 3;
                coding.restartRows = variant % 3;
                coding.restartExtra = variant % 5 == 0 ? 7 : 0;
                coding.shortZeros = variant >= 6;
                const auto planes = MakePlanes(coding, variant % 3, static_cast<uint32_t>(variant));
                const Decoded decoded = DecodeStream(WriteLossless(coding, planes), {coding.width, 19, 16});
                ASSERT_EQ(decoded.status, kCodecOk);
                ASSERT_TRUE(decoded.guardsHold);
                for (int y = 0; y < 19; ++y)
                    for (int x = 0; x < coding.width; ++x)
                        ASSERT_EQ(decoded.At(x, y, 2) | decoded.At(x, y, 2, 1) << 8,
                                  planes[0][static_cast<size_t>(y)][static_cast<size_t>(x)] >>
                                      coding.transform << coding.transform)
                            << precision << " bits, predictor " << predictor << ", variant " << variant;
            }
        }
    }
}

TEST(JpegLossless, ComponentsOfAnyLayout)
{
    const std::vector<int> layouts[] = {{0x11, 0x11, 0x11},
                                        {0x21, 0x11, 0x11},
                                        {0x22, 0x12, 0x21},
                                        {0x11, 0x11, 0x11, 0x11},
                                        {0x13, 0x31, 0x11}};
    for (const std::vector<int>& factors : layouts) {
        for (int variant = 0; variant < 24; ++variant) {
            LosslessCoding coding{53, 23, 8, 1 + variant % 7};
            coding.factors = factors;
            coding.interleaved = variant % 2 == 0;
            coding.restartRows = variant % 3;
            coding.restartExtra = variant % 5 == 0 ? 7 : 0;
            coding.shortZeros = variant % 4 < 2;
            coding.ownTables = variant >= 16;
            // A component alone has its own size, not that of whole MCUs.
            const auto planes = MakePlanes(coding, variant % 3, static_cast<uint32_t>(variant));
            bool whole = coding.interleaved;
            for (int f : factors) whole = whole || f == factors[0];
            if (!whole || (!coding.interleaved && factors[0] != 0x11)) continue;
            const auto count = static_cast<int>(factors.size());
            const Decoded decoded =
                DecodeStream(WriteLossless(coding, planes), {53, 23, static_cast<uint32_t>(8 * count)});
            ASSERT_EQ(decoded.status, kCodecOk);
            int maxH = 1, maxV = 1;
            for (int f : factors) {
                maxH = std::max(maxH, f >> 4);
                maxV = std::max(maxV, f & 15);
            }
            for (int y = 0; y < 23; ++y)
                for (int x = 0; x < 53; ++x)
                    for (int c = 0; c < count; ++c) {
                        const int f = factors[static_cast<size_t>(c)];
                        ASSERT_EQ(decoded.At(x, y, count, count == 3 ? 2 - c : c),
                                  planes[static_cast<size_t>(c)][static_cast<size_t>(y * (f & 15) / maxV)]
                                        [static_cast<size_t>(x * (f >> 4) / maxH)])
                            << "factors " << factors[0] << " variant " << variant << " at " << x << ", " << y;
                    }
        }
    }
}
}  // namespace
}  // namespace talv
