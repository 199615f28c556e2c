// Frames per second of the whole road, file to sample: one generated file for each kind of pixel data that
// needs no codec library.
//
//     road_bench [NAME...]     only the cases whose name begins with one of the words
//
// One line of JSON for each case. The first frame is timed apart: it finds the attributes and the places of
// all frames.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/road/clip_files.h"
#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "filter/frame_source.h"
#include "filter/memory_sample.h"
#include "platform/text.h"
#include "raster/raster_settings.h"

namespace talv {
namespace {
using Clock = std::chrono::steady_clock;
constexpr int kRounds = 5;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Case
{
    const char* name;
    ByteVector (*build)(const ImageAttributes& image);
    ImageAttributes image;
};

std::vector<Case> Cases()
{
    ImageAttributes palette = Grey(640, 480, 8, 8);
    palette.photometric = "PALETTE COLOR";
    return {
        {"native-grey1", NativeFile, Grey(1024, 1024, 1, 1)},
        {"native-grey8", NativeFile, Grey(1024, 1024, 8, 8)},
        {"native-palette8", PaletteFile, palette},
        {"native-grey12-packed", NativeFile, Grey(1024, 1024, 12, 12)},
        {"native-grey12-in-16", NativeFile, Grey(1024, 1024, 16, 12)},
        {"native-grey16", NativeFile, Grey(512, 512, 16, 16)},
        {"native-grey16-signed-rescaled", RescaledFile, Grey(512, 512, 16, 16, 1)},
        {"native-grey32", NativeFile, Grey(512, 512, 32, 32)},
        {"native-rgb", NativeFile, Colour("RGB", 8, 0)},
        {"native-rgb-planar", NativeFile, Colour("RGB", 8, 1)},
        {"native-rgb16", NativeFile, Colour("RGB", 16, 0)},
        {"native-ybr-full", NativeFile, Colour("YBR_FULL", 8, 0)},
        {"rle-grey8", RleFile, Grey(1024, 1024, 8, 8)},
        {"rle-grey16", RleFile, Grey(512, 512, 16, 16)},
        {"rle-rgb", RleFile, Colour("RGB", 8, 0)},
    };
}

double MedianOf(std::vector<double> times)
{
    std::nth_element(times.begin(), times.begin() + static_cast<ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

bool Measure(const Case& one)
{
    ImageAttributes image = one.image;
    image.numberOfFrames = std::to_string(kClipFrames);
    const TemporaryFile file(one.build(image));
    FrameTimeline timeline;
    FrameSource source(&timeline);
    const Clock::time_point start = Clock::now();
    if (source.Load(WideFromNarrow(file.Path()).c_str(), false) != kLoadOk) {
        std::fprintf(stderr, "%s: refused: %s\n", one.name,
                     DicomStatusText(static_cast<DicomStatus>(source.lastRefusal)));
        return false;
    }
    const double openMs = MillisecondsSince(start);

    MemorySample sample(source.SampleSize());
    std::vector<double> times;
    double firstMs = 0;
    for (int round = 0; round < kRounds; ++round)
        for (size_t frame = 0; frame < kClipFrames; ++frame) {
            const Clock::time_point frameStart = Clock::now();
            if (source.ReadFrameIntoSample(&sample, static_cast<int64_t>(frame)) != 0) {
                std::fprintf(stderr, "%s: frame %zu cannot be decoded\n", one.name, frame);
                return false;
            }
            (round == 0 && frame == 0 ? firstMs : times.emplace_back()) = MillisecondsSince(frameStart);
        }
    const double median = MedianOf(times);
    std::printf(
        "{\"case\": \"%s\", \"columns\": %d, \"rows\": %d, \"bytesPerFrame\": %lld, \"openMs\": %.3f, "
        "\"firstFrameMs\": %.3f, \"frameMsMedian\": %.4f, \"frameMsBest\": %.4f, \"frameMsWorst\": %.4f, "
        "\"framesPerSecond\": %.0f}\n",
        one.name, source.width, source.height, static_cast<long long>(source.SampleSize()), openMs, firstMs,
        median, *std::min_element(times.begin(), times.end()), *std::max_element(times.begin(), times.end()),
        1000.0 / median);
    std::fflush(stdout);
    return true;
}

bool Chosen(const std::string& name, int argc, char** argv)
{
    return argc < 2 ||
           std::any_of(argv + 1, argv + argc, [&](const char* word) { return name.rfind(word, 0) == 0; });
}
}  // namespace
}  // namespace talv

int main(int argc, char** argv)
{
    talv::SelectAllocator(1);
    if (!talv::InitDictionaries()) return 1;
    talv::AttachRasterLibrary(nullptr);
    bool good = true;
    for (const talv::Case& one : talv::Cases())
        if (talv::Chosen(one.name, argc, argv)) good = talv::Measure(one) && good;
    return good ? 0 : 1;
}
