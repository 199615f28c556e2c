// Frames through the frame source beside the packaged DICOM library: each reads the same generated clip from
// its file into the same kind of buffer, frame after frame, taking turns clip by clip. One line a
// case, medians and then the fastest frames:
//
//     case  ours ms  theirs ms  how many times as fast as theirs   ours  theirs  times
//
// Theirs is the bare fetch for native frames (no conversion) and the decoded frame for the others. For codec
// frames a second line gives our frame's cost over the codec's own time plus one native frame of that size.
//
//     peer_frames_bench [ROUNDS] [FILE...]      default 9; further files are measured as codec frames

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcfcache.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <turbojpeg.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench/road/clip_files.h"
#include "codecs/entry_points.h"
#include "dicom/allocator.h"
#include "dicom/dictionary.h"
#include "dicom/reader.h"
#include "filter/frame_source.h"
#include "filter/memory_sample.h"
#include "image/get_image.h"
#include "image/image_description.h"
#include "image/pixel_layout.h"
#include "platform/text.h"
#include "raster/raster_settings.h"

namespace talv {
namespace {
constexpr uint32_t kManyFrames = 10000;
constexpr const char* kJpegSyntax = "1.2.840.10008.1.2.4.50";

double TimeOf(const std::function<bool()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    if (!work()) {
        std::fprintf(stderr, "a frame could not be read\n");
        std::exit(1);
    }
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double MedianOf(std::vector<double> times)
{
    std::nth_element(times.begin(), times.begin() + static_cast<ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

/// The road of the player without the graph.
class OurReader
{
  public:
    explicit OurReader(const char* path) : source_(&timeline_)
    {
        opened_ = source_.Load(WideFromNarrow(path).c_str(), false) == kLoadOk;
        if (opened_) sample_ = std::make_unique<MemorySample>(source_.SampleSize());
    }
    bool opened() const { return opened_; }
    uint32_t frames() const { return static_cast<uint32_t>(timeline_.frameCount); }
    bool Read(uint32_t frame) { return source_.ReadFrameIntoSample(sample_.get(), frame) == 0; }
    FrameSource* source() { return &source_; }

  private:
    FrameTimeline timeline_;
    FrameSource source_;
    std::unique_ptr<MemorySample> sample_;
    bool opened_ = false;
};

class TheirReader
{
  public:
    explicit TheirReader(const char* path)
    {
        DcmElement* element = nullptr;
        if (file_.loadFile(path).bad() || file_.getDataset()->findAndGetElement(DCM_PixelData, element).bad())
            return;
        pixels_ = static_cast<DcmPixelData*>(element);
        Uint32 bytes = 0;
        if (pixels_->getUncompressedFrameSize(file_.getDataset(), bytes).bad()) return;
        buffer_.resize(bytes + bytes % 2);
    }
    bool opened() const { return !buffer_.empty(); }
    bool Read(uint32_t frame)
    {
        OFString model;
        Uint32 fragment = fragments_;  // where the frame before ended
        if (frame == 0) fragment = 0;
        const OFCondition result =
            pixels_->getUncompressedFrame(file_.getDataset(), frame, fragment, buffer_.data(),
                                          static_cast<Uint32>(buffer_.size()), model, &cache_);
        fragments_ = fragment;
        return result.good();
    }

  private:
    DcmFileFormat file_;
    DcmPixelData* pixels_ = nullptr;
    DcmFileCache cache_;
    std::vector<uint8_t> buffer_;
    Uint32 fragments_ = 0;
};

bool Compare(const char* name, const char* path, int rounds)
{
    OurReader ours(path);
    TheirReader theirs(path);
    if (!ours.opened() || !theirs.opened()) {
        std::fprintf(stderr, "%s cannot be opened\n", name);
        return false;
    }
    std::vector<double> ourTimes, theirTimes;
    // Clip by clip: who reads a frame second finds its bytes in the processor's cache.
    for (int round = 0; round < rounds; ++round) {
        for (uint32_t frame = 0; frame < ours.frames(); ++frame)
            ourTimes.push_back(TimeOf([&] { return ours.Read(frame); }));
        for (uint32_t frame = 0; frame < ours.frames(); ++frame)
            theirTimes.push_back(TimeOf([&] { return theirs.Read(frame); }));
    }
    const double our = MedianOf(ourTimes), their = MedianOf(theirTimes);
    const double ourBest = *std::min_element(ourTimes.begin(), ourTimes.end());
    const double theirBest = *std::min_element(theirTimes.begin(), theirTimes.end());
    std::printf("%-28s %8.4f %8.4f %6.2f   %8.4f %8.4f %6.2f\n", name, our, their, their / our, ourBest,
                theirBest, theirBest / ourBest);
    std::fflush(stdout);
    return true;
}

/// The codec's own time for frame 0, its bytes in memory.
double CodecTime(DicomDataSet* dataSet, int rounds)
{
    DicomElement* const pixels = dataSet->FindFirstElement(nullptr, kTagPixelData, true);
    ImageDescription description;
    if (ReadImageDescription(dataSet, pixels, &description, 0, false) != kDicomOk) return 0;
    const PixelLayout layout = MakePixelLayout(description);
    ByteVector encoded(description.frameElement->length), decoded(layout.frameBytes + 64);
    dataSet->ReadValueBytes(description.frameElement, 0, encoded.data(), encoded.size());
    const auto load = reinterpret_cast<LoadBufferCmpFunction>(dataSet->tables.codecs.loadBufferCmp);
    const auto decompress =
        reinterpret_cast<J2kDecompressFrameFunction>(dataSet->tables.codecs.j2kDecompressFrame);
    J2KFrameDescriptor descriptor{};
    descriptor.size = sizeof descriptor;
    descriptor.sourceLength = static_cast<uint32_t>(encoded.size());
    descriptor.bytesPerLine = static_cast<uint32_t>(layout.rowStride);
    descriptor.bitsPerPixel = CodecBits(description);
    descriptor.width = layout.columns;
    descriptor.height = layout.rows;
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round)
        times.push_back(TimeOf([&] {
            if (description.compression >= kCompressionJ2kLossless)
                return decompress(encoded.data(), decoded.data(), &descriptor) >= 0;
            return load(encoded.data(), static_cast<uint32_t>(encoded.size()), decoded.data(), 0,
                        static_cast<int32_t>(layout.columns), static_cast<int32_t>(layout.rows),
                        CodecBits(description), nullptr, 0) == 1;
        }));
    return MedianOf(times);
}

/// Frame 0 over and over against the codec's own time plus a native frame of the same size.
bool CompareWithCodec(const char* name, const char* path, int rounds)
{
    OurReader codec(path);
    if (!codec.opened()) return false;
    const FrameSource& source = *codec.source();
    const bool colour = source.bitsPerPixel == 24, words = source.bitsPerPixel == 16;
    ImageAttributes image = colour ? Colour("RGB", 8, 0) : Grey(0, 0, words ? 16 : 8, words ? 16 : 8);
    image.columns = static_cast<uint16_t>(source.width);
    image.rows = static_cast<uint16_t>(source.height);
    image.numberOfFrames = std::to_string(kClipFrames);
    const TemporaryFile nativeFile(NativeFile(image));
    OurReader native(nativeFile.Path());
    if (!native.opened()) return false;

    std::vector<double> whole, alone, plain;
    for (int round = 0; round < 3 * rounds; ++round) {
        whole.push_back(TimeOf([&] { return codec.Read(0); }));
        plain.push_back(TimeOf([&] { return native.Read(static_cast<uint32_t>(round) % kClipFrames); }));
        alone.push_back(CodecTime(codec.source()->dataSet, 1));
    }
    const double frame = MedianOf(whole), own = MedianOf(alone), fetch = MedianOf(plain);
    std::printf("%-24s %8.4f, codec %8.4f + native %8.4f: %.2f of them\n", name, frame, own, fetch,
                frame / (own + fetch));
    std::fflush(stdout);
    return true;
}

ByteVector JpegFrame(int columns, int rows, uint32_t seed)
{
    const ByteVector rgb = MakeSamples(static_cast<size_t>(columns) * static_cast<size_t>(rows) * 3, seed);
    const tjhandle encoder = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long count = 0;
    tjCompress2(encoder, rgb.data(), columns, 0, rows, TJPF_RGB, &bytes, &count, TJSAMP_420, 80, 0);
    ByteVector frame(bytes, bytes + count);
    tjFree(bytes);
    tjDestroy(encoder);
    return frame;
}

ByteVector JpegFile(uint16_t columns, uint16_t rows, uint32_t frames)
{
    ImageAttributes image = Colour("YBR_FULL_422", 8, 0);
    image.columns = columns;
    image.rows = rows;
    image.numberOfFrames = std::to_string(frames);
    std::vector<ByteVector> few, fragments;
    for (uint32_t i = 0; i < kClipFrames; ++i) few.push_back(JpegFrame(columns, rows, i));
    for (uint32_t i = 0; i < frames; ++i) fragments.push_back(few[i % few.size()]);
    return PreambleFile().ExplicitLittle(kJpegSyntax).Image(image).Encapsulated(fragments).Bytes();
}

struct Case
{
    const char* name;
    ByteVector (*build)(const ImageAttributes& image);
    ImageAttributes image;
};

std::vector<Case> Cases()
{
    return {
        {"native-grey8-640", NativeFile, Grey(640, 480, 8, 8)},
        {"native-grey8-1024", NativeFile, Grey(1024, 1024, 8, 8)},
        {"native-rgb", NativeFile, Colour("RGB", 8, 0)},
        {"native-rgb-planar", NativeFile, Colour("RGB", 8, 1)},
        {"native-ybr-full", NativeFile, Colour("YBR_FULL", 8, 0)},
        {"native-grey16-512-signed", NativeFile, Grey(512, 512, 16, 16, 1)},
        {"native-grey16-512-rescaled", RescaledFile, Grey(512, 512, 16, 16, 1)},
        {"native-grey12-1024", NativeFile, Grey(1024, 1024, 16, 12)},
        {"native-grey16-2048", NativeFile, Grey(2048, 2048, 16, 16)},
        {"rle-grey8-640", RleFile, Grey(640, 480, 8, 8)},
        {"rle-grey8-1024", RleFile, Grey(1024, 1024, 8, 8)},
        {"rle-grey16-512", RleFile, Grey(512, 512, 16, 16)},
        {"rle-grey12-1024", RleFile, Grey(1024, 1024, 16, 12)},
        {"rle-rgb", RleFile, Colour("RGB", 8, 0)},
    };
}
}  // namespace
}  // namespace talv

int main(int argc, char** argv)
{
    using namespace talv;
    SelectAllocator(1);
    if (!InitDictionaries()) return 1;
    AttachRasterLibrary(nullptr);
    DcmRLEDecoderRegistration::registerCodecs();
    DJDecoderRegistration::registerCodecs();
    const int rounds = std::max(1, argc > 1 ? std::atoi(argv[1]) : 9);
    bool good = true;
    for (const Case& one : Cases()) {
        ImageAttributes image = one.image;
        image.numberOfFrames = std::to_string(kClipFrames);
        const TemporaryFile file(one.build(image));
        good = Compare(one.name, file.Path(), rounds) && good;
    }
    const TemporaryFile many(JpegFile(128, 128, kManyFrames)), jpeg(JpegFile(640, 480, kClipFrames));
    good = Compare("jpeg-128, 10000 frames", many.Path(), 1) && good;
    good = Compare("jpeg-640", jpeg.Path(), rounds) && good;
    good = CompareWithCodec("jpeg-640", jpeg.Path(), rounds) && good;
    for (int i = 2; i < argc; ++i) good = CompareWithCodec(argv[i], argv[i], rounds) && good;
    return good ? 0 : 1;
}
