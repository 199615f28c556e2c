// JPEG 2000 frames beside the packaged decoder, in one run, alternating: one thread by the time it was
// running, two threads by the clock; medians in milliseconds and ratios peer / own.
//
//     j2k_bench [ROUNDS [CASE or FILE.j2k or --write]...]
//
// --write leaves the generated streams as files in the current folder. FLT_SIMD=plain lowers the level.

#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/codecs/j2k_bench_frames.h"
#include "codecs/j2k/j2k_decoder.h"

namespace {
using namespace talv;
using namespace talv::j2k_bench;

double ThreadMs()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) * 1e-6;
}

double WallMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

template <class Work>
void Time(std::vector<double>* times, double (*clock)(), Work work)
{
    const double start = clock();
    work();
    times->push_back(clock() - start);
}

double Median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

int Compare(const std::string& name, std::vector<uint8_t>& bytes, size_t rounds)
{
    opj_image_t* image = DecodeWithPeer(bytes, 1);
    if (image == nullptr) {
        std::fprintf(stderr, "j2k_bench: %s: the peer refuses the stream\n", name.c_str());
        return 1;
    }
    J2KFrameDescriptor descriptor{};
    descriptor.size = sizeof descriptor;
    descriptor.sourceLength = static_cast<uint32_t>(bytes.size());
    descriptor.width = image->comps[0].w;
    descriptor.height = image->comps[0].h;
    descriptor.bitsPerPixel = image->numcomps * (image->comps[0].prec > 8 ? 16 : 8);
    descriptor.bytesPerLine = descriptor.width * descriptor.bitsPerPixel / 8;
    const double samples = static_cast<double>(descriptor.width) * descriptor.height * image->numcomps;
    opj_image_destroy(image);
    std::vector<uint8_t> rows(size_t{descriptor.bytesPerLine} * descriptor.height);
    const auto own = [&](unsigned threads) {
        if (DecodeJ2kFrame(bytes.data(), rows.data(), descriptor, threads) < 0) std::exit(1);
    };
    const auto peer = [&](int threads) { opj_image_destroy(DecodeWithPeer(bytes, threads)); };
    std::vector<double> peer1, own1, peer2, own2;
    for (size_t round = 0; round < rounds; ++round) {
        Time(&peer1, ThreadMs, [&] { peer(1); });
        Time(&own1, ThreadMs, [&] { own(1); });
        Time(&peer2, WallMs, [&] { peer(2); });
        Time(&own2, WallMs, [&] { own(2); });
    }
    std::printf("%-18s %5.2f %8.2f %8.2f %6.2f %8.2f %8.2f %6.2f %6.2f\n", name.c_str(),
                8.0 * static_cast<double>(bytes.size()) / samples, Median(peer1), Median(own1),
                Median(peer1) / Median(own1), Median(peer2), Median(own2), Median(peer2) / Median(own2),
                Median(peer1) / Median(own2));
    std::fflush(stdout);
    return 0;
}
}  // namespace

int main(int argc, char** argv)
{
    const size_t rounds = argc > 1 ? static_cast<size_t>(std::max(1, std::atoi(argv[1]))) : 11;
    std::vector<std::string> wanted(argv + std::min(argc, 2), argv + argc);
    const auto flag = std::find(wanted.begin(), wanted.end(), "--write");
    const bool write = flag != wanted.end();
    if (write) wanted.erase(flag);
    if (!write)
        std::printf("%-18s %5s %8s %8s %6s %8s %8s %6s %6s\n", "case", "bits", "peer 1", "own 1", "ratio",
                    "peer 2", "own 2", "ratio", "1 / 2");
    for (const Case& c : Cases()) {
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), c.name) == wanted.end()) continue;
        std::vector<uint8_t> bytes = Encode(c.frame(), c.encoding);
        if (write)
            std::ofstream(std::string(c.name) + ".j2k", std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
        else if (int status = Compare(c.name, bytes, rounds); status != 0)
            return status;
    }
    for (const std::string& path : wanted) {
        if (path.find('.') == std::string::npos) continue;
        std::ifstream file(path, std::ios::binary);
        std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(file), {});
        const size_t slash = path.rfind('/') + 1, dot = path.rfind('.');
        if (int status = Compare(path.substr(slash, dot - slash), bytes, rounds); status != 0) return status;
    }
    return 0;
}
