// Hot conversions of frame-sized data beside a copy of the larger side, one line per case:
//     name  pixels  ns/pixel median  ns/pixel spread  speed as a share of memcpy
// Run it as build/native/bench/convert_bench [pixels]; FLT_SIMD=plain|sse2|avx2|avx512 lowers the level.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "raster/convert.h"
#include "raster/palette.h"
#include "raster/remap.h"
#include "raster/row_kernels.h"
#include "raster/statistics.h"

namespace {
using namespace talv;

struct Timing
{
    double median, spread;  ///< nanoseconds; the spread holds the middle half of the runs
};

/// Runs `work` until the figures are steady; `prepare` is not timed.
template <class Prepare, class Work>
Timing Measure(Prepare prepare, Work work)
{
    std::vector<double> times;
    for (int run = 0; run < 41; ++run) {
        prepare();
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
        times.push_back(taken.count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 3 / 4] - times[times.size() / 4]};
}

struct Case
{
    const char* name;
    int32_t bitsIn, bitsOut;
    uint32_t orderIn, orderOut, flags;
    int32_t lowBit, highBit;
};

const Case kCases[] = {
    {"grey 12 -> 16", 12, 16, 2, 2, 0, -1, -1},
    {"grey 16 -> 8", 16, 8, 2, 2, 0, -1, -1},
    {"grey 16, bits 0 to 11 -> 8", 16, 8, 2, 2, kConvertWindowIn, 0, 11},
    {"grey 8 -> 24", 8, 24, 2, 1, 0, -1, -1},
    {"grey 8 -> 32", 8, 32, 2, 1, 0, -1, -1},
    {"palette 8 -> 24", 8, 24, 0, 1, 0, -1, -1},
    {"palette 8 -> 32", 8, 32, 0, 1, 0, -1, -1},
    {"rgb 24 -> bgr 24", 24, 24, 0, 1, 0, -1, -1},
    {"bgr 24 -> bgr 32", 24, 32, 1, 1, 0, -1, -1},
    {"bgr 32 -> bgr 24", 32, 24, 1, 1, 0, -1, -1},
    {"bgr 24 -> grey 8", 24, 8, 1, 2, 0, -1, -1},
};

void Print(const char* name, size_t pixels, const Timing& timing, const Timing& copy)
{
    const auto count = static_cast<double>(pixels);
    std::printf("%-28s %9zu %8.3f %8.3f %6.2f\n", name, pixels, timing.median / count, timing.spread / count,
                copy.median / timing.median);
}
}  // namespace

int main(int argc, char** argv)
{
    const size_t pixels = std::max(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1024ul * 1024, 1ul);
    std::vector<uint8_t> source(std::max(pixels * 8, size_t{2} * 1024 * 1024)), buffer(pixels * 8);
    std::vector<uint8_t> copyTarget(std::max(pixels * 8, size_t{2} * 1024 * 1024));
    std::mt19937 random(1);
    for (uint8_t& byte : source) byte = static_cast<uint8_t>(random());

    std::printf("level %d\n%-28s %9s %8s %8s %6s\n", static_cast<int>(DetectedSimdLevel()), "case", "pixels",
                "ns/pixel", "spread", "memcpy");
    for (const Case& c : kCases) {
        const size_t bytesIn = pixels * static_cast<size_t>(c.bitsIn) / 8;
        const size_t larger = std::max(bytesIn, pixels * static_cast<size_t>(c.bitsOut) / 8);
        const auto fill = [&] { std::memcpy(buffer.data(), source.data(), bytesIn); };
        const Timing copy = Measure(fill, [&] { std::memcpy(copyTarget.data(), buffer.data(), larger); });
        const Timing timing = Measure(fill, [&] {
            ConvertBufferExt(buffer.data(), static_cast<uint32_t>(pixels), c.bitsIn, c.bitsOut, c.orderIn,
                             c.orderOut, nullptr, nullptr, c.flags, c.lowBit, c.highBit);
        });
        Print(c.name, pixels, timing, copy);
    }

    const Timing copy = Measure([] {}, [&] { std::memcpy(copyTarget.data(), source.data(), 2 * pixels); });
    uint16_t low = UINT16_MAX, high = 0;
    Print("range of 16-bit words", pixels,
          Measure([] {}, [&] { BestRowKernels().range16(source.data(), pixels, 0, 0xFFFF, &low, &high); }),
          copy);
    Print("byte order of 16-bit words", pixels,
          Measure([] {}, [&] { BestRowKernels().swapBytes16(source.data(), copyTarget.data(), pixels); }),
          copy);

    // Grey frames of 16 bits, as an image with a modality transform passes them.
    ImageBitmap bitmap;
    const int32_t side = 1024;
    if (CreateBitmap(&bitmap, kBitmapStructSize, kMemory, side, side, 16, kOrderGrey, nullptr, 1, nullptr,
                     0) < 0)
        return 1;
    const auto refill = [&] {
        for (int32_t row = 0; row < side; ++row)
            PutBitmapRow(&bitmap, source.data() + size_t{2} * side * static_cast<size_t>(row % 8), row,
                         2 * side);
        bitmap.flags &= ~uint32_t{kBitmapSigned};
        bitmap.highBit = 15;
    };
    int32_t smallest = 0, largest = 0;
    const size_t frame = size_t{side} * side;
    const Timing frameCopy =
        Measure([] {}, [&] { std::memcpy(copyTarget.data(), source.data(), 2 * frame); });
    Print("statistics of a frame", frame,
          Measure(refill, [&] { GetBitmapStatistics(&bitmap, &smallest, &largest); }), frameCopy);
    Print("rescale of a frame", frame,
          Measure(refill, [&] { RemapLinear(&bitmap, 0.5, -1024, kRemapPixels); }), frameCopy);
    Print("rescale and window to a lut", frame,
          Measure(refill,
                  [&] {
                      RemapLinear(&bitmap, 1.5, -1024, kRemapLut);
                      RemapWindow(&bitmap, 40, 400, false, kRemapLut);
                  }),
          frameCopy);
    FreeBitmap(&bitmap);
    return low <= high ? 0 : 1;
}
