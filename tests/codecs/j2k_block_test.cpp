// Tier 1 below the streams: the arithmetic decoder against the flow charts of the standard, and the variants
// of the block decoder against each other on segments of any bytes.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "codecs/j2k/j2k_block_rows.h"
#include "codecs/j2k/j2k_blocks.h"
#include "codecs/j2k/j2k_mq.h"
#include "platform/cpu.h"
#include "tests/support/byte_writer.h"

namespace talv::j2k_test {
namespace {
/// A segment with what the decoder wants around it.
ByteVector Padded(const ByteVector& segment)
{
    return ByteWriter().U8(0).Bytes(segment).Bytes(ByteVector(kMqPadding, 0xFF));
}

/// Any bytes; `stuffed` of eight are 0xFF.
ByteVector RandomBytes(std::mt19937& random, size_t size, unsigned stuffed)
{
    ByteVector bytes;
    for (size_t i = 0; i < size; ++i)
        bytes.push_back(random() % 8 < stuffed ? 0xFF : static_cast<uint8_t>(random()));
    return bytes;
}

/// The decoder as the flow charts have it (T.800 figures C.15 to C.20), bit by bit. Qe and the next rows are
/// read off the context words, whose table is tested by the streams.
class FlowChart
{
  public:
    explicit FlowChart(const ByteVector& bytes) : bytes_(bytes)
    {
        c_ = static_cast<uint32_t>(ByteAt(0)) << 16;
        ByteIn();
        c_ <<= 7;
        count_ -= 7;
        a_ = 0x8000;
    }

    uint32_t Decode(MqContext* context)
    {
        const auto qe = static_cast<uint32_t>(*context >> kMqBelow);
        const auto mps = static_cast<uint32_t>(*context & 1);
        a_ -= qe;
        bool less = false;
        if ((c_ >> 16) < qe) {
            less = a_ >= qe;
            a_ = qe;
        } else {
            c_ -= qe << 16;
            if ((a_ & 0x8000) != 0) return mps;
            less = a_ < qe;
        }
        *context = kMqStates.words[(*context & kMqRowMask) + (less ? 2 : 1)];
        do {
            if (count_ == 0) ByteIn();
            a_ <<= 1;
            c_ <<= 1;
            --count_;
        } while ((a_ & 0x8000) == 0);
        return less ? 1 - mps : mps;
    }

  private:
    uint8_t ByteAt(size_t i) const { return i < bytes_.size() ? bytes_[i] : 0xFF; }

    void ByteIn()
    {
        if (ByteAt(at_) == 0xFF && ByteAt(at_ + 1) > 0x8F) {
            c_ += 0xFF00;
            count_ = 8;
            return;
        }
        const bool stuffed = ByteAt(at_++) == 0xFF;
        c_ += static_cast<uint32_t>(ByteAt(at_)) << (stuffed ? 9 : 8);
        count_ = stuffed ? 7 : 8;
    }

    const ByteVector& bytes_;
    size_t at_ = 0;
    uint32_t a_ = 0, c_ = 0;
    int count_ = 0;
};

TEST(J2kMq, FollowsTheFlowChartsOnAnyBytes)
{
    std::mt19937 random(19);
    for (int round = 0; round < 200; ++round) {
        const ByteVector bytes = RandomBytes(random, random() % 300, static_cast<unsigned>(round) % 5);
        const ByteVector padded = Padded(bytes);
        MqDecoder decoder(padded.data() + 1);
        FlowChart expected(bytes);
        MqContext own[3], chart[3];
        for (int i = 0; i < 3; ++i)
            own[i] = chart[i] = MqInitialState(i == 0 ? 0 : static_cast<int>(random() % 47));
        for (int i = 0; i < 4000; ++i) {
            const auto context = random() % 3;
            const bool likely = random() % 2 == 0;
            const uint32_t bit = likely ? decoder.DecodeLikely(&own[context]) : decoder.Decode(&own[context]);
            ASSERT_EQ(bit, expected.Decode(&chart[context])) << round << ' ' << i;
            ASSERT_EQ(own[context], chart[context]) << round << ' ' << i;
        }
    }
}

TEST(J2kMq, ZerosPassTogetherOnlyWhereEachWould)
{
    std::mt19937 random(23);
    int passed = 0;
    for (int round = 0; round < 2000; ++round) {
        const ByteVector padded = Padded(RandomBytes(random, 40, 1));
        MqDecoder together(padded.data() + 1);
        MqContext earlier = MqInitialState(0);
        for (int i = 0; i < 20; ++i) together.Decode(&earlier);
        MqContext context = MqInitialState(static_cast<int>(random() % 46));
        const int count = 1 + static_cast<int>(random() % 16);
        MqDecoder single = together;
        if (!together.PassZeros(context, count)) continue;
        ++passed;
        const MqContext before = context;
        for (int i = 0; i < count; ++i) ASSERT_EQ(single.Decode(&context), 0u);
        ASSERT_EQ(context, before);
        for (int i = 0; i < 100; ++i) {
            MqContext other = context;
            ASSERT_EQ(together.Decode(&context), single.Decode(&other));
        }
    }
    EXPECT_GT(passed, 100);
}

TEST(J2kBlocks, VariantsAgreeOnSegmentsOfAnyBytes)
{
    if (DetectedSimdLevel() < SimdLevel::avx2) GTEST_SKIP() << "processor without AVX2";
    J2kBlockDecoder plain(DecodeJ2kPassesPlain), wide(DecodeJ2kPassesAvx2);
    const int shapes[][2] = {{64, 64}, {32, 32}, {1, 1}, {1024, 4}, {4, 1024}, {37, 29}, {16, 5}, {63, 2}};
    std::mt19937 random(29);
    for (int round = 0; round < 300; ++round) {
        const auto& shape = shapes[random() % std::size(shapes)];
        const J2kBlockJob job{shape[0],
                              shape[1],
                              static_cast<int>(random() % 4),
                              static_cast<uint8_t>(random() % 64),
                              1 + static_cast<int>(random() % 31),
                              static_cast<int>(random() % 3)};
        ByteVector bytes[6];
        std::vector<J2kBlockSegment> segments;
        int pass = 0;
        for (ByteVector& segment : bytes) {
            const size_t size = random() % 700;
            segment = Padded(RandomBytes(random, size, random() % 3));
            const int passes = std::min(PassesInSegment(job.style, pass), 12);
            segments.push_back({segment.data() + 1, size, passes});
            pass += passes;
        }
        plain.Reserve(job.width, job.height);
        wide.Reserve(job.width, job.height);
        plain.Decode(job, segments.data(), segments.size());
        wide.Decode(job, segments.data(), segments.size());
        const auto count =
            static_cast<size_t>(J2kBlockDecoder::StripeStep(job.width) * ((job.height + 3) / 4));
        ASSERT_TRUE(std::equal(plain.Samples(), plain.Samples() + count, wide.Samples())) << round;
        // Nothing outside the block becomes significant.
        for (int y = 0; y < (job.height + 3) / 4 * 4; ++y) {
            for (int x = 0; x < J2kBlockDecoder::StripeStep(job.width) / 4; ++x) {
                if (y < job.height && x < job.width) continue;
                const int at = y / 4 * J2kBlockDecoder::StripeStep(job.width) + 4 * x + y % 4;
                ASSERT_EQ(plain.Samples()[at], 0u) << round << ' ' << x << ' ' << y;
            }
        }
    }
}

TEST(J2kBlocks, RowsAreStoredAlikeByEveryVariant)
{
    if (DetectedSimdLevel() < SimdLevel::sse2) GTEST_SKIP() << "processor without SSE2";
    std::mt19937 random(31);
    for (int width = 1; width < 70; ++width) {
        for (int height : {1, 2, 3, 4, 7, 64}) {
            std::vector<uint32_t> samples(
                static_cast<size_t>(J2kBlockDecoder::StripeStep(width) * ((height + 3) / 4)));
            for (uint32_t& sample : samples) sample = random() & ~(random() % 3 == 0 ? 0x7FFFFFFFu : 0u);
            const size_t rowStep = static_cast<size_t>(width) + random() % 5;
            const J2kBlockRows block{samples.data(), width, height, height % 2, 0.37f, rowStep};
            std::vector<int32_t> a(rowStep * 70, 77), b = a;
            std::vector<float> c(rowStep * 70, 77), d = c;
            PlainJ2kBlockRowKernels().storeWhole(block, a.data() + 1);
            Sse2J2kBlockRowKernels().storeWhole(block, b.data() + 1);
            PlainJ2kBlockRowKernels().storeReal(block, c.data() + 1);
            Sse2J2kBlockRowKernels().storeReal(block, d.data() + 1);
            EXPECT_EQ(a, b) << width << 'x' << height;
            EXPECT_EQ(c, d) << width << 'x' << height;
        }
    }
}
}  // namespace
}  // namespace talv::j2k_test
