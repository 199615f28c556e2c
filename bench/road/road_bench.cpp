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

#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "filter/frame_source.h"
#include "platform/text.h"
#include "raster/raster_settings.h"
#include "tests/support/dicom_builder.h"

namespace talv {
namespace {
using Clock = std::chrono::steady_clock;
constexpr size_t kFrames = 16;
constexpr int kRounds = 5;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class MemorySample : public SampleBuffer
{
  public:
    explicit MemorySample(int64_t size) : bytes_(static_cast<size_t>(size)) {}
    int32_t GetPointer(uint8_t** buffer) override
    {
        *buffer = bytes_.data();
        return 0;
    }
    int64_t GetSize() override { return static_cast<int64_t>(bytes_.size()); }
    int32_t SetActualDataLength(int64_t) override { return 0; }

  private:
    std::vector<uint8_t> bytes_;
};

/// Smooth ground with a little noise on it, as pictures have; another one for each `seed`.
ByteVector MakeSamples(size_t count, uint32_t seed)
{
    ByteVector bytes(count);
    uint32_t state = seed * 2654435761u + 1;
    for (size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        const size_t ground = i / 97 + seed * 5;
        bytes[i] = static_cast<uint8_t>((ground & 0x40) != 0 ? 0 : ground % 200 + (state >> 28));
    }
    return bytes;
}

/// One RLE segment (PS3.5 G.3.1): runs of three and more are replicated.
ByteVector EncodeSegment(const ByteVector& plane)
{
    ByteVector out;
    for (size_t i = 0; i < plane.size();) {
        size_t run = 1;
        while (run < 128 && i + run < plane.size() && plane[i + run] == plane[i]) ++run;
        if (run >= 3) {
            out.insert(out.end(), {static_cast<uint8_t>(257 - run), plane[i]});
            i += run;
            continue;
        }
        const size_t start = i;
        const auto runStarts = [&](size_t at) {
            return at + 2 < plane.size() && plane[at] == plane[at + 1] && plane[at] == plane[at + 2];
        };
        while (i < plane.size() && i - start < 128 && !runStarts(i)) ++i;
        out.push_back(static_cast<uint8_t>(i - start - 1));
        out.insert(out.end(), plane.begin() + static_cast<ptrdiff_t>(start),
                   plane.begin() + static_cast<ptrdiff_t>(i));
    }
    if (out.size() % 2 != 0) out.push_back(0);
    return out;
}

ByteVector EncodeRleFrame(const ImageAttributes& image, uint32_t seed)
{
    const uint32_t segments = image.samplesPerPixel * (image.bitsAllocated / 8u);
    ByteWriter header, body;
    header.U32le(segments);
    for (uint32_t i = 0; i < segments; ++i) {
        header.U32le(static_cast<uint32_t>(64 + body.Size()));
        body.Bytes(EncodeSegment(MakeSamples(size_t{image.rows} * image.columns, seed + i)));
    }
    return header.Zeros(64 - header.Size()).Bytes(body.Content());
}

/// Bytes of one frame in the file: whole bytes a sample, but for 1-bit rows. Packed 12-bit samples are
/// counted so too.
size_t FrameBytes(const ImageAttributes& image)
{
    if (image.bitsAllocated == 1) return (image.columns + size_t{7}) / 8 * image.rows;
    return size_t{image.columns} * image.rows * image.samplesPerPixel * ((image.bitsAllocated + 7u) / 8);
}

ByteVector NativePixels(const ImageAttributes& image)
{
    ByteVector pixels;
    for (uint32_t frame = 0; frame < kFrames; ++frame) {
        const ByteVector bytes = MakeSamples(FrameBytes(image), frame);
        pixels.insert(pixels.end(), bytes.begin(), bytes.end());
    }
    return pixels;
}

ByteVector NativeFile(const ImageAttributes& image)
{
    return PreambleFile().ExplicitLittle().Image(image).NativePixels(NativePixels(image)).Bytes();
}

ByteVector RescaledFile(const ImageAttributes& image)
{
    return PreambleFile()
        .ExplicitLittle()
        .Image(image)
        .Ds(0x00281050, "40")
        .Ds(0x00281051, "400")
        .Ds(0x00281052, "-1024")
        .Ds(0x00281053, "1")
        .NativePixels(NativePixels(image))
        .Bytes();
}

ByteVector PaletteFile(const ImageAttributes& image)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle().Image(image);
    std::vector<uint16_t> ramp(256);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint16_t>(i * 257);
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Us(0x00281101 + colour, {256, 0, 16});
    for (uint32_t colour = 0; colour < 3; ++colour) builder.Ow(0x00281201 + colour, ramp);
    return builder.NativePixels(NativePixels(image)).Bytes();
}

ByteVector RleFile(const ImageAttributes& image)
{
    std::vector<ByteVector> fragments;
    for (uint32_t frame = 0; frame < kFrames; ++frame) fragments.push_back(EncodeRleFrame(image, frame));
    return PreambleFile().ExplicitLittle("1.2.840.10008.1.2.5").Image(image).Encapsulated(fragments).Bytes();
}

struct Case
{
    const char* name;
    ByteVector (*build)(const ImageAttributes& image);
    ImageAttributes image;
};

ImageAttributes Grey(uint16_t columns, uint16_t rows, uint16_t allocated, uint16_t stored,
                     uint16_t isSigned = 0)
{
    return {.rows = rows,
            .columns = columns,
            .bitsAllocated = allocated,
            .bitsStored = stored,
            .highBit = static_cast<uint16_t>(stored - 1),
            .pixelRepresentation = isSigned};
}

ImageAttributes Colour(const char* photometric, uint16_t bits, uint16_t planar)
{
    return {.rows = 480,
            .columns = 640,
            .bitsAllocated = bits,
            .bitsStored = bits,
            .highBit = static_cast<uint16_t>(bits - 1),
            .samplesPerPixel = 3,
            .photometric = photometric,
            .planarConfiguration = planar};
}

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
    image.numberOfFrames = std::to_string(kFrames);
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
        for (size_t frame = 0; frame < kFrames; ++frame) {
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
