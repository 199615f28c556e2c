#include "platform/module.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/cpu.h"

namespace talv {
namespace {
TEST(ModuleSymbols, UnknownNamesGiveNull)
{
    EXPECT_EQ(FindModuleSymbol("_fltNoSuchFunction@36"), nullptr);
    EXPECT_EQ(FindHostSymbol("_fltNoSuchFunction@36"), nullptr);
    EXPECT_EQ(FindHostSymbol(nullptr), nullptr);
    EXPECT_EQ(FindHostSymbol(""), nullptr);
}

TEST(Processor, LevelObeysTheEnvironment)
{
    const char* text = std::getenv("FLT_SIMD");
    const std::string wanted = text != nullptr ? text : "";
    const SimdLevel highest = wanted == "plain"  ? SimdLevel::plain
                              : wanted == "sse2" ? SimdLevel::sse2
                              : wanted == "avx2" ? SimdLevel::avx2
                                                 : SimdLevel::avx512;
    const SimdLevel lowest = highest == SimdLevel::plain ? SimdLevel::plain : SimdLevel::sse2;
    EXPECT_LE(DetectedSimdLevel(), highest);
    EXPECT_GE(DetectedSimdLevel(), lowest) << "every processor that runs this has SSE2";
    EXPECT_GE(ProcessorCount(), 1u);
}
}  // namespace
}  // namespace talv
