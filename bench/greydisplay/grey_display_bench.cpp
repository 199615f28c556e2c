// What showing a 16-bit frame costs beside a plain copy of its output, one line per case:
//     case  pixels  ns/pixel best  speed as a share of memcpy: best beside best, and median over pairs of
//     runs
// Run it as build/native/bench/grey_display_bench [width height]; FLT_SIMD=plain|sse2|avx2|avx512 sets the
// level.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "filter/block_fields.h"
#include "filter/greydisplay/grey_display.h"
#include "filter/media_format.h"

namespace {
using namespace talv;

template <class Work>
double Time(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

std::vector<uint8_t> MakeBlock(int32_t width, int32_t height, uint32_t bits, bool curve)
{
    std::vector<uint8_t> block(kGreyFormatSize);
    PutU32(&block[52], static_cast<uint32_t>(width));
    PutU32(&block[56], static_cast<uint32_t>(height));
    PutU16(&block[62], static_cast<uint16_t>(bits));
    PutU32(&block[64], kTgryFourCc);
    PutU32(&block[92], bits - 1);
    PutU32(&block[100], 3000);
    PutU32(&block[104], 1500);
    PutU32(&block[108], 700);
    PutDouble(&block[120], 1.0);
    if (!curve) return block;
    PutU32(&block[80], 65536);
    for (uint32_t i = 0; i < 65536; ++i)
        PutU32(&block[144 + 4 * i], std::min(i * i / 40000, 255u) * 0x010101);
    return block;
}

void Run(const char* name, int32_t width, int32_t height, uint32_t bits, bool curve)
{
    GreyDisplay display;
    const std::vector<uint8_t> block = MakeBlock(width, height, bits, curve);
    if (!display.SetBlock(block.data(), block.size())) std::abort();
    std::mt19937 random(1);
    std::vector<uint8_t> frame(display.Block()->FrameBytes());
    // A smooth picture with noise of 6 bits, as a detector gives it.
    if (bits == 16)
        for (size_t i = 0; i + 1 < frame.size(); i += 2)
            PutU16(&frame[i],
                   static_cast<uint16_t>(i / 2 % static_cast<size_t>(width) * 3 % 2900 + random() % 64));
    else
        for (uint8_t& byte : frame) byte = static_cast<uint8_t>(random());
    display.SeeFrame(frame.data(), frame.size());
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<uint8_t> picture(4 * pixels), copy(4 * pixels);
    const RgbTarget target = {picture.data(), picture.size(), 4 * static_cast<size_t>(width), false};
    std::vector<double> shares;
    double best = 1e30, bestCopy = 1e30;
    for (int run = 0; run < 101; ++run) {
        const double shown = Time([&] {
            ConvertGreyFrame(*display.Block(), *display.Table(), frame.data(), frame.size(), target);
        });
        const double copied = Time([&] { std::memcpy(copy.data(), picture.data(), picture.size()); });
        shares.push_back(copied / shown);
        best = std::min(best, shown);
        bestCopy = std::min(bestCopy, copied);
    }
    std::sort(shares.begin(), shares.end());
    std::printf("%-24s %9zu %8.3f %6.2f %6.2f\n", name, pixels, best / static_cast<double>(pixels),
                bestCopy / best, shares[shares.size() / 2]);
}
}  // namespace

int main(int argc, char** argv)
{
    const int32_t width = argc > 2 ? std::atoi(argv[1]) : 1024, height = argc > 2 ? std::atoi(argv[2]) : 1024;
    std::printf("level %d\n%-24s %9s %8s %6s %6s\n", static_cast<int>(DetectedSimdLevel()), "case", "pixels",
                "ns/pixel", "memcpy", "median");
    Run("window, 16 bits", width, height, 16, false);
    Run("palette curve, 16 bits", width, height, 16, true);
    Run("window, 12 bits packed", width, height, 12, false);
    Run("curve, 12 bits packed", width, height, 12, true);
    return 0;
}
