// The exported decoder beside the packaged ones, in one run over the same generated streams: medians in
// milliseconds of one thread, and ratios peer / own. Usage: jpeg_bench [rounds]

#include <turbojpeg.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

#include "codecs/entry_points.h"
#include "platform/cpu.h"

namespace {
using namespace talv;
using Bytes = std::vector<uint8_t>;

/// Ultrasound: a speckled sector on black, with colour in a box when asked for. Rows of blue, green, red or
/// of grey.
Bytes Sector(int width, int height, int samples)
{
    std::mt19937 random(7);
    std::normal_distribution<double> speckle(0, 22);
    Bytes rows(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(samples));
    double smooth = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = x - width / 2.0, radius = std::hypot(dx, y);
            const bool inside = std::abs(dx) < y * 0.8 && radius < height * 0.95 && radius > 40;
            smooth = 0.6 * smooth + 0.4 * speckle(random);
            const double grey = inside ? 70 + 45 * std::sin(radius * 0.04) + smooth : 0;
            const bool coloured = inside && std::abs(dx) < 90 && y > 150 && y < 330;
            for (int k = 0; k < samples; ++k)
                rows[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) *
                         static_cast<size_t>(samples) +
                     static_cast<size_t>(k)] =
                    static_cast<uint8_t>(std::clamp(grey + (coloured && k == 2 ? 60 : 0), 0.0, 255.0));
        }
    }
    return rows;
}

/// Angiography: vessels on a soft background with noise, `bits` deep.
std::vector<uint16_t> Vessels(int size, int bits, double noise)
{
    std::mt19937 random(11);
    std::normal_distribution<double> grain(0, noise);
    std::vector<uint16_t> samples(static_cast<size_t>(size) * static_cast<size_t>(size));
    const double top = (1 << bits) - 1;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double soft = 0.55 + 0.2 * std::sin(x * 0.004) * std::cos(y * 0.005);
            const double vessel =
                std::exp(-std::pow(std::sin(x * 0.012 + 2 * std::sin(y * 0.006)) * 9, 2)) * 0.25;
            samples[static_cast<size_t>(y * size + x)] =
                static_cast<uint16_t>(std::clamp((soft - vessel) * top + grain(random), 0.0, top));
        }
    }
    return samples;
}

Bytes Compress(const Bytes& rows, int width, int height, int samples, int subsampling, int quality, int flags)
{
    tjhandle handle = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    tjCompress2(handle, rows.data(), width, 0, height, samples == 3 ? TJPF_BGR : TJPF_GRAY, &jpeg, &size,
                subsampling, quality, flags);
    Bytes stream(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(handle);
    return stream;
}

/// Lossless with the project's own encoder: grey of 8 or 16 bits, colour of 24.
Bytes CompressLossless(const Bytes& rows, int width, int height, int bits)
{
    BitmapHeader header{};
    header.size = sizeof header;
    header.width = width;
    header.height = -height;
    header.bitsPerPixel = static_cast<uint16_t>(bits);
    Bytes stream(rows.size() * 3 + 4096);
    auto size = static_cast<uint32_t>(stream.size());
    fltSaveBufferCMP(rows.data(), &header, stream.data(), &size, 0, kSaveLossless, 0,
                     90 | (bits == 24 ? 12u << 8 : 0u), nullptr);
    stream.resize(size);
    return stream;
}

double TimeMs(const std::function<void()>& run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

struct Case
{
    const char* name;
    Bytes stream;
    int width;
    int height;
    int bits;
    bool peer;  ///< the packaged decoder knows the process
};

void Measure(const Case& c, int rounds)
{
    Bytes rows((static_cast<size_t>(c.width * c.bits) + 31) / 32 * 4 * static_cast<size_t>(c.height));
    int32_t status = 0;
    const auto own = [&] {
        status = fltLoadBufferCMP(c.stream.data(), static_cast<uint32_t>(c.stream.size()), rows.data(), 0,
                                  c.width, c.height, static_cast<uint32_t>(c.bits), nullptr, 0);
    };
    const tjhandle handle = tjInitDecompress();
    const auto peer = [&] {
        tjDecompress2(handle, c.stream.data(), c.stream.size(), rows.data(), c.width, 0, c.height,
                      c.bits == 24 ? TJPF_BGR : TJPF_GRAY, TJFLAG_ACCURATEDCT);
    };
    // In turns, so that both see the same neighbours on the machine.
    std::vector<double> ownTimes, peerTimes;
    for (int i = 0; i < rounds; ++i) {
        ownTimes.push_back(TimeMs(own));
        peerTimes.push_back(c.peer ? TimeMs(peer) : 0);
    }
    const double ownMs = Median(ownTimes), peerMs = Median(peerTimes);
    const double ownBest = *std::min_element(ownTimes.begin(), ownTimes.end());
    const double peerBest = *std::min_element(peerTimes.begin(), peerTimes.end());
    const double megabytes = static_cast<double>(rows.size()) / 1e6;
    std::printf("%-22s status %d  bytes %8zu  own %7.3f ms %6.0f MB/s", c.name, status, c.stream.size(),
                ownMs, megabytes / ownMs * 1000);
    if (c.peer)
        std::printf("  libjpeg-turbo %7.3f (%.3f) ms  ratio %.2f (%.2f)", peerMs, peerBest, peerMs / ownMs,
                    peerBest / ownBest);
    std::printf("\n");
    tjDestroy(handle);
}

Bytes Low8(const std::vector<uint16_t>& samples)
{
    return Bytes(samples.begin(), samples.end());
}

Bytes Words(const std::vector<uint16_t>& samples)
{
    Bytes bytes;
    for (uint16_t s : samples)
        bytes.insert(bytes.end(), {static_cast<uint8_t>(s), static_cast<uint8_t>(s >> 8)});
    return bytes;
}
}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 41;
    const Bytes us = Sector(640, 480, 3), usGrey = Sector(640, 480, 1);
    const Bytes xa8 = Low8(Vessels(1024, 8, 4));
    const Case cases[] = {
        {"us_rgb_420", Compress(us, 640, 480, 3, TJSAMP_420, 75, 0), 640, 480, 24, true},
        {"us_rgb_422", Compress(us, 640, 480, 3, TJSAMP_422, 75, 0), 640, 480, 24, true},
        {"us_rgb_444", Compress(us, 640, 480, 3, TJSAMP_444, 75, 0), 640, 480, 24, true},
        {"us_grey", Compress(usGrey, 640, 480, 1, TJSAMP_GRAY, 85, 0), 640, 480, 8, true},
        {"xa8", Compress(xa8, 1024, 1024, 1, TJSAMP_GRAY, 85, 0), 1024, 1024, 8, true},
        {"xa8_q98", Compress(xa8, 1024, 1024, 1, TJSAMP_GRAY, 98, 0), 1024, 1024, 8, true},
        {"prog_us_rgb_420", Compress(us, 640, 480, 3, TJSAMP_420, 75, TJFLAG_PROGRESSIVE), 640, 480, 24,
         true},
        {"prog_xa8", Compress(xa8, 1024, 1024, 1, TJSAMP_GRAY, 85, TJFLAG_PROGRESSIVE), 1024, 1024, 8, true},
        {"sv1_us_grey", CompressLossless(usGrey, 640, 480, 8), 640, 480, 8, false},
        {"sv1_us_rgb", CompressLossless(us, 640, 480, 24), 640, 480, 24, false},
        {"sv1_xa8", CompressLossless(xa8, 1024, 1024, 8), 1024, 1024, 8, false},
        {"sv1_xa12", CompressLossless(Words(Vessels(1024, 12, 30)), 1024, 1024, 16), 1024, 1024, 16, false},
        {"sv1_dx16", CompressLossless(Words(Vessels(2048, 16, 40)), 2048, 2048, 16), 2048, 2048, 16, false},
    };
    std::printf("SIMD level %d, %d rounds, medians\n", static_cast<int>(DetectedSimdLevel()), rounds);
    for (const Case& c : cases) Measure(c, rounds);
    return 0;
}
