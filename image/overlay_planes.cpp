#include "image/overlay_planes.h"

#include <algorithm>
#include <vector>

#include "image/attribute_reader.h"
#include "raster/palette.h"

namespace talv {
namespace {
constexpr uint32_t kFirstGroup = 0x60000000, kLastGroup = 0x601E0000, kNextGroup = 0x00020000;
constexpr uint32_t kRows = 0x0010, kColumns = 0x0011, kFrames = 0x0015, kOrigin = 0x0050,
                   kFirstFrame = 0x0051;
constexpr uint32_t kBitsAllocated = 0x0100, kData = 0x3000;

/// One plane and where its upper left point lies in the picture, counted from 0.
struct Plane
{
    uint32_t rows = 0, columns = 0;
    int32_t top = 0, left = 0;
    uint64_t firstBit = 0;  ///< of this frame's plane in the data
    DicomElement* data = nullptr;
};

bool FindPlane(DicomDataSet* dataSet, uint32_t group, uint32_t frame, Plane* plane)
{
    const AttributeReader reader(dataSet, nullptr);
    plane->data = reader.Find(group | kData);
    plane->rows = reader.Unsigned(group | kRows);
    plane->columns = reader.Unsigned(group | kColumns);
    if (plane->data == nullptr || plane->rows == 0 || plane->columns == 0 || plane->rows > UINT16_MAX ||
        plane->columns > UINT16_MAX || reader.Unsigned(group | kBitsAllocated) > 1)
        return false;
    int32_t top = 1, left = 1;
    reader.Integer(group | kOrigin, 0, &top);
    reader.Integer(group | kOrigin, 1, &left);
    plane->top = std::clamp<int32_t>(top, INT16_MIN, INT16_MAX) - 1;
    plane->left = std::clamp<int32_t>(left, INT16_MIN, INT16_MAX) - 1;
    // Without a number of frames one plane holds for all pictures.
    const uint32_t frames = reader.Unsigned(group | kFrames);
    const uint32_t first = std::max(reader.Unsigned(group | kFirstFrame), 1u) - 1;
    if (frames > 1 && (frame < first || frame - first >= frames)) return false;
    plane->firstBit = frames > 1 ? uint64_t{frame - first} * plane->rows * plane->columns : 0;
    return true;
}

/// The stored pixel that is shown brightest.
uint32_t WhiteOf(const ImageBitmap& bitmap)
{
    if (bitmap.bitsPerPixel <= 8 && bitmap.palette != nullptr)
        return static_cast<uint32_t>(std::max(
            FindNearestColor(bitmap.palette, std::min<uint32_t>(bitmap.colorCount, 256), 255, 255, 255), 0));
    if (bitmap.bitsPerPixel != 16) return 0xFFFFFF;
    const auto levels = uint32_t{1} << std::clamp(bitmap.highBit - bitmap.lowBit + 1, 1, 16);
    const bool inverted = bitmap.lut != nullptr && bitmap.lutLength == levels &&
                          bitmap.lut[0].green > bitmap.lut[levels - 1].green;
    return inverted ? 0 : (levels - 1) << std::clamp(bitmap.lowBit, 0, 15);
}

void SetPixel(uint8_t* row, uint32_t x, int32_t bitsPerPixel, uint32_t white)
{
    if (bitsPerPixel == 1) {
        const auto bit = static_cast<uint8_t>(0x80 >> (x % 8));
        row[x / 8] = static_cast<uint8_t>(white != 0 ? row[x / 8] | bit : row[x / 8] & ~bit);
        return;
    }
    const uint32_t bytes = static_cast<uint32_t>(bitsPerPixel) / 8;
    for (uint32_t i = 0; i < bytes; ++i) row[size_t{x} * bytes + i] = static_cast<uint8_t>(white >> (8 * i));
}

/// Where the part of `count` points that lies inside a picture's `size` begins and ends, the first point
/// being at `start`.
struct Visible
{
    Visible(int32_t start, uint32_t count, int32_t size)
        : begin(std::max(0, -start)), end(std::min(static_cast<int32_t>(count), size - start))
    {}
    int32_t begin, end;
};

DicomStatus DrawPlane(DicomDataSet* dataSet, const Plane& plane, ImageBitmap* bitmap)
{
    const uint32_t white = WhiteOf(*bitmap), length = bitmap->bytesPerLine;
    const Visible lines(plane.top, plane.rows, bitmap->height),
        points(plane.left, plane.columns, bitmap->width);
    if (points.begin >= points.end) return kDicomOk;
    std::vector<uint8_t> row(length);
    std::vector<uint16_t> words(static_cast<size_t>(points.end - points.begin) / 16 + 2);
    for (int32_t y = lines.begin; y < lines.end; ++y) {
        const uint64_t first =
            plane.firstBit + static_cast<uint64_t>(y) * plane.columns + static_cast<uint64_t>(points.begin);
        const size_t read = ReadValueWords(dataSet, plane.data, first / 16 * 2, words.data(), words.size());
        if (read == 0) break;
        if (GetBitmapRow(bitmap, row.data(), plane.top + y, length) != static_cast<int32_t>(length))
            return kDicomShortWrite;
        for (int32_t x = points.begin; x < points.end; ++x) {
            const uint64_t bit = first % 16 + static_cast<uint64_t>(x - points.begin);
            if (bit / 16 < read && (words[bit / 16] >> (bit % 16) & 1) != 0)
                SetPixel(row.data(), static_cast<uint32_t>(plane.left + x), bitmap->bitsPerPixel, white);
        }
        if (PutBitmapRow(bitmap, row.data(), plane.top + y, length) != static_cast<int32_t>(length))
            return kDicomShortWrite;
    }
    return kDicomOk;
}
}  // namespace

DicomStatus DrawOverlayPlanes(DicomDataSet* dataSet, uint32_t frame, ImageBitmap* bitmap)
{
    for (uint32_t group = kFirstGroup; group <= kLastGroup; group += kNextGroup) {
        Plane plane;
        if (!FindPlane(dataSet, group, frame, &plane)) continue;
        if (DicomStatus status = DrawPlane(dataSet, plane, bitmap); status != kDicomOk) return status;
    }
    return kDicomOk;
}
}  // namespace talv
