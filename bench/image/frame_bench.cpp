// Time of one frame through GetImage, for the layouts that native and run-length coded files have.
//
//     frame_bench [rounds]
//
// One line a case: name, bytes of the bitmap, median and 90th percentile in microseconds, MB of bitmap a
// second.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "dicom/reader.h"
#include "image/get_image.h"

namespace {
using namespace talv;
using Bytes = std::vector<uint8_t>;

/// Writes the few elements that an image needs, explicit VR little endian.
class FileWriter
{
  public:
    explicit FileWriter(const std::string& transferSyntax)
    {
        bytes_.resize(128);
        for (char letter : std::string("DICM")) bytes_.push_back(static_cast<uint8_t>(letter));
        std::string uid = transferSyntax;
        if (uid.size() % 2 != 0) uid.push_back('\0');
        Text(0x00020010, "UI", uid);
    }
    FileWriter& Us(uint32_t tag, uint16_t value)
    {
        ShortHeader(tag, "US", 2);
        Number(value, 2);
        return *this;
    }
    FileWriter& Text(uint32_t tag, const char* vr, std::string text)
    {
        if (text.size() % 2 != 0) text.push_back(' ');
        ShortHeader(tag, vr, static_cast<uint32_t>(text.size()));
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }
    Bytes Native(const Bytes& pixels)
    {
        LongHeader("OW", static_cast<uint32_t>(pixels.size()));
        bytes_.insert(bytes_.end(), pixels.begin(), pixels.end());
        return std::move(bytes_);
    }
    Bytes Encapsulated(const Bytes& fragment, uint32_t count)
    {
        LongHeader("OB", 0xFFFFFFFF);
        Item(0xE000, 0);
        for (uint32_t i = 0; i < count; ++i) {
            Item(0xE000, static_cast<uint32_t>(fragment.size()));
            bytes_.insert(bytes_.end(), fragment.begin(), fragment.end());
        }
        Item(0xE0DD, 0);
        return std::move(bytes_);
    }

  private:
    void Number(uint32_t value, int size)
    {
        for (int i = 0; i < size; ++i) bytes_.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
    void Tag(uint32_t tag) { Number(tag >> 16, 2), Number(tag & 0xFFFF, 2); }
    void ShortHeader(uint32_t tag, const char* vr, uint32_t length)
    {
        Tag(tag);
        bytes_.push_back(static_cast<uint8_t>(vr[0]));
        bytes_.push_back(static_cast<uint8_t>(vr[1]));
        Number(length, 2);
    }
    void LongHeader(const char* vr, uint32_t length)
    {
        ShortHeader(0x7FE00010, vr, 0);
        Number(length, 4);
    }
    void Item(uint32_t element, uint32_t length)
    {
        Tag(0xFFFE0000 | element);
        Number(length, 4);
    }
    Bytes bytes_;
};

struct Shape
{
    const char* photometric;
    uint16_t samples, allocated, stored, columns, rows;
    uint16_t planar = 0, isSigned = 0;
    uint32_t frames = 1;
};

FileWriter Header(const Shape& shape, const char* syntax)
{
    FileWriter writer(syntax);
    writer.Us(0x00280002, shape.samples).Text(0x00280004, "CS", shape.photometric);
    writer.Us(0x00280006, shape.planar).Text(0x00280008, "IS", std::to_string(shape.frames));
    writer.Us(0x00280010, shape.rows).Us(0x00280011, shape.columns).Us(0x00280100, shape.allocated);
    writer.Us(0x00280101, shape.stored).Us(0x00280102, static_cast<uint16_t>(shape.stored - 1));
    writer.Us(0x00280103, shape.isSigned);
    return writer;
}

size_t FrameBytes(const Shape& shape)
{
    return size_t{shape.rows} * shape.columns * shape.samples * ((shape.allocated + 7u) / 8);
}

/// Speckle on a black ground, as an ultrasound sector has it.
Bytes Speckle(size_t count)
{
    Bytes pixels(count);
    uint32_t state = 1;
    for (size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        pixels[i] = i / 512 % 2 == 0 ? 0 : static_cast<uint8_t>(state >> 24);
    }
    return pixels;
}

/// One segment a byte of the pixel, runs where two bytes or more are equal.
Bytes RunLengthItem(const Bytes& pixels, uint32_t segments)
{
    Bytes item(64);
    const auto put = [&](size_t at, size_t value) {
        for (int i = 0; i < 4; ++i) item[at + static_cast<size_t>(i)] = static_cast<uint8_t>(value >> 8 * i);
    };
    put(0, segments);
    for (uint32_t s = 0; s < segments; ++s) {
        put(4 * (s + 1), item.size());
        Bytes plane;
        for (size_t i = s; i < pixels.size(); i += segments) plane.push_back(pixels[i]);
        for (size_t i = 0; i < plane.size();) {
            size_t run = 1;
            while (i + run < plane.size() && run < 128 && plane[i + run] == plane[i]) ++run;
            if (run > 1) {
                item.push_back(static_cast<uint8_t>(257 - run));
                item.push_back(plane[i]);
                i += run;
                continue;
            }
            size_t end = i + 1;
            while (end < plane.size() && end - i < 128 &&
                   (end + 1 == plane.size() || plane[end] != plane[end + 1]))
                ++end;
            item.push_back(static_cast<uint8_t>(end - i - 1));
            item.insert(item.end(), plane.begin() + static_cast<ptrdiff_t>(i),
                        plane.begin() + static_cast<ptrdiff_t>(end));
            i = end;
        }
        if (item.size() % 2 != 0) item.push_back(128);
    }
    return item;
}

class Clip
{
  public:
    explicit Clip(Bytes bytes) : bytes_(std::move(bytes)), dataSet_(StandardTables())
    {
        if (!stream_.OpenMemory(bytes_.data(), bytes_.size()) ||
            LoadDataSet(&dataSet_, &stream_, 0, false) != kDicomOk)
            std::exit(1);
        pixelData_ = dataSet_.FindFirstElement(nullptr, kTagPixelData, true);
    }
    /// Microseconds of one GetImage with its FreeBitmap.
    double Time(uint32_t frame, size_t* bitmapBytes)
    {
        const auto start = std::chrono::steady_clock::now();
        ImageBitmap bitmap{};
        if (GetImage(&dataSet_, pixelData_, &bitmap, kBitmapStructSize, frame, 0, 4, kPlayerImageOptions,
                     nullptr, nullptr) != kDicomOk)
            std::exit(1);
        *bitmapBytes = bitmap.dataSize;
        FreeBitmap(&bitmap);
        return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
    }

  private:
    Bytes bytes_;
    DicomStream stream_;
    DicomDataSet dataSet_;
    DicomElement* pixelData_ = nullptr;
};

void Report(const std::string& name, Clip* clip, uint32_t frame, int rounds)
{
    size_t bytes = 0;
    clip->Time(frame, &bytes);
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) times.push_back(clip->Time(frame, &bytes));
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2], late = times[times.size() * 9 / 10];
    std::printf("%-22s %9zu bytes  median %9.1f us  p90 %9.1f us  %8.0f MB/s\n", name.c_str(), bytes, median,
                late, static_cast<double>(bytes) / median);
}
}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 101;
    constexpr const char* kNative = "1.2.840.10008.1.2.1";
    constexpr const char* kRle = "1.2.840.10008.1.2.5";
    struct
    {
        const char* name;
        Shape shape;
    } const cases[] = {
        {"us_grey8", {"MONOCHROME2", 1, 8, 8, 640, 480}},
        {"us_rgb", {"RGB", 3, 8, 8, 640, 480}},
        {"us_rgb_planar", {"RGB", 3, 8, 8, 640, 480, 1}},
        {"us_ybr_full", {"YBR_FULL", 3, 8, 8, 640, 480}},
        {"xa8", {"MONOCHROME2", 1, 8, 8, 1024, 1024}},
        {"xa12", {"MONOCHROME2", 1, 16, 12, 1024, 1024}},
        {"ct16_signed", {"MONOCHROME2", 1, 16, 16, 512, 512, 0, 1}},
        {"dx16", {"MONOCHROME2", 1, 16, 16, 2048, 2048}},
    };
    for (const auto& one : cases) {
        Clip clip(Header(one.shape, kNative).Native(Speckle(FrameBytes(one.shape))));
        Report(std::string("native_") + one.name, &clip, 0, rounds);
    }
    for (const auto& one : cases) {
        if (one.shape.planar != 0) continue;
        const uint32_t segments = one.shape.samples * ((one.shape.allocated + 7u) / 8);
        const Bytes item = RunLengthItem(Speckle(FrameBytes(one.shape)), segments);
        Clip clip(Header(one.shape, kRle).Encapsulated(item, 1));
        Report(std::string("rle_") + one.name, &clip, 0, rounds);
    }
    Shape small = {"MONOCHROME2", 1, 8, 8, 128, 128};
    small.frames = 10000;
    Clip many(Header(small, kRle).Encapsulated(RunLengthItem(Speckle(FrameBytes(small)), 1), small.frames));
    for (uint32_t frame : {0u, 5000u, 9999u})
        Report("many_frame_" + std::to_string(frame), &many, frame, rounds * 5);
    return 0;
}
