// JPEG 2000 frames beside the packaged decoder, in one run, alternating, one line per file:
//     file  peer ms median (best)  own ms median (best)  peer / own
// Run it as build/native/bench/j2k_bench THREADS ROUNDS FILE.j2k...; FLT_SIMD=plain lowers the level.

#include <openjpeg.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "codecs/j2k/j2k_decoder.h"

namespace {
struct Input
{
    const std::vector<uint8_t>& bytes;
    size_t position;
};

OPJ_SIZE_T Read(void* to, OPJ_SIZE_T count, void* user)
{
    auto* input = static_cast<Input*>(user);
    const size_t left = input->bytes.size() - input->position;
    if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
    count = std::min<OPJ_SIZE_T>(count, left);
    std::memcpy(to, input->bytes.data() + input->position, count);
    input->position += count;
    return count;
}

OPJ_OFF_T SkipBytes(OPJ_OFF_T count, void* user)
{
    static_cast<Input*>(user)->position += static_cast<size_t>(count);
    return count;
}

OPJ_BOOL Seek(OPJ_OFF_T position, void* user)
{
    static_cast<Input*>(user)->position = static_cast<size_t>(position);
    return OPJ_TRUE;
}

opj_image_t* DecodeWithPeer(const std::vector<uint8_t>& bytes, int threads)
{
    Input input{bytes, 0};
    opj_stream_t* stream = opj_stream_create(1 << 20, OPJ_TRUE);
    opj_stream_set_user_data(stream, &input, nullptr);
    opj_stream_set_user_data_length(stream, bytes.size());
    opj_stream_set_read_function(stream, Read);
    opj_stream_set_skip_function(stream, SkipBytes);
    opj_stream_set_seek_function(stream, Seek);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
    opj_image_t* image = nullptr;
    if (!opj_setup_decoder(codec, &parameters) || (threads > 1 && !opj_codec_set_threads(codec, threads)) ||
        !opj_read_header(stream, codec, &image) || !opj_decode(codec, stream, image))
        std::fprintf(stderr, "the peer refuses the stream\n");
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    return image;
}

template <class Work>
double Milliseconds(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: j2k_bench THREADS ROUNDS FILE.j2k...\n");
        return 2;
    }
    const int threads = std::max(1, std::atoi(argv[1]));
    const auto rounds = static_cast<size_t>(std::max(1, std::atoi(argv[2])));
    for (int i = 3; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(file), {});
        opj_image_t* image = DecodeWithPeer(bytes, 1);
        if (image == nullptr) return 1;
        talv::J2KFrameDescriptor descriptor{};
        descriptor.size = sizeof descriptor;
        descriptor.sourceLength = static_cast<uint32_t>(bytes.size());
        descriptor.width = image->comps[0].w;
        descriptor.height = image->comps[0].h;
        descriptor.bitsPerPixel = image->numcomps * (image->comps[0].prec > 8 ? 16 : 8);
        descriptor.bytesPerLine = descriptor.width * descriptor.bitsPerPixel / 8;
        opj_image_destroy(image);
        std::vector<uint8_t> rows(size_t{descriptor.bytesPerLine} * descriptor.height);
        std::vector<double> peer, own;
        for (size_t round = 0; round < rounds; ++round) {
            peer.push_back(Milliseconds([&] { opj_image_destroy(DecodeWithPeer(bytes, threads)); }));
            own.push_back(Milliseconds([&] {
                if (talv::DecodeJ2kFrame(bytes.data(), rows.data(), descriptor,
                                         static_cast<unsigned>(threads)) < 0)
                    std::exit(1);
            }));
        }
        std::sort(peer.begin(), peer.end());
        std::sort(own.begin(), own.end());
        std::printf("%-24s %8.2f (%8.2f) %8.2f (%8.2f) %6.2f\n", argv[i], peer[rounds / 2], peer[0],
                    own[rounds / 2], own[0], peer[rounds / 2] / own[rounds / 2]);
    }
    return 0;
}
