#include "raster/codec_binding.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace talv {
namespace {
TEST(CodecBinding, HostWithoutCodecsGivesTheFormatsStatus)
{
    // The test program exports nothing.
    for (int32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(BindCodec(BoundCodec::cmp), kRasterNoCmpCodec);
        EXPECT_EQ(BindCodec(BoundCodec::fax), kRasterNoFaxCodec);
        UnbindCodec(BoundCodec::cmp);
    }
    EXPECT_EQ(GetBoundCodec(BoundCodec::cmp).loadBuffer, nullptr);
    EXPECT_EQ(BindCodec(static_cast<BoundCodec>(2)), kRasterInvalid);
}

TEST(CodecBinding, ThreadsMayBindAtOnce)
{
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int32_t k = 0; k < 200; ++k) EXPECT_EQ(BindCodec(BoundCodec::fax), kRasterNoFaxCodec);
        });
    for (std::thread& thread : threads) thread.join();
}
}  // namespace
}  // namespace talv
