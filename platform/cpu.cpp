#include "platform/cpu.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace talv {
namespace {
#if defined(__x86_64__) || defined(__i386__)
// The AVX2 variants are compiled with BMI1, BMI2 and LZCNT too. The built-in answers yes to AVX2 only when
// the system saves the wide registers (XGETBV); LZCNT has no built-in name in every compiler, so its bit is
// read here.
SimdLevel ProcessorLevel()
{
    __builtin_cpu_init();
    unsigned a = 0, b = 0, c = 0, d = 0;
    const bool lzcnt = __get_cpuid(0x80000001, &a, &b, &c, &d) != 0 && (c & (1u << 5)) != 0;
    const bool avx2 = lzcnt && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                      __builtin_cpu_supports("bmi2");
    if (avx2 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512vbmi"))
        return SimdLevel::avx512;
    if (avx2) return SimdLevel::avx2;
    return __builtin_cpu_supports("sse2") ? SimdLevel::sse2 : SimdLevel::plain;
}
#else
SimdLevel ProcessorLevel()
{
    return SimdLevel::plain;
}
#endif

SimdLevel WantedLevel()
{
    const char* text = std::getenv("FLT_SIMD");
    const std::string_view wanted = text != nullptr ? text : "";
    if (wanted == "plain") return SimdLevel::plain;
    if (wanted == "sse2") return SimdLevel::sse2;
    return wanted == "avx2" ? SimdLevel::avx2 : SimdLevel::avx512;
}
}  // namespace

SimdLevel DetectedSimdLevel()
{
    static const SimdLevel level = std::min(ProcessorLevel(), WantedLevel());
    return level;
}
}  // namespace talv
