// From the bytes of a file to the bitmap of a frame. The input's hash chooses options and frame; what must
// hold is checked here and aborts when it does not: a status of the documented scale, no bitmap left behind
// by a failure, equal results of two runs. Codecs are fakes that touch every byte they were promised.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codecs/entry_points.h"
#include "dicom/reader.h"
#include "image/get_image.h"

namespace {
using namespace talv;

void Require(bool holds)
{
    if (!holds) std::abort();
}

int32_t FLT_CALL FillingLoad(const void* src, uint32_t count, void* dest, int32_t, int32_t width,
                             int32_t height, uint32_t bits, void*, uint32_t)
{
    const auto* in = static_cast<const uint8_t*>(src);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) sum += in[i];
    if (sum % 3 == 0 && bits == 8) return -27;
    if (sum % 7 == 0) return -9;
    std::memset(
        dest, static_cast<int>(sum & 0xFF),
        static_cast<size_t>(BytesPerLine(static_cast<uint32_t>(width), bits)) * static_cast<size_t>(height));
    return 1;
}

int32_t FLT_CALL FillingDecompress(const void* src, void* dest, const J2KFrameDescriptor* descriptor)
{
    return FillingLoad(src, descriptor->sourceLength, dest, 0, static_cast<int32_t>(descriptor->width),
                       static_cast<int32_t>(descriptor->height), descriptor->bitsPerPixel, nullptr, 0);
}

struct Outcome
{
    DicomStatus status = 0;
    uint64_t hash = 14695981039346656037u;  // FNV-1a of the bitmap

    void Add(const void* bytes, size_t count)
    {
        for (size_t i = 0; i < count; ++i)
            hash = (hash ^ static_cast<const uint8_t*>(bytes)[i]) * 1099511628211u;
    }
};

Outcome Decode(DicomDataSet* dataSet, uint32_t frame, uint32_t options)
{
    Outcome outcome;
    ImageBitmap bitmap{};
    outcome.status = GetImageFromDataSet(dataSet, nullptr, &bitmap, kBitmapStructSize, frame, 0, 4, options,
                                         nullptr, nullptr);
    if (outcome.status != kDicomOk) {
        Require((bitmap.flags & kBitmapAllocated) == 0 && bitmap.palette == nullptr && bitmap.lut == nullptr);
        return outcome;
    }
    Require(bitmap.width > 0 && bitmap.height > 0 && bitmap.structSize == kBitmapStructSize);
    std::vector<uint8_t> row(bitmap.bytesPerLine);
    for (int32_t y = 0; y < bitmap.height; ++y) {
        Require(GetBitmapRow(&bitmap, row.data(), y, bitmap.bytesPerLine) ==
                static_cast<int32_t>(bitmap.bytesPerLine));
        outcome.Add(row.data(), row.size());
    }
    if (bitmap.palette != nullptr) outcome.Add(bitmap.palette, bitmap.colorCount * sizeof(PaletteEntry));
    if (bitmap.lut != nullptr) outcome.Add(bitmap.lut, bitmap.lutLength * sizeof(PaletteEntry));
    outcome.Add(&bitmap.minValue, sizeof bitmap.minValue);
    outcome.Add(&bitmap.maxValue, sizeof bitmap.maxValue);
    FreeBitmap(&bitmap);
    return outcome;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    uint32_t choice = 2166136261u;
    for (size_t i = 0; i < size; i += 1 + size / 64) choice = (choice ^ data[i]) * 16777619u;

    DataSetTables tables = StandardTables();
    tables.codecs.loadBufferCmp = reinterpret_cast<AnyFunction>(FillingLoad);
    tables.codecs.j2kDecompressFrame = reinterpret_cast<AnyFunction>(FillingDecompress);
    DicomDataSet dataSet(tables);
    DicomStream stream;
    if (!stream.OpenMemory(data, size)) return 0;
    if (LoadDataSet(&dataSet, &stream, 0, false) != kDicomOk) return 0;
    if (choice % 16 == 0) dataSet.mode |= kModeCallerMark;

    const uint32_t options = choice % 4 == 0 ? kPlayerImageOptions : choice >> 4 & 0xF;
    for (uint32_t frame : {0u, 1u, choice >> 8 & 3, 0xFFFFFFFFu}) {
        const Outcome first = Decode(&dataSet, frame, options);
        dataSet.NoteChange();  // nothing remembered may change a result
        const Outcome second = Decode(&dataSet, frame, options);
        Require(first.status == second.status && first.hash == second.hash);
    }
    return 0;
}
