// The exported decoder beside libjpeg-turbo and, where it was found, the packaged DICOM toolkit: the three
// take turns on the same generated streams. One line a case:
//
//     case  stream bytes  own ms median (best)  MB/s | turbo ms  ratio of medians (of bests) | dcmtk likewise
//
// The peers have one thread; so has the product unless FLT_THREADS says otherwise, but for the cases named
// "_threads", which have one a processor. Times are the processor's, with "_threads" the wall's. Usage:
// jpeg_bench [ROUNDS [CASE]]

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <string_view>
#include <vector>

#include "codecs/entry_points.h"
#include "platform/cpu.h"

#ifdef TALV_BENCH_DCMTK
#include "tests/support/dcmtk_jpeg.h"
#endif

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

double Seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Milliseconds of the processor, which other programs of a busy machine do not add to; with threads those of
/// the wall.
double TimeMs(bool threads, const std::function<void()>& run)
{
    const clockid_t clock = threads ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
    const double start = Seconds(clock);
    run();
    return (Seconds(clock) - start) * 1000;
}

double Median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// What the peers have to know of a stream.
enum class Coding
{
    baseline,
    progressive,
    extended,
    lossless,   ///< any predictor
    lossless1,  ///< predictor 1
};

struct Case
{
    const char* name;
    Bytes stream;
    int width;
    int height;
    int bits;        ///< a pixel of the destination
    int bitsStored;  ///< a sample
    Coding coding;
    bool threads = false;
};

struct Times
{
    std::vector<double> ms;

    void Add(double time) { ms.push_back(time); }
    double Middle() const { return ms.empty() ? 0 : Median(ms); }
    double Best() const { return ms.empty() ? 0 : *std::min_element(ms.begin(), ms.end()); }
};

void PrintPeer(const char* name, const Times& peer, const Times& own)
{
    if (peer.ms.empty())
        std::printf("  %s %8s %6s %8s", name, "-", "-", "");
    else
        std::printf("  %s %8.3f %6.2f (%5.2f)", name, peer.Middle(), peer.Middle() / own.Middle(),
                    peer.Best() / own.Best());
}

#ifdef TALV_BENCH_DCMTK
E_TransferSyntax SyntaxOf(Coding coding)
{
    switch (coding) {
        case Coding::baseline:
            return EXS_JPEGProcess1;
        case Coding::progressive:
            return EXS_JPEGProcess10_12;
        case Coding::extended:
            return EXS_JPEGProcess2_4;
        case Coding::lossless:
            return EXS_JPEGProcess14;
        default:
            return EXS_JPEGProcess14SV1;
    }
}
#endif

void Measure(const Case& c, int rounds)
{
    if (c.stream.empty()) {
        std::printf("%-22s no stream: its encoder is not there\n", c.name);
        return;
    }
    Bytes rows((static_cast<size_t>(c.width * c.bits) + 31) / 32 * 4 * static_cast<size_t>(c.height));
    int32_t status = 1;
    const auto own = [&] {
        status = std::min(
            status, fltLoadBufferCMP(c.stream.data(), static_cast<uint32_t>(c.stream.size()), rows.data(), 0,
                                     c.width, c.height, static_cast<uint32_t>(c.bits), nullptr, 0));
    };
    const tjhandle handle = tjInitDecompress();
    const auto turbo = [&] {
        tjDecompress2(handle, c.stream.data(), c.stream.size(), rows.data(), c.width, 0, c.height,
                      c.bits == 24 ? TJPF_BGR : TJPF_GRAY, TJFLAG_ACCURATEDCT);
    };
    const bool turboKnows = c.coding == Coding::baseline || c.coding == Coding::progressive;
#ifdef TALV_BENCH_DCMTK
    const DcmtkPicture picture{c.width, c.height, c.bits == 24 ? 3 : 1, c.bits == 16 ? 16 : 8, c.bitsStored};
    DcmtkFrame frame(picture, c.stream, SyntaxOf(c.coding));
    bool dcmtkDecodes = frame.Decode(&rows);
#endif
    if (c.threads) unsetenv("FLT_THREADS");
    // In turns, so that all see the same neighbours on the machine.
    Times ownTimes, turboTimes, dcmtkTimes;
    for (int i = 0; i < rounds; ++i) {
        ownTimes.Add(TimeMs(c.threads, own));
        if (turboKnows) turboTimes.Add(TimeMs(c.threads, turbo));
#ifdef TALV_BENCH_DCMTK
        if (dcmtkDecodes) dcmtkTimes.Add(TimeMs(c.threads, [&] { dcmtkDecodes = frame.Decode(&rows); }));
#endif
    }
    if (c.threads) setenv("FLT_THREADS", "1", 1);
    tjDestroy(handle);
    const double megabytes = static_cast<double>(c.width * c.height * c.bits) / 8e6;
    std::printf("%-22s %8zu  own %8.3f (%8.3f) %5.0f MB/s |", c.name, c.stream.size(), ownTimes.Middle(),
                ownTimes.Best(), megabytes / ownTimes.Middle() * 1000);
    PrintPeer("turbo", turboTimes, ownTimes);
    PrintPeer("| dcmtk", dcmtkTimes, ownTimes);
    std::printf("%s\n", status == 1 ? "" : "  FAILED");
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

/// 12 bits of the extended process with the toolkit's encoder.
Bytes CompressExtended([[maybe_unused]] const Bytes& words, [[maybe_unused]] int size)
{
#ifdef TALV_BENCH_DCMTK
    return EncodeWithDcmtk({size, size, 1, 16, 12}, words, EXS_JPEGProcess2_4, DJ_RPLossy(90));
#else
    return {};
#endif
}

/// Lossless of other predictors than the first, likewise.
Bytes CompressPredicted([[maybe_unused]] const Bytes& words, [[maybe_unused]] int size,
                        [[maybe_unused]] int bits, [[maybe_unused]] int predictor)
{
#ifdef TALV_BENCH_DCMTK
    return EncodeWithDcmtk({size, size, 1, 16, bits}, words, EXS_JPEGProcess14, DJ_RPLossless(predictor, 0));
#else
    return {};
#endif
}
}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 41;
#ifdef TALV_BENCH_DCMTK
    DJDecoderRegistration::registerCodecs();
    DJEncoderRegistration::registerCodecs();
#endif
    setenv("FLT_THREADS", "1", 0);
    const Bytes us = Sector(640, 480, 3), usGrey = Sector(640, 480, 1);
    const Bytes xa8 = Low8(Vessels(1024, 8, 4));
    const Bytes xa12 = Words(Vessels(1024, 12, 30)), dx16 = Words(Vessels(2048, 16, 40));
    const Bytes us420 = Compress(us, 640, 480, 3, TJSAMP_420, 75, 0);
    setenv("TJ_RESTART", "1", 1);  // libjpeg-turbo: an interval of one MCU row
    const Bytes us420Restart = Compress(us, 640, 480, 3, TJSAMP_420, 75, 0);
    const Bytes xa8Restart = Compress(xa8, 1024, 1024, 1, TJSAMP_GRAY, 85, 0);
    unsetenv("TJ_RESTART");
    const auto grey = [&](int quality, int flags) {
        return Compress(xa8, 1024, 1024, 1, TJSAMP_GRAY, quality, flags);
    };
    using enum Coding;
    const Case cases[] = {
        {"us_rgb_420", us420, 640, 480, 24, 8, baseline},
        {"us_rgb_420_dri", us420Restart, 640, 480, 24, 8, baseline},
        {"us_rgb_420_dri_threads", us420Restart, 640, 480, 24, 8, baseline, true},
        {"us_rgb_422", Compress(us, 640, 480, 3, TJSAMP_422, 75, 0), 640, 480, 24, 8, baseline},
        {"us_rgb_444", Compress(us, 640, 480, 3, TJSAMP_444, 75, 0), 640, 480, 24, 8, baseline},
        {"us_grey", Compress(usGrey, 640, 480, 1, TJSAMP_GRAY, 85, 0), 640, 480, 8, 8, baseline},
        {"xa8", grey(85, 0), 1024, 1024, 8, 8, baseline},
        {"xa8_q98", grey(98, 0), 1024, 1024, 8, 8, baseline},
        {"xa8_dri_threads", xa8Restart, 1024, 1024, 8, 8, baseline, true},
        {"prog_us_rgb_420", Compress(us, 640, 480, 3, TJSAMP_420, 75, TJFLAG_PROGRESSIVE), 640, 480, 24, 8,
         progressive},
        {"prog_xa8", grey(85, TJFLAG_PROGRESSIVE), 1024, 1024, 8, 8, progressive},
        {"ext12_xa12", CompressExtended(xa12, 1024), 1024, 1024, 16, 12, extended},
        {"sv1_us_grey", CompressLossless(usGrey, 640, 480, 8), 640, 480, 8, 8, lossless1},
        {"sv1_us_rgb", CompressLossless(us, 640, 480, 24), 640, 480, 24, 8, lossless1},
        {"sv1_xa8", CompressLossless(xa8, 1024, 1024, 8), 1024, 1024, 8, 8, lossless1},
        {"sv1_xa12", CompressLossless(xa12, 1024, 1024, 16), 1024, 1024, 16, 16, lossless1},
        {"sv1_ct16", CompressLossless(Words(Vessels(512, 12, 6)), 512, 512, 16), 512, 512, 16, 16, lossless1},
        {"sv1_dx16", CompressLossless(dx16, 2048, 2048, 16), 2048, 2048, 16, 16, lossless1},
        {"sv6_xa12", CompressPredicted(xa12, 1024, 12, 6), 1024, 1024, 16, 12, lossless},
        {"sv7_dx16", CompressPredicted(dx16, 2048, 16, 7), 2048, 2048, 16, 16, lossless},
    };
    std::printf("SIMD level %d, %d rounds, medians (best)\n", static_cast<int>(DetectedSimdLevel()), rounds);
    for (const Case& c : cases)
        if (argc < 3 || std::string_view(argv[2]) == c.name) Measure(c, rounds);
    return 0;
}
