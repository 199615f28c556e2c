#include "raster/codec_binding.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
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

std::atomic<int32_t> lookUps{0};
int codecCode[2];  // two addresses to find

void* FindBothFax(const char* name)
{
    ++lookUps;
    if (std::strcmp(name, "_fltLoadBufferFAX@36") == 0) return &codecCode[0];
    return std::strcmp(name, "_fltSaveBufferFAX@36") == 0 ? &codecCode[1] : nullptr;
}

void* FindLoadOnly(const char* name)
{
    return std::strstr(name, "Load") != nullptr ? &codecCode[0] : nullptr;
}

TEST(CodecBinding, FunctionsAreLookedUpOnceAndForgottenWithTheLastUse)
{
    SetCodecLookUp(FindBothFax);
    lookUps = 0;
    for (int32_t use = 0; use < 3; ++use) EXPECT_EQ(BindCodec(BoundCodec::fax), kRasterOk);
    EXPECT_EQ(lookUps, 2);
    EXPECT_EQ(BindCodec(BoundCodec::cmp), kRasterNoCmpCodec);
    for (int32_t use = 0; use < 3; ++use) {
        EXPECT_EQ(reinterpret_cast<void*>(GetBoundCodec(BoundCodec::fax).saveBuffer), &codecCode[1]);
        UnbindCodec(BoundCodec::fax);
    }
    EXPECT_EQ(GetBoundCodec(BoundCodec::fax).loadBuffer, nullptr);
    UnbindCodec(BoundCodec::fax);
    SetCodecLookUp(FindLoadOnly);
    EXPECT_EQ(BindCodec(BoundCodec::fax), kRasterNoFaxCodec) << "one of two is none";
    EXPECT_EQ(GetBoundCodec(BoundCodec::fax).loadBuffer, nullptr);
    SetCodecLookUp(nullptr);
}

TEST(CodecBinding, ThreadsShareOneCount)
{
    SetCodecLookUp(FindBothFax);
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int32_t k = 0; k < 500; ++k) {
                EXPECT_EQ(BindCodec(BoundCodec::fax), kRasterOk);
                EXPECT_NE(GetBoundCodec(BoundCodec::fax).loadBuffer, nullptr);
                UnbindCodec(BoundCodec::fax);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(GetBoundCodec(BoundCodec::fax).loadBuffer, nullptr);
    SetCodecLookUp(nullptr);
}
}  // namespace
}  // namespace talv
