#include "raster/row_kernels.h"

#include <gtest/gtest.h>

#include "raster_fixture.h"

namespace talv {
namespace {
constexpr size_t kGuard = 64;
constexpr size_t kLongest = 140;

/// A kernel with everything but buffers and length bound.
struct KernelCase
{
    const char* name;
    size_t sourceBytes, targetBytes;  ///< for each unit of length
    void (*run)(const RowKernels&, const uint8_t* source, uint8_t* target, size_t length, uint32_t parameter);
    uint32_t parameters;  ///< tried from 0
};

using Entry = uint8_t[4];

const Entry* Entries()
{
    static const std::vector<uint8_t> bytes = RandomBytes(256 * sizeof(Entry), 3);
    return reinterpret_cast<const Entry*>(bytes.data());
}

const KernelCase kKernelCases[] = {
    {"widen12", 3, 4,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) { k.widen12(s, t, n); }, 1},
    {"grey8To24", 1, 3,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) { k.grey8To24(s, t, n); }, 1},
    {"grey8To32", 1, 4,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t p) {
         k.grey8To32(s, t, n, uint8_t(p * 173));
     },
     3},
    {"color24To32", 3, 4,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t p) {
         k.color24To32(s, t, n, uint8_t(p * 173));
     },
     3},
    {"color32To24", 4, 3,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) { k.color32To24(s, t, n); },
     1},
    {"lookUp24", 1, 3,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) {
         k.lookUp24(s, Entries(), t, n);
     },
     1},
    {"lookUp32", 1, 4,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) {
         k.lookUp32(s, Entries(), t, n);
     },
     1},
    {"luma24", 3, 1,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t p) {
         k.luma24(s, t, n, p == 1);
     },
     2},
    {"swapColor24 in place", 3, 3,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) {
         std::copy(s, s + 3 * n, t);
         k.swapColor24(t, t, n);
     },
     1},
    {"swapColor24", 3, 3,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) { k.swapColor24(s, t, n); },
     1},
    {"narrow16", 2, 1,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t p) {
         k.narrow16(s, t, n, int32_t(p));
     },
     16},
    {"range16", 2, 4,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t p) {
         const int32_t shifts[] = {0, 1, 4, 15};
         const uint16_t masks[] = {0x0001, 0x0FFF, 0x7FFF, 0x8000, 0xFFFF};
         uint16_t low = 0x8123, high = 0x8123;
         k.range16(s, n, shifts[p % 4], masks[p / 4], &low, &high);
         const uint16_t range[2] = {low, high};
         if (n > 0) std::memcpy(t, range, sizeof range);
     },
     20},
    {"swapBytes16", 2, 2,
     [](const RowKernels& k, const uint8_t* s, uint8_t* t, size_t n, uint32_t) { k.swapBytes16(s, t, n); },
     1},
};

/// A block of exactly `count` bytes at the given misalignment, so that the address sanitizer sees every step
/// outside.
class ExactBlock
{
  public:
    ExactBlock(size_t count, size_t misalignment)
        : bytes_(new uint8_t[count + misalignment]), start_(misalignment)
    {}
    ~ExactBlock() { delete[] bytes_; }
    ExactBlock(const ExactBlock&) = delete;
    ExactBlock& operator=(const ExactBlock&) = delete;
    uint8_t* Data() { return bytes_ + start_; }

  private:
    uint8_t* bytes_;
    size_t start_;
};

/// Levels that this processor has.
std::vector<SimdLevel> Levels()
{
    std::vector<SimdLevel> levels = {SimdLevel::plain};
    for (SimdLevel level : {SimdLevel::sse2, SimdLevel::avx2, SimdLevel::avx512})
        if (DetectedSimdLevel() >= level) levels.push_back(level);
    return levels;
}

TEST(RowKernels, EveryLevelEqualsThePlainOne)
{
    for (SimdLevel level : Levels())
        for (const KernelCase& kernel : kKernelCases)
            for (size_t length = 0; length <= kLongest; ++length)
                for (size_t misalignment : {0, 1, 3, 8})
                    for (uint32_t parameter = 0; parameter < kernel.parameters; ++parameter) {
                        const size_t sourceBytes = kernel.sourceBytes * length,
                                     targetBytes = kernel.targetBytes * length;
                        const std::vector<uint8_t> bytes = RandomBytes(sourceBytes, uint32_t(length + 1));
                        ExactBlock source(sourceBytes, misalignment);
                        std::copy(bytes.begin(), bytes.end(), source.Data());
                        std::vector<uint8_t> expected(targetBytes + 2 * kGuard + misalignment, 0xEE),
                            got = expected;
                        uint8_t* at = expected.data() + kGuard + misalignment;
                        kernel.run(kPlainRowKernels, source.Data(), at, length, parameter);
                        at = got.data() + kGuard + misalignment;
                        kernel.run(SelectRowKernels(level), source.Data(), at, length, parameter);
                        ASSERT_EQ(got, expected)
                            << kernel.name << ", level " << int(level) << ", length " << length
                            << ", misalignment " << misalignment << ", parameter " << parameter;
                    }
}

TEST(RowKernels, HigherLevelsReplaceKernels)
{
    RowKernels kernels = SelectRowKernels(SimdLevel::plain);
    EXPECT_EQ(std::memcmp(&kernels, &kPlainRowKernels, sizeof kernels), 0);
    EXPECT_NE(SelectRowKernels(SimdLevel::sse2).range16, kernels.range16);
    EXPECT_NE(SelectRowKernels(SimdLevel::avx2).range16, SelectRowKernels(SimdLevel::sse2).range16);
}
}  // namespace
}  // namespace talv
